#include "server/zoraccesscontrol.h"

#include "config/inireader.h"
#include "config/zoroptions.h"

namespace {

/** The names between the marks, without blanks around them; empty ones are none. */
std::set<std::string, std::less<>> namesIn(std::string_view list, char mark) {
    std::set<std::string, std::less<>> names;
    while (!list.empty()) {
        const size_t end = list.find(mark);
        if (const auto name = trimmed(list.substr(0, end)); !name.empty()) names.emplace(name);
        list = end != std::string_view::npos ? list.substr(end + 1) : std::string_view();
    }
    return names;
}

}  // namespace

void ZorAccessControl::setup(const ZorOptions& options) {
    if (!trimmed(options.system_ids).empty()) systemIDs = namesIn(options.system_ids, ',');
    // Names contain commas, so that another mark divides them. No library of this build knows their keys.
    if (!namesIn(options.vsl_partner_names, '|').empty())
        throw ZorInvalidParameterException("Invalid parameter with KEL_CMNAMETOACLKEY");
}

void ZorAccessControl::check(std::string_view systemID) const {
    if (!systemIDs || systemIDs->contains(systemID)) return;
    throw ZorBaseException(ZOR_AUTHORIZATION_FAILURE, EXTERNAL_AUTHORIZATION_FAILURE,
                           zorRcName(ZOR_AUTHORIZATION_FAILURE),
                           "Access to server denied for backend system " + KEL_string(systemID));
}
