#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/dptrc/errblock.h"

namespace {

constexpr std::size_t LABEL_WIDTH = 12;
constexpr std::size_t VALUE_WIDTH = 62;
constexpr std::string_view INDENT{"            "};
static_assert(INDENT.size() == LABEL_WIDTH);
constexpr int ERRNO_MAX = 9999;

#define FRAME "*****************************************************************************\n"
constexpr std::size_t TRACE_MAX = 2048;  // a block, its labels and margins, and the frame

/** Collects the text form; what doesn't fit is left out. */
class Printer {
  public:
    /** `margin` stands in front of every line. */
    Printer(std::span<KEL_CHAR> buffer, std::string_view margin) : buffer(buffer), margin(margin) {}
    ~Printer() { buffer[length] = '\0'; }
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;

    void entry(std::string_view label, std::string_view value) {
        add(margin);
        add(label);
        add(INDENT.substr(label.size()));
        for (bool first = true; first || !value.empty(); first = false) {
            if (!first) add(margin);
            if (!first) add(INDENT);
            value.remove_prefix(line(value));
        }
    }

    void add(std::string_view piece) {
        length += piece.copy(buffer.data() + length, buffer.size() - 1 - length);
    }

  private:
    /** Prints one line of a value; returns how much of it is dealt with. */
    std::size_t line(std::string_view value) {
        std::size_t width = std::min(value.find('\n'), value.size());
        std::size_t used = std::min(width + 1, value.size());  // with the newline, if that ends it
        if (width > VALUE_WIDTH) {
            const std::size_t blank = value.substr(0, VALUE_WIDTH).rfind(' ');
            const bool atBlank = blank != std::string_view::npos && blank != 0;
            width = atBlank ? blank : VALUE_WIDTH;
            used = atBlank ? width + 1 : width;
        }
        add(value.substr(0, width));
        add("\n");
        return used;
    }

    std::span<KEL_CHAR> buffer;
    std::string_view margin;
    std::size_t length = 0;
};

}  // namespace

const KEL_CHAR* ErrPr() noexcept {
    ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals || ErrICheck(globals->block()) != ERR_OK) return "";
    const ERR_FIELDS fields = ErrISplit(globals->block());
    {
        Printer printer(globals->kel_err_info_str, "");
        for (const ERR_ENTRY& entry : ERR_ENTRIES) {
            if (fields[entry.field].empty()) continue;
            printer.add("\n");
            printer.entry(entry.label, fields[entry.field]);
        }
    }
    return globals->kel_err_info_str.data();
}

const KEL_CHAR* ErrPrL(KEL_CHAR) noexcept {
    return ErrPr();
}

void ErrTrace(CTRC_HDL handle) noexcept {
    const ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals || ErrICheck(globals->block()) != ERR_OK) return;
    const ERR_FIELDS fields = ErrISplit(globals->block());
    KEL_CHAR text[TRACE_MAX];
    {
        Printer printer(text, "*  ");
        printer.add("\n" FRAME "*\n");
        for (const ERR_ENTRY& entry : ERR_ENTRIES) {
            if (fields[entry.field].empty()) continue;
            if (entry.field == ERR_TIME) printer.add("*\n");
            printer.entry(entry.label, fields[entry.field]);
        }
        printer.add("*\n" FRAME "\n");
    }
    DpTrcNoTiNoThr(handle, "%s", text);
}

const KEL_CHAR* ErrPrErrno(int errorNumber) noexcept {
    if (errorNumber > ERRNO_MAX) return "";
    // The description without the process's locale, which belongs to the caller.
    if (const char* text = strerrordesc_np(errorNumber)) return text;
    ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return "";
    auto& buffer = globals->kel_err_errno_str;
    std::snprintf(buffer.data(), buffer.size(), "(%d) - illegal errno", errorNumber);
    return buffer.data();
}

int ErrPrErrno2(int errorNumber, std::span<KEL_CHAR> buffer) noexcept {
    const std::string_view text = ErrPrErrno(errorNumber);
    const bool fits = text.size() < buffer.size();
    if (!buffer.empty()) buffer[text.copy(buffer.data(), fits ? text.size() : 0)] = 0;
    return fits ? ERR_OK : ERR_TOO_LONG;
}
