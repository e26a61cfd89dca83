#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/dptrc/errblock.h"

namespace {

constexpr std::size_t FORMAT_MAX = 500;        // characters that count of a format
constexpr std::size_t TEXT_MAX = 2000;         // room for formatted texts
constexpr std::size_t KEY_LENGTH = 5;          // of a message number
constexpr std::string_view SEPARATOR{"::::"};  // between the halves of a joined format
constexpr std::string_view CONVERSIONS{"diouxXeEfFgGaAcspn"};

/** A format with its message number taken off. */
struct Message {
    std::string_view number;
    std::string_view format;

    explicit Message(const KEL_CHAR* text) : format(text ? text : "") {
        format = format.substr(0, FORMAT_MAX);
        if (format.size() < KEY_LENGTH + 2 || format[0] != '(' || format[KEY_LENGTH + 1] != ')') return;
        number = format.substr(1, KEY_LENGTH);
        format.remove_prefix(KEY_LENGTH + 2);
    }
};

/** A terminated text of bounded length, put together from pieces. */
class Text {
  public:
    void add(std::string_view piece) {
        length += piece.copy(chars + length, sizeof chars - 1 - length);
        chars[length] = '\0';
    }
    [[gnu::format(printf, 2, 0)]] void format(const char* pattern, va_list args) {
        const int written = std::vsnprintf(chars, sizeof chars, pattern, args);
        length = written < 0 ? 0 : std::min<std::size_t>(static_cast<std::size_t>(written), sizeof chars - 1);
        chars[length] = '\0';
    }
    const char* c_str() const { return chars; }
    std::string_view view() const { return {chars, length}; }

  private:
    char chars[TEXT_MAX] = "";
    std::size_t length = 0;
};

/** The two halves of a text that was formatted in one go. */
struct Halves {
    explicit Halves(std::string_view text) : first(text.substr(0, text.find(SEPARATOR))) {
        if (first.size() < text.size()) second = text.substr(first.size() + SEPARATOR.size());
    }
    std::string_view first;
    std::string_view second;
};

/** Adds the conversions of a format, without the text around them. */
void ErrFmtFilter(Text& to, std::string_view format) {
    bool first = true;
    for (std::size_t at = format.find('%'); at < format.size(); at = format.find('%', at)) {
        if (format.substr(at, 2) == "%%") {
            at += 2;
            continue;
        }
        const std::size_t end = std::min(format.find_first_of(CONVERSIONS, at), format.size() - 1) + 1;
        if (!first) to.add(";;;;");
        to.add(format.substr(at, end - at));
        first = false;
        at = end;
    }
}

/** A number as the block has it: nothing for 0. */
class Number {
  public:
    explicit Number(int value) {
        if (value != 0) std::snprintf(chars, sizeof chars, "%d", value);
    }
    operator std::string_view() const { return chars; }

  private:
    char chars[12] = "";
};

/** The local time as the platform writes a date, without its newline. */
class Now {
  public:
    Now() {
        const std::time_t seconds = std::time(nullptr);
        std::tm parts;
        if (!localtime_r(&seconds, &parts))
            text = "error in ThrLocaltime";
        else if (!asctime_r(&parts, chars))
            text = "error in ThrAsctime";
        else
            text = std::string_view(chars).substr(0, std::strcspn(chars, "\n"));
    }
    operator std::string_view() const { return text; }

  private:
    char chars[64];
    std::string_view text;
};

std::string_view baseName(const KEL_CHAR* module) {
    const std::string_view path(module ? module : "");
    return path.substr(path.rfind('/') + 1);
}

/** What the two setters have in common: who reports what. */
struct Report {
    const KEL_CHAR* component;
    int version;
    const KEL_CHAR* module;
    int line;
    int rc;
    const KEL_CHAR* systemCall;
    int errorNumber;
    ERR_LOG log;
};

/** Builds the block; the fields for texts and messages are filled already. */
int ErrISetSys(ERR_TH_GLOBALS& globals, const Report& report, ERR_FIELDS& fields) {
    const Number rc(report.rc), version(report.version), line(report.line), number(report.errorNumber);
    const Number counter(++globals.kel_err_count);
    const Now now;
    fields[ERR_EYECATCHER] = fields[ERR_EYECATCHER_END] = ERR_MARK.substr(0, ERR_MARK.size() - 1);
    fields[ERR_BLOCK_VERSION] = "1";
    fields[ERR_RETURN_CODE] = rc;
    fields[ERR_COMPONENT] = report.component;
    fields[ERR_RELEASE] = ERR_KEL_RELEASE;
    fields[ERR_VERSION] = version;
    fields[ERR_MODULE] = baseName(report.module);
    fields[ERR_LINE] = line;
    fields[ERR_TIME] = now;
    fields[ERR_SYSTEM_CALL] = report.systemCall;
    fields[ERR_ERRNO] = number;
    fields[ERR_ERRNO_TEXT] = report.errorNumber != 0 ? ErrPrErrno(report.errorNumber) : "";
    fields[ERR_COUNTER] = counter;
    fields[ERR_LOCATION] = globals.kel_err_location.data();
    if (report.log == ERR_LOG_ENTRY) ErrITraceLog(fields, report.errorNumber);
    const int result = ErrIStore(globals, fields);
    if (result == ERR_TOO_LONG) ErrITraceTooLong(fields);
    return result;
}

/** Formats both texts and both argument lists from one list of arguments. */
[[gnu::format(printf, 2, 0)]] int setFormatted(const Report& report, const KEL_CHAR* shortFormat,
                                               const KEL_CHAR* detailFormat, va_list args) {
    ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    const Message error(shortFormat), detail(detailFormat);
    Text filtered, joined, arguments, texts;
    ErrFmtFilter(filtered, error.format);
    filtered.add(SEPARATOR);
    ErrFmtFilter(filtered, detail.format);
    joined.add(error.format);
    joined.add(SEPARATOR);
    joined.add(detail.format);
    va_list again;
    va_copy(again, args);
    arguments.format(filtered.c_str(), again);
    va_end(again);
    texts.format(joined.c_str(), args);

    const Halves text(texts.view()), list(arguments.view());
    ERR_FIELDS fields;
    fields[ERR_ERROR] = text.first;
    fields[ERR_DETAIL] = text.second;
    fields[ERR_DESCR_MSG_NO] = error.number;
    fields[ERR_DESCR_VARGS] = list.first;
    fields[ERR_DETAIL_MSG_NO] = detail.number;
    fields[ERR_DETAIL_VARGS] = list.second;
    return ErrISetSys(*globals, report, fields);
}

}  // namespace

int ErrSet(const KEL_CHAR* component, int version, const KEL_CHAR* module, int line,
           const KEL_CHAR* shortFormat, int rc, const KEL_CHAR* detailFormat, ...) noexcept {
    va_list args;
    va_start(args, detailFormat);
    const Report report{component, version, module, line, rc, "", 0, ERR_NO_LOG};
    const int result = setFormatted(report, shortFormat, detailFormat, args);
    va_end(args);
    return result;
}

int ErrSetSys(const KEL_CHAR* component, int version, const KEL_CHAR* module, int line, ERR_LOG log,
              const KEL_CHAR* shortText, int rc, const KEL_CHAR* detailFormat, const KEL_CHAR* systemCall,
              int errorNumber, ...) noexcept {
    KEL_CHAR shortFormat[2 * FORMAT_MAX + 1];  // the short text is no format
    ErrSafeAsFmtString(shortText, shortFormat);
    const Report report{component, version, module, line, rc, systemCall, errorNumber, log};
    va_list args;
    va_start(args, errorNumber);
    const int result = setFormatted(report, shortFormat, detailFormat, args);
    va_end(args);
    return result;
}

void ErrSafeAsFmtString(const KEL_CHAR* text, std::span<KEL_CHAR> buffer) noexcept {
    if (buffer.empty()) return;
    std::size_t length = 0;
    for (; *text; ++text) {
        const std::size_t width = *text == '%' ? 2 : 1;
        if (buffer.size() - length <= width) break;
        std::fill_n(&buffer[length], width, *text);
        length += width;
    }
    buffer[length] = 0;
}

int ErrSetMyLocation(const KEL_CHAR* format, ...) noexcept {
    ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    va_list args;
    va_start(args, format);
    std::vsnprintf(globals->kel_err_location.data(), globals->kel_err_location.size(), format, args);
    va_end(args);
    return ERR_OK;
}

const KEL_CHAR* ErrGetMyLocation() noexcept {
    const ERR_TH_GLOBALS* globals = ErrIGlobals();
    return globals ? globals->kel_err_location.data() : "";
}
