#include "api/fieldcall.h"

#include <cstdarg>
#include <cstdio>

#include "data/zorfieldfailure.h"
#include "trace/zortracefunctions.h"

namespace zorapi {

namespace {

/** Longest text of a value or of arguments in a line. */
constexpr size_t lineWidth = 512;

/** A field as lines show it: its name, cut and in quotes where wanted, or its index. */
struct FieldText {
    explicit FieldText(const TracedField& field, bool quoted) noexcept {
        if (!field.byName)
            std::snprintf(text, sizeof text, "%u", field.index);
        else if (field.name == nullptr)
            std::snprintf(text, sizeof text, "NULL");
        else
            std::snprintf(text, sizeof text, quoted ? "\"%.30s\"" : "%.30s", field.name);
    }
    KEL_UC text[40];
};

/** Largest buffer that is dumped: a longer one was never there. */
constexpr unsigned longestDump = 0x7FFFFFFF;

}  // namespace

bool isSecret(FieldCall call, const TracedField& field) noexcept {
    if (field.byName) return field.name != nullptr && isSecretName(field.name);
    const ZorRecord* record = liveRecord(call.handle);
    return record != nullptr && field.index < record->getFieldCount() &&
           isSecretName(record->getName(field.index));
}

void traceArguments(FieldCall call, const TracedField& field, const KEL_UC* format, ...) noexcept {
    KEL_UC text[lineWidth];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    ZorTraceWrite("%s(%p, %s, %s, errorInfo=%p)", call.function, static_cast<void*>(call.handle),
                  FieldText(field, true).text, text, static_cast<void*>(call.errorInfo));
}

void traceResult(FieldCall call, const TracedField& field, const KEL_UC* format, ...) noexcept {
    KEL_UC text[lineWidth];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    ZorTraceWrite("%s(%s) returns %s", call.function, FieldText(field, false).text,
                  isSecret(call, field) ? "***" : text);
}

void traceBuffer(FieldCall call, const TracedField& field, const void* buffer, unsigned length) noexcept {
    if (isSecret(call, field) || length > longestDump) return;
    ZorTraceHexDump(static_cast<const KEL_RAW*>(buffer), length, "%s(%s) buffer:", call.function,
                    FieldText(field, false).text);
}

}  // namespace zorapi
