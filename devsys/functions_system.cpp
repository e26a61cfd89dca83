/**
 * @file
 * Functions that every back-end has: pings, the reset of a session, the change of a password.
 */
#include "devsys/call.h"
#include "devsys/functions.h"
#include "devsys/users.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

Outcome nothingToDo(Call&) {
    return Outcome::reply;
}

Outcome changePassword(Call& call) {
    enum { name, oldPassword, newPassword };
    const bool changed = call.host.users().changePassword(call.host.client(), call.text(name),
                                                          call.text(oldPassword), call.text(newPassword));
    if (!changed) call.out.text(ZORID_Exception, "CHANGE_NOT_POSSIBLE");
    return Outcome::reply;
}

}  // namespace

std::vector<FunctionDescription> systemFunctions() {
    return {
        {"ZOR_PING", {}, nothingToDo, true},
        {"ZORPING", {}, nothingToDo, true},
        {"SYSTEM_RESET_ZOR_SERVER", {}, nothingToDo},
        {"SUSR_USER_CHANGE_PASSWORD_ZOR",
         {{"BNAME", ZORTYPE_CHAR, 12, ZOR_IMPORT},
          {"PASSWORD", ZORTYPE_CHAR, 40, ZOR_IMPORT},
          {"NEW_PASSWORD", ZORTYPE_CHAR, 40, ZOR_IMPORT}},
         changePassword},
    };
}

}  // namespace zordev
