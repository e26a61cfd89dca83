/**
 * @file
 * Scrambling of passwords: a key that both sides know turns the text into bytes that a casual look at
 * the wire can't read, and back.
 */
#pragma once

#include <optional>
#include <span>
#include <string>

#include "devsys/bytes.h"

namespace zordev {

/** Scrambles in place; a second time with the same key restores the data. */
void scramble(std::span<Byte> data, std::uint32_t key);

/** The text of a password item: a 4-byte key, then the scrambled text. Nothing if it is too short. */
std::optional<std::string> unscramblePassword(ByteSpan item);

}  // namespace zordev
