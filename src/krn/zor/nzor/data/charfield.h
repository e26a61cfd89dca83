/** @file Reading the character fields of a row, as the library does with the back-end's own tables. */
#pragma once

#include <optional>
#include <string_view>

#include "data/zorconversion.h"
#include "data/zorstructure.h"

/**
 * A CHAR field of a structure, without the blanks and NULs at its end. Moves from field to field; the
 * structure outlives it, and isn't changed while a field is being looked at.
 */
class CharField {
  public:
    explicit CharField(ZorStructure& row, unsigned index = 0) noexcept : row(&row), index(index) {}

    void moveToField(unsigned newIndex) noexcept {
        index = newIndex;
        trimmed.reset();
    }

    /** Length in characters without what fills the field up. */
    unsigned computeTrimmedStringLen() { return static_cast<unsigned>(text().size()); }

    /** True if the field holds exactly this text; an empty field holds the empty one. */
    bool compare(std::string_view other) { return text() == other; }
    bool startsWith(std::string_view other) { return text().starts_with(other); }

    std::string_view text() {
        if (!trimmed) {
            const ZorFieldSlot slot = row->locate(index);
            trimmed = trimmedEnd({reinterpret_cast<const KEL_CHAR*>(slot.addr), slot.field.length1});
        }
        return *trimmed;
    }

  private:
    ZorStructure* row;
    unsigned index;
    std::optional<std::string_view> trimmed;  ///< Of the field, once it was looked at.
};
