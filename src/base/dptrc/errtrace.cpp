// What the error block leaves in the trace.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/dptrc/errblock.h"

namespace {

constexpr const KEL_CHAR* LOG_KEY = "Q0I";

/** Prints a field, which has no terminator of its own, by "%.*s". */
int width(std::string_view text) {
    return static_cast<int>(text.size());
}

/** A field as text with a terminator, cut if need be. */
struct Field {
    explicit Field(std::string_view text) { text.copy(chars, sizeof chars - 1); }
    KEL_CHAR chars[64] = "";
};

/** What is wrong with a block that isn't complete: a mark is gone, or fields are missing. */
void ErrITraceMarks(const KEL_CHAR* function, const KEL_CHAR* destroyed, std::string_view block) {
    const bool marked =
        block.size() >= 2 * ERR_MARK.size() && block.starts_with(ERR_MARK) && block.ends_with(ERR_MARK);
    if (!marked)
        DpTrcErr(tf, "%s: %s", function, destroyed);
    else
        DpTrcErr(tf, "%s: error info incomplete (%d fields only)", function,
                 static_cast<int>(std::ranges::count(block, '\0')));
}

/** The place that an error line names is where the failure was found. */
void saveLocation(const ERR_FIELDS& fields) {
    CTrcSaveLocation(Field(fields[ERR_MODULE]).chars, std::atoi(Field(fields[ERR_LINE]).chars));
}

}  // namespace

void ErrITraceLog(const ERR_FIELDS& fields, int errorNumber) noexcept {
    if (ct_log_level < 1) return;
    const DpHold hold(1);
    const std::string_view detail = fields[ERR_DETAIL], call = fields[ERR_SYSTEM_CALL];
    KEL_CHAR failure[160] = "";
    if (errorNumber != 0)
        (void)std::snprintf(failure, sizeof failure, "(%d: %s) ", errorNumber, ErrPrErrno(errorNumber));
    KEL_CHAR text[2 * ERR_BLOCK_MAX];
    (void)std::snprintf(text, sizeof text, "%.*s: %.*s %s[%s %s]", width(detail), detail.data(), width(call),
                        call.data(), failure, Field(fields[ERR_MODULE]).chars, Field(fields[ERR_LINE]).chars);
    if (ct_level >= 1) DpTrc(tf, "***LOG %s=> %s\n", LOG_KEY, text);
    saveLocation(fields);
    DpSLogFun(LOG_KEY, text);
}

void ErrITraceTooLong(const ERR_FIELDS& fields) noexcept {
    if (ct_level < 1) return;
    const DpHold hold(1);
    saveLocation(fields);
    DpTrcErr(tf, "error information is longer than %zu bytes", ERR_BLOCK_MAX);
    for (const ERR_ENTRY& entry : ERR_ENTRIES)
        if (const std::string_view value = fields[entry.field]; !value.empty())
            DpTrcNoTi(tf, "%-12.12s%.*s\n", entry.label.data(), width(value), value.data());
}

void ErrITraceUnreadable(std::string_view block) noexcept {
    if (ct_level < (block.empty() ? 2 : 1)) return;
    const DpHold hold(block.empty() ? 2 : 1);
    if (block.empty())
        DpTrc(tf, "ErrIGet: no KEL error info available\n");
    else if (block.size() < 2 * ERR_MARK.size())
        DpTrc(tf, "ErrIGet: bad length (%zu)\n", block.size());
    else
        ErrITraceMarks("ErrIGet", "eyecatcher destroyed", block);
}

void ErrITraceBad(const KEL_CHAR* function, std::string_view block, int rc) noexcept {
    if (ct_level < 1) return;
    const DpHold hold(1);
    if (rc == ERR_TOO_LONG)
        DpTrcErr(tf, "%s2: internal area too small (%zu<%zu)", function, ERR_BLOCK_MAX, block.size());
    else
        ErrITraceMarks(function, "bad err info (eyecatcher destroyed)", rc == ERR_CONVERSION ? "" : block);
}
