/**
 * @file
 * Countries, currencies and languages with their names in many languages, as the system's iso-codes
 * package has them.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zordev {

/** A country, a currency or a language. What a list doesn't have is empty; names are Latin-1. */
struct IsoEntry {
    std::string alpha2;
    std::string alpha3;
    std::string numeric;
    std::string name;
    std::string officialName;
};

/** The three lists. */
enum class IsoList { countries, currencies, languages };

/**
 * The two-letter code of a language in lower case, from a one-character language key or from such a code
 * in any case; empty if it isn't known.
 */
std::string isoLanguage(std::string_view language);

/** The one-character key of a two-letter code in lower case; a blank if it has none. */
char languageKey(std::string_view isoCode);

/** A list that was translated. */
struct IsoResult {
    std::vector<IsoEntry> entries; /**< Ascending by name. */
    bool translated = false;       /**< Whether there was a catalogue for the language. */
};

/**
 * One list with its names in a language, given by its two-letter code. Empty when the system has no
 * such data. Characters that Latin-1 lacks become '#'. Thread-safe.
 */
IsoResult isoEntries(IsoList list, const std::string& language);

/** UTF-8 to Latin-1, '#' for each character that it lacks and for each damaged byte. */
std::string toLatin1(std::string_view utf8);

}  // namespace zordev
