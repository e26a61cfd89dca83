#include "devsys/isodata.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <nlohmann/json.hpp>

#include "devsys/mofile.h"

namespace zordev {
namespace {

constexpr char SUBSTITUTE = '#';

struct Source {
    const char* file;     // JSON below the package's folder, and name of the catalogue
    const char* section;  // the one member of the document
};

constexpr Source sourceOf(IsoList list) {
    switch (list) {
        case IsoList::countries:
            return {"iso_3166-1", "3166-1"};
        case IsoList::currencies:
            return {"iso_4217", "4217"};
        case IsoList::languages:
            return {"iso_639-2", "639-2"};
    }
    return {"", ""};
}

struct KeyRow {
    char key;
    const char* iso;
};

constexpr KeyRow LANGUAGE_KEYS[] = {
    {'E', "en"}, {'D', "de"}, {'F', "fr"}, {'S', "es"}, {'I', "it"}, {'N', "nl"}, {'P', "pt"}, {'K', "da"},
    {'V', "sv"}, {'O', "no"}, {'U', "fi"}, {'L', "pl"}, {'C', "cs"}, {'H', "hu"}, {'T', "tr"}, {'R', "ru"},
    {'J', "ja"}, {'1', "zh"}, {'3', "ko"}, {'G', "el"}, {'B', "he"}, {'A', "ar"}, {'4', "ro"}, {'5', "sl"},
    {'6', "hr"}, {'8', "uk"}, {'9', "et"}, {'X', "lt"}, {'Y', "lv"}, {'Q', "sk"}, {'W', "bg"},
};

// A list in its original English, names in UTF-8. Empty without the package.
std::vector<IsoEntry> readList(IsoList list) {
    const Source source = sourceOf(list);
    std::ifstream file(std::string("/usr/share/iso-codes/json/") + source.file + ".json");
    const nlohmann::json document = nlohmann::json::parse(file, nullptr, false);
    std::vector<IsoEntry> entries;
    if (!document.is_object() || !document.contains(source.section)) return entries;
    for (const nlohmann::json& row : document.at(source.section)) {
        const auto text = [&row](const char* key) { return row.value(key, std::string()); };
        entries.push_back(
            {text("alpha_2"), text("alpha_3"), text("numeric"), text("name"), text("official_name")});
    }
    return entries;
}

const std::vector<IsoEntry>& originals(IsoList list) {
    static const std::array<std::vector<IsoEntry>, 3> lists = {
        readList(IsoList::countries), readList(IsoList::currencies), readList(IsoList::languages)};
    return lists[static_cast<std::size_t>(list)];
}

}  // namespace

std::string isoLanguage(std::string_view language) {
    if (language.size() == 1) {
        const auto row = std::ranges::find(LANGUAGE_KEYS, language[0], &KeyRow::key);
        return row == std::end(LANGUAGE_KEYS) ? std::string() : row->iso;
    }
    if (language.size() != 2) return {};
    std::string code(language);
    for (char& c : code)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return code;
}

char languageKey(std::string_view isoCode) {
    const auto row = std::ranges::find(LANGUAGE_KEYS, isoCode, &KeyRow::iso);
    return row == std::end(LANGUAGE_KEYS) ? ' ' : row->key;
}

IsoResult isoEntries(IsoList list, const std::string& language) {
    IsoResult result{originals(list), false};
    const auto catalogue =
        MoFile::load("/usr/share/locale/" + language + "/LC_MESSAGES/" + sourceOf(list).file + ".mo");
    result.translated = catalogue.has_value();
    for (IsoEntry& entry : result.entries) {
        for (std::string* name : {&entry.name, &entry.officialName}) {
            if (name->empty()) continue;
            *name = toLatin1(catalogue ? catalogue->translate(*name) : std::string_view(*name));
        }
    }
    std::ranges::sort(result.entries, {}, &IsoEntry::name);
    return result;
}

std::string toLatin1(std::string_view utf8) {
    std::string text;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        const bool two = (lead == 0xC2 || lead == 0xC3) && i + 1 < utf8.size() &&
                         (static_cast<unsigned char>(utf8[i + 1]) & 0xC0) == 0x80;
        if (lead < 0x80) {
            text += utf8[i++];
        } else if (two) {
            text += static_cast<char>((lead & 3) << 6 | (static_cast<unsigned char>(utf8[i + 1]) & 0x3F));
            i += 2;
        } else {
            text += SUBSTITUTE;
            do
                ++i;
            while (i < utf8.size() && (static_cast<unsigned char>(utf8[i]) & 0xC0) == 0x80);
        }
    }
    return text;
}

}  // namespace zordev
