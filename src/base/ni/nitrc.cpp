#include "base/ni/nitrc.h"

#include <cstdarg>
#include <cstdio>

namespace {
constexpr std::size_t TEXT_MAX = 512;
}

void NiTrcErr(const NiPlace& where, const KEL_CHAR* format, ...) noexcept {
    if (ct_level < 1) return;
    const DpHold hold(1, where.path, where.line);
    KEL_CHAR text[TEXT_MAX];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    DpTrcErr(tf, "%s: %s", where.function, text);
}

void NiTrc(int level, const NiPlace& where, const KEL_CHAR* format, ...) noexcept {
    if (ct_level < level) return;
    const DpHold hold(level, where.path, where.line);
    KEL_CHAR text[TEXT_MAX];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    DpTrc(tf, "%s: %s\n", where.function, text);
}
