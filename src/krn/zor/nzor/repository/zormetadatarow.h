/** @file Reading the rows by which a back-end describes its functions and types. */
#pragma once

#include <string_view>

#include "data/zorstructure.h"

/**
 * A row of an answer. What comes from a partner is checked here: lengths, offsets and counts are never
 * negative and never beyond what a record can have. Field names are those of the row's description.
 */
class ZorMetadataRow {
  public:
    /** The row stays the table's or the structure's. */
    explicit ZorMetadataRow(ZorStructure& row) noexcept : row(row) {}

    /** A character field without its trailing blanks; valid as long as the row's bytes stay. */
    std::string_view text(std::string_view field) const;
    /** The first character of a field, which may be a blank. */
    KEL_UC letter(std::string_view field) const;
    bool isSet(std::string_view field) const { return letter(field) == 'X'; }
    /**
     * A length, offset or number of decimals, from digits, from an integer or from big-endian bytes. Throws
     * ZorBaseException with the code of the field access, and ZorInvalidParameterException for what no
     * record can have.
     */
    unsigned number(std::string_view field) const;

    /** Bytes of the longest record that is taken from a partner. */
    static constexpr unsigned longestRecord = 1u << 24;

  private:
    ZorStructure& row;
};
