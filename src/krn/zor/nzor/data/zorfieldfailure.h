/** @file The failures of field access and their texts. */
#pragma once

#include <span>
#include <string_view>

#include "data/zorrecord.h"

/** A field can't be read as the wanted type. */
[[noreturn]] void throwReadFailure(const ZorFieldTypeBase& field, std::string_view wanted);

/** A value of the source type can't be written to a field. */
[[noreturn]] void throwWriteFailure(const ZorFieldTypeBase& field, std::string_view source);

/** A value that came in the source type has no counterpart in the wanted one. */
[[noreturn]] void throwValueFailure(const ZorFieldTypeBase& field, ZORTYPE source, std::string_view value,
                                    std::string_view wanted);

/** A text has no counterpart in the field's type; `position` is -1 if none is known. */
[[noreturn]] void throwTextFailure(const ZorFieldTypeBase& field, std::string_view value, int position);

/** The content of a field is broken, so that it has no text. */
[[noreturn]] void throwRenderFailure(const ZorFieldTypeBase& field, std::span<const KEL_RAW> content,
                                     int position);

/** A value of a type needs `required` characters or bytes where the buffer has `length`. */
[[noreturn]] void throwBufferFailure(ZORTYPE type, unsigned length, size_t required);

/**
 * Longest text or byte string that is taken, and longest buffer that is filled, in bytes: a larger number
 * comes from a negative one, and no buffer has that many.
 */
inline constexpr unsigned zorLongestValue = 0x7FFFFFFF;

/** What stands for a value that must not be seen. */
inline constexpr std::string_view zorHiddenValue = "***";

/** A value as messages show it: cut to what a message holds, and hidden if the field's name tells a secret.
 */
std::string_view shownValue(const ZorFieldTypeBase& field, std::string_view value) noexcept;

/** True for names of fields whose content must not appear in traces or messages. */
bool isSecretName(std::string_view name) noexcept;
