#include "devsys/users.h"

#include <algorithm>

namespace zordev {

namespace {

bool byOtherForm(const Identity& identity) {
    return !identity.ticket.empty() || !identity.certificate.empty() || !identity.externalId.empty();
}

bool isNamed(const User& user, const Identity& identity) {
    return identity.user.empty() ? !user.alias.empty() && user.alias == identity.alias
                                 : user.name == identity.user;
}

// The user behind a ticket, a certificate or an external identity; a name beside it must be the same user's.
bool isMeant(const User& user, const Identity& identity) {
    if (!identity.user.empty() && user.name != identity.user) return false;
    if (!identity.ticket.empty()) return user.ticket == identity.ticket;
    if (!identity.certificate.empty()) return user.certificate == identity.certificate;
    return user.externalId == identity.externalId;
}

}  // namespace

std::vector<User> defaultUsers() {
    return {
        {"DEMO", "welcome", "100", PasswordState::ok, false, "demo alias", "TICKET-OF-DEMO",
         "CN=DEMO, O=Example", "ID:demo@example"},
        {"DEMO", "welcome", "000", PasswordState::ok, false},
        {"LOCKED", "welcome", "100", PasswordState::ok, true},
        {"INITIAL", "welcome", "100", PasswordState::initial, false},
        {"EXPIRED", "welcome", "100", PasswordState::expired, false},
        {"ENFORCED", "welcome", "100", PasswordState::rulesEnforced, false},
    };
}

std::string_view logonText(LogonResult result) {
    switch (result) {
        case LogonResult::ok:
            return "";
        case LogonResult::wrongClient:
            return "Client is not available in this system";
        case LogonResult::wrongPassword:
            return "Name or password is incorrect (repeat logon)";
        case LogonResult::wrongIdentity:
            return "Nobody is known by this ticket, certificate or identity";
        case LogonResult::locked:
            return "User is locked";
    }
    return "";
}

LogonResult UserTable::logon(const Identity& identity, User& found) const {
    const std::lock_guard lock(mutex_);
    if (std::ranges::find(users_, identity.client, &User::client) == users_.end())
        return LogonResult::wrongClient;
    const bool byPassword = !byOtherForm(identity);
    const auto user = std::ranges::find_if(users_, [&](const User& candidate) {
        return candidate.client == identity.client &&
               (byPassword ? isNamed(candidate, identity) : isMeant(candidate, identity));
    });
    if (!byPassword && user == users_.end()) return LogonResult::wrongIdentity;
    if (user == users_.end() || (byPassword && user->password != identity.password))
        return LogonResult::wrongPassword;
    if (user->locked) return LogonResult::locked;
    found = *user;
    return LogonResult::ok;
}

bool UserTable::changePassword(std::string_view client, std::string_view name, std::string_view oldPassword,
                               std::string_view newPassword) {
    const std::lock_guard lock(mutex_);
    const auto user = std::ranges::find_if(
        users_, [&](const User& candidate) { return candidate.client == client && candidate.name == name; });
    if (user == users_.end() || user->password != oldPassword || newPassword.empty()) return false;
    user->password = newPassword;
    user->state = PasswordState::ok;
    return true;
}

}  // namespace zordev
