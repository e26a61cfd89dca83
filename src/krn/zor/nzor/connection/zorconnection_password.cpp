// The change of a password that the partner demands at the logon.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "connection/usercallback.h"
#include "connection/zorconnection.h"
#include "connection/zorconnectionfunctions.h"
#include "data/zorfunction.h"

namespace {

/** Guarded by nothing: one pointer, replaced as a whole. */
std::atomic<ZOR_ON_PASSWORD_CHANGE> onPasswordChange{nullptr};

constexpr const KEL_UC* mustBeChanged = "Password must be changed.";

/** Key of the failure by password state; null for a state that demands nothing. */
const KEL_UC* passwordKey(unsigned state) noexcept {
    switch (state) {
        case PASSWORD_INITIAL:
            return "PASSWORD_INITIAL";
        case PASSWORD_EXPIRED:
            return "PASSWORD_EXPIRED";
        case PASSWORD_RULES_ENFORCED:
            return "PASSWORD_RULES_ENFORCED";
        default:
            return nullptr;
    }
}

/** The old and the new password, as long as they are needed. */
class Passwords {
  public:
    static constexpr unsigned maxLength = 40;

    Passwords() { clear(); }
    Passwords(const Passwords&) = delete;
    ~Passwords() { clear(); }

    /** Has the caller's function fill them in; what it refuses is a failed logon. */
    void ask(ZOR_ON_PASSWORD_CHANGE handler, const ZorControl& control, ZOR_ERROR_INFO& why) {
        clear();
        const ZOR_RC rc = callUser([&] {
            return handler(control.sysid.c_str(), control.userid.c_str(), control.mandt.c_str(), present,
                           maxLength, fresh, maxLength, &why);
        });
        present[maxLength] = fresh[maxLength] = 0;
        why.key[sizeof why.key - 1] = why.message[sizeof why.message - 1] = 0;
        if (rc != ZOR_OK) throw ZorLogonException(why.key, why.message);
    }

    KEL_UC present[maxLength + 1];
    KEL_UC fresh[maxLength + 1];

  private:
    void clear() noexcept {
        explicit_bzero(present, sizeof present);
        explicit_bzero(fresh, sizeof fresh);
    }
};

/** Keeps the bytes that a connection sends out of the trace for as long as they hold a password. */
class DumpsOff {
  public:
    explicit DumpsOff(ZorConnection& connection) noexcept
        : connection(connection), level(connection.getTraceLevel()) {
        constexpr unsigned highestWithoutDumps = 1;
        connection.setTraceLevel(std::min(level, highestWithoutDumps), false);
    }
    DumpsOff(const DumpsOff&) = delete;
    ~DumpsOff() { connection.setTraceLevel(level, false); }

  private:
    ZorConnection& connection;
    unsigned level;
};

void setText(ZorFunction& function, std::string_view parameter, const KEL_UC* text) {
    function.setValue(function.getIndex(parameter), text, static_cast<unsigned>(std::strlen(text)),
                      ZORTYPE_CHAR);
}

/** A container of the change; the passwords in it are wiped when it goes. */
struct ChangePassword {
    ~ChangePassword() {
        for (const KEL_UC* const name : {"PASSWORD", "NEW_PASSWORD"}) {
            const unsigned index = call.getIndex(name);
            explicit_bzero(call.getBuffer(index), call.getLength(index));
        }
    }
    ZorFunction call{ZorConnectionFunctions::get(ZorConnectionFunction::SUSR_USER_CHANGE_PASSWORD_ZOR)};
};

}  // namespace

void ZorConnection::installPasswordChangeHandler(ZOR_ON_PASSWORD_CHANGE handler) noexcept {
    onPasswordChange.store(handler);
}

void ZorConnection::checkPasswordState(const ZorOptions& options) {
    const KEL_UC* const key = passwordKey(control.pwState);
    control.pwState = PASSWORD_OK;
    if (key == nullptr) return;
    const ZOR_ON_PASSWORD_CHANGE handler = onPasswordChange.load();
    if (handler == nullptr) {
        if (options.password_change_enforced) throw ZorLogonException(key, mustBeChanged);
        return;
    }
    ZOR_ERROR_INFO why{};
    ZorLogonException(key, mustBeChanged).getErrorInfo(&why);
    Passwords passwords;
    passwords.ask(handler, control, why);
    try {
        return changePassword(passwords.present, passwords.fresh);
    } catch (const ZorUBIXException& refused) {
        refused.getErrorInfo(&why);
    }
    passwords.ask(handler, control, why);
    changePassword(passwords.present, passwords.fresh);
}

void ZorConnection::changePassword(const KEL_UC* oldPassword, const KEL_UC* newPassword) {
    const DumpsOff dumpsOff(*this);
    ChangePassword change;
    setText(change.call, "BNAME", control.userid.c_str());
    setText(change.call, "PASSWORD", oldPassword);
    setText(change.call, "NEW_PASSWORD", newPassword);
    change.call.zorCallReceive(*this, ZORID_NotUsed);
}
