#include "data/zorfieldcells_text.h"

#include <algorithm>
#include <cstring>

#include "data/zorfieldfailure.h"
#include "data/zorfieldslot.h"
#include "error/zorliterals.h"

namespace zorcells {

namespace {

std::string_view contentOf(const ZorFieldSlot& slot) noexcept {
    return {reinterpret_cast<const KEL_CHAR*>(slot.addr), slot.field.length1};
}

std::span<KEL_RAW> bytesOf(const ZorFieldSlot& slot) noexcept {
    return {slot.addr, slot.field.length1};
}

std::string_view hexOf(std::span<const KEL_RAW> bytes, ZorTextScratch& scratch) {
    if (bytes.size() * 2 <= sizeof scratch.small) return {scratch.small, Hex::encode(bytes, scratch.small)};
    Hex::encode(bytes, scratch.large);
    return scratch.large;
}

/** Puts a separator behind each of two positions of a date or time, if something follows there. */
std::string_view separated(const ZorFieldSlot& slot, ZorTextScratch& scratch, KEL_CHAR separator,
                           size_t first, size_t second) {
    scratch.large = contentOf(slot);
    if (scratch.large.size() > second) {
        scratch.large.insert(second, 1, separator);
        scratch.large.insert(first, 1, separator);
    }
    return scratch.large;
}

/** The digits of a text, without leading zeros. */
std::string_view digitsOf(const ZorFieldSlot& slot, std::string_view content) {
    std::string_view digits = content;
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    if (digits.find_first_not_of("0123456789") != digits.npos)
        throwValueFailure(slot.field, slot.field.type, content, zorTypeName(ZORTYPE_NUM));
    return digits;
}

/** Parts of a date or time that is written with separators. */
struct Part {
    unsigned from;
    unsigned length;
};
constexpr Part dateParts[] = {{0, 4}, {5, 2}, {8, 2}};
constexpr Part timeParts[] = {{0, 2}, {3, 2}, {6, 2}};

/** Writes a date or time: the plain digits, or the parts between two separators of any kind. */
template <size_t width>
void writeFixed(const ZorFieldSlot& slot, std::string_view value, const Part (&parts)[3]) {
    KEL_CHAR digits[width];
    if (value.size() == width) {
        value.copy(digits, width);
    } else if (value.size() == width + 2) {
        KEL_CHAR* at = digits;
        for (const Part& part : parts)
            at += value.copy(at, part.length, part.from);
    } else {
        // A length that no buffer has comes from a negative number: nothing of it is shown.
        throwTextFailure(slot.field, value.size() > zorLongestValue ? std::string_view() : value, -1);
    }
    std::memcpy(slot.addr, digits, std::min<size_t>(width, slot.field.length1));
}

}  // namespace

std::string_view trimmed(const ZorFieldSlot& slot, ZorTextScratch&) {
    return trimmedEnd(contentOf(slot));
}

std::string_view dashed(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    return separated(slot, scratch, '-', 4, 6);
}

std::string_view coloned(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    return separated(slot, scratch, ':', 2, 4);
}

std::string_view packed(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    std::span<KEL_CHAR> out(scratch.small);
    if (const size_t needed = maxBcdText(slot.field.length1); needed > out.size()) {
        scratch.large.resize(needed);
        out = scratch.large;
    }
    unsigned length = 0;
    int position = -1;
    if (RawBcdToString(bytesOf(slot), slot.field.decimals, out, length, position) != ZOR_CONV_OK)
        throwRenderFailure(slot.field, bytesOf(slot), position);
    return {out.data(), length};
}

std::string_view hex(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    return hexOf(bytesOf(slot), scratch);
}

std::string_view floating(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    return {scratch.small, doubleToString(scratch.small, loadScalar<ZOR_FLOAT>(slot))};
}

template <class Field>
std::string_view integer(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    return {scratch.small, numberToString(scratch.small, loadScalar<Field>(slot))};
}

std::string_view string(const ZorFieldSlot& slot, ZorTextScratch&) {
    const auto* child = loadChild<ZorString>(slot.addr);
    return child != nullptr ? std::string_view(*child) : std::string_view("");
}

std::string_view hexChild(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    const auto* child = loadChild<ZorXString>(slot.addr);
    return child != nullptr ? hexOf(*child, scratch) : std::string_view("");
}

std::string_view noForm(const ZorFieldSlot&, ZorTextScratch&) {
    throw ZorTypeConversionException("ZorRecord::getCharsFieldValue was invoked for ZORTYPE_STRUCTURE");
}

std::string_view trimmedDigits(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    return digitsOf(slot, trimmed(slot, scratch));
}

std::string_view stringDigits(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    return digitsOf(slot, string(slot, scratch));
}

void padded(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    const size_t length = std::min<size_t>(value.size(), slot.field.length1);
    std::memcpy(slot.addr, value.data(), length);
    std::memset(slot.addr + length, ' ', slot.field.length1 - length);
}

void date(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    writeFixed<sizeof(ZOR_DATE)>(slot, value, dateParts);
}

void time(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    writeFixed<sizeof(ZOR_TIME)>(slot, value, timeParts);
}

void bcd(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    int position = -1;
    if (StringToRawBcd(value, bytesOf(slot), slot.field.decimals, position) == ZOR_CONV_OK) return;
    fillSlot(slot);
    throwTextFailure(slot.field, value, position);
}

void unhex(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    ZorXString bytes;
    int position = -1;
    value = value.substr(0, size_t{slot.field.length1} * 2);
    if (Hex::decode(value, bytes, position) != ZOR_CONV_OK) throwTextFailure(slot.field, value, position);
    std::fill(std::copy(bytes.begin(), bytes.end(), slot.addr), slot.addr + slot.field.length1, KEL_RAW{});
}

void num(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source) {
    std::string_view digits = trimmedEnd(value);
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    fillSlot(slot);
    if (digits.size() > slot.field.length1)
        throwValueFailure(slot.field, source, value,
                          "ZORTYPE_NUM with the field length " + std::to_string(slot.field.length1));
    if (digits.find_first_not_of("0123456789") != digits.npos)
        throwValueFailure(slot.field, source, value, zorTypeName(ZORTYPE_NUM));
    std::memcpy(slot.addr + slot.field.length1 - digits.size(), digits.data(), digits.size());
}

void parsedFloat(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    ZOR_FLOAT number = 0;
    int position = -1;
    if (charsToDouble(value, number, position) != ZOR_CONV_OK) throwTextFailure(slot.field, value, position);
    storeScalar(slot, number);
}

template <class Field>
void parsedInteger(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    ZOR_INT8 number = 0;
    int position = -1;
    if (stringToNumber(value, sizeof(Field), number, position) != ZOR_CONV_OK)
        throwTextFailure(slot.field, value, position);
    storeScalar(slot, static_cast<Field>(number));
}

void assigned(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    childMade<ZorString>(slot).assign(value);
}

void unhexChild(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    ZorXString bytes;
    int position = -1;
    if (Hex::decode(value, bytes, position) != ZOR_CONV_OK) throwTextFailure(slot.field, value, position);
    childMade<ZorXString>(slot).swap(bytes);
}

void noText(const ZorFieldSlot& slot, std::string_view, ZORTYPE) {
    throwReadFailure(slot.field, "KEL_CHAR*");
}

#define ZOR_INTEGER_CELLS(Field)                                                    \
    template std::string_view integer<Field>(const ZorFieldSlot&, ZorTextScratch&); \
    template void parsedInteger<Field>(const ZorFieldSlot&, std::string_view, ZORTYPE);

ZOR_INTEGER_CELLS(ZOR_INT)
ZOR_INTEGER_CELLS(ZOR_INT1)
ZOR_INTEGER_CELLS(ZOR_INT2)
ZOR_INTEGER_CELLS(ZOR_INT8)
#undef ZOR_INTEGER_CELLS

}  // namespace zorcells
