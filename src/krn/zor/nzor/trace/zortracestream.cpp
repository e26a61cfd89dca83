#include "trace/zortracestream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace {

constexpr size_t formatBufferSize = 1024;
constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

}  // namespace

KEL_ofstream::KEL_ofstream(KEL_ofstream&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)),
      counted(std::exchange(other.counted, 0)),
      pending(std::move(other.pending)) {}

KEL_ofstream& KEL_ofstream::operator=(KEL_ofstream&& other) noexcept {
    std::swap(descriptor, other.descriptor);
    std::swap(counted, other.counted);
    std::swap(pending, other.pending);
    return *this;
}

KEL_ofstream::~KEL_ofstream() {
    close();
}

void KEL_ofstream::open(const KEL_string& name) noexcept {
    close();
    // Without O_NONBLOCK a pipe under this name would stop the caller until somebody reads from it.
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK;
    descriptor = ::open(name.c_str(), flags, ownerOnly);
    struct stat properties {};
    if (descriptor >= 0 && (::fstat(descriptor, &properties) != 0 || !S_ISREG(properties.st_mode))) close();
    (void)length();
}

void KEL_ofstream::close() noexcept {
    flush();
    if (descriptor >= 0) ::close(std::exchange(descriptor, -1));
}

unsigned long long KEL_ofstream::length() noexcept {
    const off_t end = isOpen() ? ::lseek(descriptor, 0, SEEK_END) : 0;
    counted = end > 0 ? static_cast<unsigned long long>(end) : 0;
    return counted;
}

void KEL_ofstream::write(std::string_view text) {
    if (isOpen()) pending.append(text);
}

void KEL_ofstream::write(std::initializer_list<std::string_view> pieces) {
    if (!isOpen()) return;
    size_t length = 0;
    for (const std::string_view piece : pieces)
        length += piece.size();
    const size_t before = pending.size();
    pending.resize(before + length);
    KEL_UC* end = pending.data() + before;
    for (const std::string_view piece : pieces)
        end = std::copy(piece.begin(), piece.end(), end);
}

void KEL_ofstream::print(const KEL_UC* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vprint(format, arguments);
    va_end(arguments);
}

void KEL_ofstream::vprint(const KEL_UC* format, va_list arguments) {
    KEL_UC buffer[formatBufferSize];
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    if (length > 0) write({buffer, std::min(static_cast<size_t>(length), sizeof buffer - 1)});
}

void KEL_ofstream::flush() noexcept {
    const KEL_UC* data = pending.data();
    size_t rest = isOpen() ? pending.size() : 0;
    while (rest > 0) {
        const ssize_t written = ::write(descriptor, data, rest);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) break;
        counted += static_cast<size_t>(written);
        data += written;
        rest -= static_cast<size_t>(written);
    }
    pending.clear();
}
