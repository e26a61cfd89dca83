/**
 * @file
 * What the dictionary may tell wrongly on demand, so that a client meets answers that contradict themselves.
 */
#pragma once

namespace zordev {

/** One fault at a time, in every answer of the metadata functions that it can be in. */
enum class DictionaryFault {
    none,
    overlappingOffsets, /**< The second field of a type lies upon the first. */
    shortRecord,        /**< A record is shorter than its fields. */
    longRecord,         /**< A record has 2 GiB. */
    narrowerWide,       /**< The layout with 2-byte characters is the shorter one. */
    doubleName,         /**< Two fields have one name. */
    unknownLineType,    /**< A table is of a type that the answer doesn't have. */
    circularLines,      /**< Two table types are each the line type of the other. */
    circularStructure,  /**< A structure contains itself. */
    bottomless,         /**< Tables are within tables, 110 times. */
    negativeLength,     /**< A parameter is -1 bytes long. */
    unknownLetter,      /**< Types have a letter that no type has. */
    brokenDigits,       /**< Numbers aren't digits. */
};

}  // namespace zordev
