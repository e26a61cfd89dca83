#include "secret.h"

#include <fcntl.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>

#include "problem.h"

namespace zortool {

namespace {

constexpr std::size_t longestSecret = 65536;

// The terminal whose echo is off, and how it was before; -1 while none is.
std::atomic<int> silencedTerminal{-1};
termios terminalBefore;

class File {
  public:
    explicit File(int descriptor) : descriptor_(descriptor) {}
    File(const File&) = delete;
    ~File() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

class EchoOff {
  public:
    explicit EchoOff(int terminal) {
        if (tcgetattr(terminal, &terminalBefore) != 0) return;
        termios silent = terminalBefore;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silencedTerminal = terminal;
        tcsetattr(terminal, TCSAFLUSH, &silent);
    }
    EchoOff(const EchoOff&) = delete;
    ~EchoOff() { restoreTerminal(); }
};

// Up to the first line end or the end of the input. One byte at a time, as what follows isn't ours.
std::string readLine(int descriptor, const std::string& name) {
    std::string line;
    line.reserve(longestSecret);  // so that no copy of it is left behind by growing
    for (char c;;) {
        const ssize_t got = read(descriptor, &c, 1);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw Problem(exitInput, name + " can't be read: " + strerror(errno));
        if (got == 0 || c == '\n') break;
        if (line.size() == longestSecret) throw Problem(exitInput, name + " has too long a line");
        line += c;
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

std::string prompt(const std::string& question) {
    const File terminal(open("/dev/tty", O_RDWR | O_CLOEXEC));
    if (terminal.descriptor() < 0)
        throw Problem(exitInput, "there is no terminal to ask for the secret at",
                      "Give it by fd:N, file:PATH or env:NAME, or in kelzor.ini.");
    const auto say = [&](const std::string& text) {
        if (write(terminal.descriptor(), text.data(), text.size()) < 0) return;
    };
    std::string answer;
    {
        // Before the question: what is typed ahead of it is thrown away and not shown.
        const EchoOff echo(terminal.descriptor());
        say(question + ": ");
        answer = readLine(terminal.descriptor(), "the terminal");
    }
    say("\n");
    return answer;
}

int numberIn(std::string_view text) {
    int number = -1;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
    return end.ec == std::errc() && end.ptr == text.data() + text.size() ? number : -1;
}

std::string fromDescriptor(std::string_view number) {
    const int descriptor = numberIn(number);
    if (descriptor < 0) throw Problem(exitUsage, "what follows fd: has to be the number of an open file");
    return readLine(descriptor, "file descriptor " + std::to_string(descriptor));
}

std::string fromFile(const std::string& path) {
    const File file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.descriptor() < 0) throw Problem(exitInput, path + " can't be read: " + strerror(errno));
    return readLine(file.descriptor(), path);
}

std::string fromEnvironment(const std::string& name) {
    const char* value = getenv(name.c_str());
    if (value == nullptr) throw Problem(exitInput, "the environment has no variable " + name);
    return value;
}

std::string readSource(std::string_view source, const std::string& question) {
    const auto rest = [&](std::string_view prefix) { return std::string(source.substr(prefix.size())); };
    if (source == "prompt") return prompt(question);
    if (source.starts_with("fd:")) return fromDescriptor(source.substr(3));
    if (source.starts_with("file:")) return fromFile(rest("file:"));
    if (source.starts_with("env:")) return fromEnvironment(rest("env:"));
    throw Problem(exitUsage, "a secret isn't taken from the command line, which others can read",
                  "Say where it is: prompt, fd:N, file:PATH or env:NAME. kelzor.ini may hold it too.");
}

}  // namespace

Secret& Secret::operator=(Secret&& other) noexcept {
    if (this == &other) return *this;
    wipe();
    text_ = std::move(other.text_);
    other.wipe();
    return *this;
}

void Secret::wipe() noexcept {
    text_.resize(text_.capacity());  // a text that moved away may have left its characters behind
    explicit_bzero(text_.data(), text_.size());
    text_.clear();
}

Secret readSecret(std::string_view source, const std::string& question) {
    Secret secret(readSource(source, question));
    if (secret.text().empty())
        throw Problem(exitInput, "the secret is empty", "Nothing was there to be read.");
    return secret;
}

bool canPrompt() {
    const File terminal(open("/dev/tty", O_RDWR | O_CLOEXEC));
    return terminal.descriptor() >= 0;
}

void restoreTerminal() noexcept {
    const int terminal = silencedTerminal.exchange(-1);
    if (terminal >= 0) tcsetattr(terminal, TCSAFLUSH, &terminalBefore);
}

}  // namespace zortool
