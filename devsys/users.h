/**
 * @file
 * The users of the back-end, with their passwords and the state of those.
 */
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace zordev {

/** State of a user's password; the numbers go to the client as they are. */
enum class PasswordState : std::uint32_t { ok = 0, initial = 1, expired = 2, rulesEnforced = 3 };

/** A user of one client. Names are compared as they are. */
struct User {
    std::string name;
    std::string password;
    std::string client;
    PasswordState state = PasswordState::ok;
    bool locked = false;
    std::string alias = {};       /**< Another name of the user. */
    std::string ticket = {};      /**< Logon ticket that stands for name and password; none if empty. */
    std::string certificate = {}; /**< Certificate, likewise. */
    std::string externalId = {};  /**< Type, colon and data of an external identity, likewise. */
};

/** How a client says who it is: one of the forms. */
struct Identity {
    std::string client;
    std::string user;  /**< Name; beside a certificate or an external identity it must be theirs. */
    std::string alias; /**< Instead of the name. */
    std::string password;
    std::string ticket;
    std::string certificate;
    std::string externalId; /**< Type, colon and data. */
};

/** The users that a development system has unless told otherwise. */
std::vector<User> defaultUsers();

/** Why a logon was refused; `ok` when it wasn't. */
enum class LogonResult { ok, wrongClient, wrongPassword, wrongIdentity, locked };

/** The message that a refused user reads. */
std::string_view logonText(LogonResult result);

/** All users of one back-end. Thread-safe. */
class UserTable {
  public:
    explicit UserTable(std::vector<User> users) : users_(std::move(users)) {}

    /** Checks a logon; for a good one `found` becomes the user. */
    LogonResult logon(const Identity& identity, User& found) const;
    /** Replaces a password and makes its state ok; false when the old one isn't right. */
    bool changePassword(std::string_view client, std::string_view name, std::string_view oldPassword,
                        std::string_view newPassword);

  private:
    mutable std::mutex mutex_;  // guards users_
    std::vector<User> users_;
};

}  // namespace zordev
