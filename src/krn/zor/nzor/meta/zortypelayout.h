/** @file Alignment and derived lengths of the types. */
#pragma once

#include <kelzor/types.h>

#include <cstdint>

/** Alignment of a type's slot in a record, in bytes. */
unsigned zorAlignmentOf(ZORTYPE type) noexcept;

/** The same on a partner's side, whose references to nested data take 4 bytes whatever this build's take. */
unsigned zorPartnerAlignmentOf(ZORTYPE type) noexcept;

/** Bytes of a number; 0 for what isn't one, or has a single byte. */
unsigned zorNumberWidth(ZORTYPE type) noexcept;

/** True for types whose length counts characters, so that it doubles with 2-byte characters. */
bool zorIsCharacterType(ZORTYPE type) noexcept;

/** The next multiple of an alignment. */
constexpr uint64_t zorAlignUp(uint64_t offset, unsigned alignment) noexcept {
    return (offset + alignment - 1) / alignment * alignment;
}
