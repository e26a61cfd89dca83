// Exported functions of the family "Configuration".

#include <kelzor/config.h>

#include <vector>

#include "api/frame.h"
#include "api/kellogonentries.h"
#include "config/kellogoniniparser.h"

using namespace zorapi;

namespace {

/** The checks of the functions that give and take back a list of entries. */
auto listArguments(KEL_UC*** list, const unsigned* count) noexcept {
    return checks(Required{list, "kellogonIDList"}, Required{count, "numKellogonIDs"});
}

}  // namespace

ZOR_RC ZorSetIniPath(const KEL_UC* pathName, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(), [&] { ZorConfig::setIniPath(pathName); });
}

ZOR_RC ZorReloadIniFile(ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(), [] { ZorConfig::reload(); });
}

ZOR_RC ZorGetKellogonEntries(KEL_UC*** kellogonIDList, unsigned* numKellogonIDs, ZOR_ERROR_INFO* errorInfo) {
    const auto needed = listArguments(kellogonIDList, numKellogonIDs);
    return light(__func__, errorInfo, GlobalLevel{}, needed, [&] {
        std::vector<KEL_string> names;
        KELLogonIniParser::getEntryKeys(names);
        return makeKellogonEntries(names, *kellogonIDList, *numKellogonIDs, errorInfo);
    });
}

ZOR_RC ZorFreeKellogonEntries(KEL_UC*** kellogonIDList, unsigned* numKellogonIDs, ZOR_ERROR_INFO* errorInfo) {
    const auto needed = listArguments(kellogonIDList, numKellogonIDs);
    return light(__func__, errorInfo, GlobalLevel{}, needed,
                 [&] { freeKellogonEntries(*kellogonIDList, *numKellogonIDs); });
}
