#include "config/inireader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "config/secret.h"

namespace {

/** A longer physical line is read as several lines. */
constexpr int lineBufferSize = 1024;

constexpr std::string_view defaultSection = "DEFAULT";
constexpr std::string_view destinationKey = "DEST";
constexpr std::string_view commentMarks[] = {"#", "//", "/*"};

bool isComment(std::string_view line) noexcept {
    for (const auto mark : commentMarks)
        if (line.substr(0, mark.size()) == mark) return true;
    return false;
}

/** A line may hold a password. */
struct LineBuffer {
    LineBuffer() = default;
    LineBuffer(const LineBuffer&) = delete;
    LineBuffer& operator=(const LineBuffer&) = delete;
    ~LineBuffer() { wipe(text, sizeof text); }
    char text[lineBufferSize];
};

class Reader {
  public:
    explicit Reader(IniSink& sink) noexcept : sink(sink) {}
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { wipe(settings); }

    void line(std::string_view text) {
        if (text.empty() || isComment(text)) return;
        if (text == defaultSection) return open(Section::defaults);
        const auto separator = text.find('=');
        if (separator == text.npos) return;
        const auto key = trimmed(text.substr(0, separator));
        const auto value = trimmed(text.substr(separator + 1));
        if (!key.empty() && !value.empty()) setting(key, value);
    }

    void end() { open(Section::none); }

  private:
    enum class Section { none, defaults, destination };

    void setting(std::string_view key, std::string_view value) {
        if (key == destinationKey) {
            open(Section::destination);
            name = value;
        } else if (section == Section::destination) {
            settings.insert_or_assign(KEL_string(key), KEL_string(value));
        } else if (section == Section::defaults) {
            sink.defaultSetting(key, value);
        }
    }

    void open(Section next) {
        if (section == Section::destination) {
            sink.destination(name, settings);
            wipe(settings);
        }
        section = next;
    }

    IniSink& sink;
    Section section = Section::none;
    KEL_string name;
    ZorOptionMap settings;
};

}  // namespace

std::string_view trimmed(std::string_view text) noexcept {
    constexpr std::string_view blanks = " \t\r\n\v";
    const auto first = text.find_first_not_of(blanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

IniFile openIniFile(const KEL_UC* name) noexcept {
    const int descriptor = ::open(name, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0) return nullptr;
    struct stat properties {};
    const bool regular = ::fstat(descriptor, &properties) == 0 && S_ISREG(properties.st_mode);
    IniFile file(regular ? ::fdopen(descriptor, "r") : nullptr);
    if (!file) ::close(descriptor);
    return file;
}

void readIniFile(std::FILE* file, IniSink& sink) {
    LineBuffer buffer;
    Reader reader(sink);
    // What stands behind a zero byte doesn't belong to the line.
    while (std::fgets(buffer.text, sizeof buffer.text, file) != nullptr)
        reader.line(trimmed(buffer.text));
    reader.end();
}
