#include "data/zorfieldfailure.h"

#include <algorithm>

#include "data/zorconversion.h"
#include "error/zorliterals.h"

namespace {

// A message is cut to the error record's width anyway.
constexpr size_t longestValue = sizeof ZOR_ERROR_INFO::message;

void appendPosition(KEL_string& text, int position) {
    if (position >= 0) text.append(" at position ").append(std::to_string(position));
}

}  // namespace

void throwReadFailure(const ZorFieldTypeBase& field, std::string_view wanted) {
    throw ZorTypeConversionException(field.name, field.type, wanted);
}

void throwWriteFailure(const ZorFieldTypeBase& field, std::string_view source) {
    throw ZorTypeConversionException(field.name, source, field.type);
}

void throwValueFailure(const ZorFieldTypeBase& field, ZORTYPE source, std::string_view value,
                       std::string_view wanted) {
    throw ZorTypeConversionException(field.name, source, shownValue(field, value), wanted);
}

void throwTextFailure(const ZorFieldTypeBase& field, std::string_view value, int position) {
    KEL_string text("Cannot convert string value ");
    text.append(shownValue(field, value));
    appendPosition(text, position);
    text.append(" for the field ").append(field.name).append(" to type ").append(zorTypeName(field.type));
    throw ZorTypeConversionException(text);
}

void throwRenderFailure(const ZorFieldTypeBase& field, std::span<const KEL_RAW> content, int position) {
    KEL_string hex;
    Hex::encode(content.first(std::min(content.size(), longestValue / 2)), hex);
    KEL_string text("Cannot convert ");
    if (!hex.empty()) text.append("byte value ").append(shownValue(field, hex));
    appendPosition(text, position);
    text.append(" for ").append(field.name).append(" of type ").append(zorTypeName(field.type));
    throw ZorTypeConversionException(text);
}

void throwBufferFailure(ZORTYPE type, unsigned length, size_t required) {
    throw ZorBufferTooSmallException({}, zorTypeName(type), length, static_cast<unsigned>(required));
}

std::string_view shownValue(const ZorFieldTypeBase& field, std::string_view value) noexcept {
    return isSecretName(field.name) ? zorHiddenValue : value.substr(0, longestValue);
}

bool isSecretName(std::string_view name) noexcept {
    constexpr std::string_view stem = "PASSW";
    const auto same = [](KEL_CHAR one, KEL_CHAR capital) { return (one & ~0x20) == capital; };
    return std::search(name.begin(), name.end(), stem.begin(), stem.end(), same) != name.end();
}
