// What the error block leaves in the trace.

#include <algorithm>
#include <cstdlib>
#include <string>

#include "base/dptrc/errblock.h"

namespace {

/** Prints a field, which has no terminator of its own, by "%.*s". */
int width(std::string_view text) {
    return static_cast<int>(text.size());
}

/** A field as text with a terminator, cut if need be. */
struct Field {
    explicit Field(std::string_view text) { text.copy(chars, sizeof chars - 1); }
    KEL_CHAR chars[64] = "";
};

/** The place that an error line names is where the failure was found. */
void saveLocation(const ERR_FIELDS& fields) {
    CTrcSaveLocation(Field(fields[ERR_MODULE]).chars, std::atoi(Field(fields[ERR_LINE]).chars));
}

}  // namespace

void ErrITraceSystem(const ERR_FIELDS& fields, int errorNumber) noexcept {
    if (ct_level < 1 || ct_log_level < 1) return;
    const DpHold hold(1);
    const std::string_view detail = fields[ERR_DETAIL], call = fields[ERR_SYSTEM_CALL];
    DpTrc(tf, "***LOG Q0I=> %.*s: %.*s (%d: %s) [%s %s]\n", width(detail), detail.data(), width(call),
          call.data(), errorNumber, ErrPrErrno(errorNumber), Field(fields[ERR_MODULE]).chars,
          Field(fields[ERR_LINE]).chars);
    saveLocation(fields);
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

void ErrITraceBad(const KEL_CHAR* function, std::string_view block, int rc) noexcept {
    if (ct_level < 1) return;
    const DpHold hold(1);
    const bool marked =
        block.size() >= 2 * ERR_MARK.size() && block.starts_with(ERR_MARK) && block.ends_with(ERR_MARK);
    if (rc == ERR_TOO_LONG)
        DpTrcErr(tf, "%s2: internal area too small (%zu<%zu)", function, ERR_BLOCK_MAX, block.size());
    else if (rc == ERR_CONVERSION || !marked)
        DpTrcErr(tf, "%s: bad err info (eyecatcher destroyed)", function);
    else
        DpTrcErr(tf, "%s: error info incomplete (%d fields only)", function,
                 static_cast<int>(std::ranges::count(block, '\0')));
}
