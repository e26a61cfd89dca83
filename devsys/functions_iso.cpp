/**
 * @file
 * Functions with real data: countries, currencies and languages, with their names in many languages.
 */
#include <ctime>

#include "devsys/call.h"
#include "devsys/functions.h"
#include "devsys/isodata.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

const StructureDescription COUNTRY = {"COUNTRY_ROW",
                                      188,
                                      {
                                          {"ALPHA2", ZORTYPE_CHAR, 2, 0},
                                          {"ALPHA3", ZORTYPE_CHAR, 3, 2},
                                          {"NUMCODE", ZORTYPE_NUM, 3, 5},
                                          {"NAME", ZORTYPE_CHAR, 60, 8},
                                          {"OFFICIAL", ZORTYPE_CHAR, 120, 68},
                                      }};

const StructureDescription CURRENCY = {"CURRENCY_ROW",
                                       66,
                                       {
                                           {"ALPHA3", ZORTYPE_CHAR, 3, 0},
                                           {"NUMCODE", ZORTYPE_NUM, 3, 3},
                                           {"NAME", ZORTYPE_CHAR, 60, 6},
                                       }};

const StructureDescription LANGUAGE = {"LANGUAGE_ROW",
                                       105,
                                       {
                                           {"ALPHA2", ZORTYPE_CHAR, 2, 0},
                                           {"ALPHA3", ZORTYPE_CHAR, 3, 2},
                                           {"NAME", ZORTYPE_CHAR, 100, 5},
                                       }};

// What all three functions tell about their list.
const StructureDescription INFO = {"LIST_INFO",
                                   44,
                                   {
                                       {"LANGU", ZORTYPE_CHAR, 1, 0},
                                       {"LANGU_ISO", ZORTYPE_CHAR, 2, 1},
                                       {"TRANSLATED", ZORTYPE_CHAR, 1, 3},
                                       {"SOURCE", ZORTYPE_CHAR, 40, 4},
                                   }};

enum Parameter : std::size_t { LANGUAGE_IN, COUNT, RUN_DATE, RUN_TIME, LIST_INFO, ROWS };

std::vector<ParameterDescription> parameters(std::string_view table, const StructureDescription& row) {
    return {
        {"LANGUAGE", ZORTYPE_CHAR, 2, ZOR_IMPORT},
        {"COUNT", ZORTYPE_INT, 4, ZOR_EXPORT},
        {"RUN_DATE", ZORTYPE_DATE, 8, ZOR_EXPORT},
        {"RUN_TIME", ZORTYPE_TIME, 6, ZOR_EXPORT},
        {"INFO", ZORTYPE_STRUCTURE, INFO.length, ZOR_EXPORT, 0, &INFO},
        {table, ZORTYPE_TABLE, row.length, ZOR_TABLES, 0, &row},
    };
}

const std::vector<ExceptionDescription> EXCEPTIONS = {{"LANGUAGE_UNKNOWN", "No such language"}};

// Date and time of the call, in UTC.
void replyTimes(Call& call) {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    gmtime_r(&now, &parts);
    char text[16];
    std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &parts);
    call.replyText(RUN_DATE, std::string_view(text, 8));
    call.replyText(RUN_TIME, std::string_view(text + 8, 6));
}

void replyInfo(Call& call, const std::string& language, bool translated) {
    std::vector<Byte> info(INFO.length, ' ');
    info[0] = static_cast<Byte>(languageKey(language));
    for (std::size_t i = 0; i < language.size(); ++i)
        info[1 + i] = static_cast<Byte>(language[i] - 'a' + 'A');
    info[3] = translated ? 'X' : ' ';
    storeText(info, 4, 40, "iso-codes");
    call.reply(LIST_INFO, info);
}

std::string_view valueOf(const IsoEntry& entry, std::string_view field) {
    if (field == "ALPHA2") return entry.alpha2;
    if (field == "ALPHA3") return entry.alpha3;
    if (field == "NUMCODE") return entry.numeric;
    return field == "NAME" ? entry.name : entry.officialName;
}

void replyRows(Call& call, const std::vector<IsoEntry>& entries) {
    const StructureDescription& row = *call.function->parameters[ROWS].structure;
    if (!call.replyTable(ROWS, static_cast<std::uint32_t>(entries.size()), row.length)) return;
    for (const IsoEntry& entry : entries) {
        const std::span<Byte> bytes = call.out.reserve(ZORID_TableContent, row.length);
        for (const FieldDescription& field : row.fields) {
            const std::string_view value = valueOf(entry, field.name);
            const bool emptyNumber = field.type == ZORTYPE_NUM && value.empty();
            storeText(bytes, field.offset, field.length, value, emptyNumber ? '0' : ' ');
        }
    }
}

template <IsoList list>
Outcome getList(Call& call) {
    const std::string_view wanted = call.text(LANGUAGE_IN);
    const std::string language = isoLanguage(wanted.empty() ? "EN" : wanted);
    if (language.empty()) {
        call.out.text(ZORID_Exception, "LANGUAGE_UNKNOWN");
        return Outcome::reply;
    }
    const IsoResult result = isoEntries(list, language);
    call.replyInteger(COUNT, static_cast<std::int32_t>(result.entries.size()));
    replyTimes(call);
    replyInfo(call, language, result.translated);
    replyRows(call, result.entries);
    return Outcome::reply;
}

}  // namespace

std::vector<FunctionDescription> isoFunctions() {
    return {
        {"COUNTRY_GET_LIST", parameters("COUNTRIES", COUNTRY), getList<IsoList::countries>, false,
         EXCEPTIONS},
        {"CURRENCY_GET_LIST", parameters("CURRENCIES", CURRENCY), getList<IsoList::currencies>, false,
         EXCEPTIONS},
        {"LANGUAGE_GET_LIST", parameters("LANGUAGES", LANGUAGE), getList<IsoList::languages>, false,
         EXCEPTIONS},
    };
}

}  // namespace zordev
