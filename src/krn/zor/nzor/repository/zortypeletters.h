/** @file The letters by which a back-end names elementary types. */
#pragma once

#include <kelzor/types.h>

#include <string_view>

/** The type of a letter; ZORTYPE_NULL for one that stands for none. */
ZORTYPE zorTypeOfLetter(KEL_UC letter) noexcept;

/**
 * The type of a parameter that is declared with the name of a built-in type in the place of a dictionary
 * type; ZORTYPE_NULL for any other name.
 */
ZORTYPE zorTypeOfBuiltIn(std::string_view typeName) noexcept;
