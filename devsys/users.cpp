#include "devsys/users.h"

#include <algorithm>

namespace zordev {

std::vector<User> defaultUsers() {
    return {
        {"DEMO", "welcome", "100", PasswordState::ok, false},
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
        case LogonResult::locked:
            return "User is locked";
    }
    return "";
}

LogonResult UserTable::logon(std::string_view client, std::string_view name, std::string_view password,
                             PasswordState& state) const {
    const std::lock_guard lock(mutex_);
    if (std::ranges::find(users_, client, &User::client) == users_.end()) return LogonResult::wrongClient;
    const auto user = std::ranges::find_if(
        users_, [&](const User& candidate) { return candidate.client == client && candidate.name == name; });
    if (user == users_.end() || user->password != password) return LogonResult::wrongPassword;
    if (user->locked) return LogonResult::locked;
    state = user->state;
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
