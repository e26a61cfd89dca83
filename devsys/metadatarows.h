/**
 * @file
 * Rows and structures of the metadata functions, each form in its layout with one byte a character. The
 * number is the release from which on a row has this form.
 */
#pragma once

#include "devsys/functions.h"

namespace zordev::metadata {

/** A parameter of a function. */
extern const StructureDescription FUNINT_3;
extern const StructureDescription FUNINT_4;
/** A field of a structure. */
extern const StructureDescription FIELDS_3;
/** The head of a type. */
extern const StructureDescription X030L_4;
extern const StructureDescription X030L_6;
/** A field of a type; the older form is the same without its last three fields. */
extern const StructureDescription DFIES_6;
/** An attribute of a class. */
extern const StructureDescription SEO_ATTRIBUTES;
/** The name of a class. */
extern const StructureDescription SEO_CLSKEYS;
/** Names of the functions that are asked for at once. */
extern const StructureDescription FUNCTION_NAME;
/** Names of the types that are asked for at once. */
extern const StructureDescription TYPE_NAME;
/** A parameter of one of many functions. */
extern const StructureDescription METADATA_PARAMS;
/** A field of one of many types. */
extern const StructureDescription METADATA_DDIC;
/** A type that is named by a field of another. */
extern const StructureDescription METADATA_INDIRECT;
/** A function that was not found. */
extern const StructureDescription FUNC_ERROR;
/** A type that was not found. */
extern const StructureDescription DD_ERROR;

}  // namespace zordev::metadata
