/**
 * @file
 * Scrambling of passwords on the wire. It keeps a password from being read at a glance in a dump; it is
 * no encryption: who listens on an unsecured line can undo it.
 */
#pragma once

#include <kelzor/types.h>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/** Scrambles in place; applied twice with the same key it restores the data. */
void ub_scramble(std::span<KEL_RAW> data, std::uint32_t key) noexcept;

/**
 * The wire form of a password: a random 4-byte key in the byte order of the host, then the scrambled
 * characters. Empty for an empty password.
 */
std::vector<KEL_RAW> scrambleChars(std::string_view password);
