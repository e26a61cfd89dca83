// The version, and contexts.

#include <cstdint>

#include "decnumber.h"

#ifndef KELZOR_DECNUMBER_VERSION
#define KELZOR_DECNUMBER_VERSION "3.32"
#endif

namespace {

struct Condition {
    std::uint32_t status;
    const char* name;
};

constexpr Condition conditions[] = {
    {0, "No status"},
    {DEC_Conversion_syntax, "Conversion syntax"},
    {DEC_Division_by_zero, "Division by zero"},
    {DEC_Division_impossible, "Division impossible"},
    {DEC_Division_undefined, "Division undefined"},
    {DEC_Insufficient_storage, "Insufficient storage"},
    {DEC_Inexact, "Inexact"},
    {DEC_Invalid_context, "Invalid context"},
    {DEC_Invalid_operation, "Invalid operation"},
    {DEC_Overflow, "Overflow"},
    {DEC_Clamped, "Clamped"},
    {DEC_Rounded, "Rounded"},
    {DEC_Subnormal, "Subnormal"},
    {DEC_Underflow, "Underflow"},
};

}  // namespace

const char* decNumberVersion() {
    return "decimal stand-in " KELZOR_DECNUMBER_VERSION;
}

decContext* decContextDefault(decContext* context, std::int32_t kind) {
    switch (kind) {
        case DEC_INIT_DECIMAL32:
            *context = {7, 96, -95, DEC_ROUND_HALF_EVEN, 0, 0, 1};
            break;
        case DEC_INIT_DECIMAL64:
            *context = {16, 384, -383, DEC_ROUND_HALF_EVEN, 0, 0, 1};
            break;
        case DEC_INIT_DECIMAL128:
            *context = {34, 6144, -6143, DEC_ROUND_HALF_EVEN, 0, 0, 1};
            break;
        default:
            *context = {9, 999999999, -999999999, DEC_ROUND_HALF_UP, 0, 0, 0};
            if (kind != DEC_INIT_BASE) context->status = DEC_Invalid_operation;
            break;
    }
    return context;
}

decContext* decContextSetStatus(decContext* context, std::uint32_t status) {
    context->status |= status;
    return context;
}

const char* decContextStatusToString(const decContext* context) {
    for (const Condition& condition : conditions)
        if (condition.status == context->status) return condition.name;
    return "Multiple status";
}
