#include "devsys/partnerprofile.h"

#include <algorithm>
#include <cmath>

#include "devsys/functions.h"

namespace zordev {
namespace {

// Whether the bytes of a type have an order that depends on the machine.
bool isNumber(ZORTYPE type) {
    switch (type) {
        case ZORTYPE_INT:
        case ZORTYPE_INT2:
        case ZORTYPE_INT8:
        case ZORTYPE_FLOAT:
        case ZORTYPE_DECF16:
        case ZORTYPE_DECF34:
        case ZORTYPE_UTCLONG:
        case ZORTYPE_UTCSECOND:
        case ZORTYPE_UTCMINUTE:
        case ZORTYPE_DTDAY:
        case ZORTYPE_DTWEEK:
        case ZORTYPE_DTMONTH:
        case ZORTYPE_TSECOND:
        case ZORTYPE_TMINUTE:
        case ZORTYPE_CDAY:
            return true;
        default:
            return false;
    }
}

void makeHexadecimal(std::span<Byte> number) {
    double value;
    std::memcpy(&value, number.data(), sizeof value);
    const std::uint64_t bits = hexadecimalBits(value);
    for (std::size_t i = 0; i < 8; ++i)
        number[i] = static_cast<Byte>(bits >> (8 * i));
}

}  // namespace

// A sign, seven bits of an exponent to the base 16 with an excess of 64, and 56 bits of a fraction between
// 1/16 and 1.
std::uint64_t hexadecimalBits(double value) {
    if (value == 0 || !std::isfinite(value)) return 0;
    int exponent2 = 0;
    const double fraction = std::frexp(std::fabs(value), &exponent2);
    const int exponent16 = static_cast<int>(std::ceil(exponent2 / 4.0));
    if (exponent16 < -64 || exponent16 > 63) return 0;
    const double scaled = std::ldexp(fraction, exponent2 - 4 * exponent16 + 56);
    const std::uint64_t sign = std::signbit(value) ? 1ULL << 63 : 0;
    return sign | static_cast<std::uint64_t>(exponent16 + 64) << 56 | static_cast<std::uint64_t>(scaled);
}

void convertNumber(const PartnerProfile& profile, ZORTYPE type, std::span<Byte> number) {
    if (!isNumber(type)) return;
    if (type == ZORTYPE_FLOAT && profile.hexFloat) makeHexadecimal(number);
    if (profile.bigEndian) std::ranges::reverse(number);
}

void convertRecord(const PartnerProfile& profile, const StructureDescription& structure,
                   std::span<Byte> image) {
    for (const FieldDescription& field : structure.fields) {
        if (field.offset + field.length > image.size()) return;
        const std::span<Byte> bytes = image.subspan(field.offset, field.length);
        if (field.structure != nullptr)
            convertRecord(profile, *field.structure, bytes);
        else
            convertNumber(profile, field.type, bytes);
    }
}

}  // namespace zordev
