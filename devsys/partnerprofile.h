/**
 * @file
 * What kind of machine the back-end plays: the formats of its numbers and of its text.
 */
#pragma once

#include <kelzor/types.h>

#include <string>

#include "devsys/bytes.h"

namespace zordev {

struct StructureDescription;

/** Formats of a back-end. The defaults are those of a client on an ordinary machine. */
struct PartnerProfile {
    bool bigEndian = false;              /**< Numbers have their highest byte first. */
    bool hexFloat = false;               /**< Floats have base 16 instead of IEEE's base 2. */
    Byte characterClass = 1;             /**< 1: one byte a character; 5: two. */
    std::string codePage = "1100";       /**< That its answers declare. */
    std::string systemCodePage = "1100"; /**< That it works in. */

    bool convertsNumbers() const { return bigEndian || hexFloat; }
    /** Whether its characters have two bytes, whatever they have on the way. */
    bool wide() const { return codePage.starts_with('4'); }
};

/** Brings a number of an ordinary machine, of the length that its type has, into the format of the profile.
 */
void convertNumber(const PartnerProfile& profile, ZORTYPE type, std::span<Byte> number);

/** Converts the numbers in the image of a record. */
void convertRecord(const PartnerProfile& profile, const StructureDescription& structure,
                   std::span<Byte> image);

/** The eight bytes of a double, highest first, as a hexadecimal number: what is too small becomes 0. */
std::uint64_t hexadecimalBits(double value);

}  // namespace zordev
