/**
 * @file
 * Functions that every back-end has: pings, the reset of a session, the change of a password.
 */
#include <string>

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

// Has the client start its front end, by a command and an id that the client can recognise.
Outcome prepareFrontEnd(Call& call) {
    enum { debug, gui, vsl, command, systemId, systemNumber, frontEndId };
    call.replyText(command, "/H/zordev/S/3200");
    call.replyText(systemId, "ZDV");
    call.replyInteger(systemNumber, 0);
    call.replyText(frontEndId, "GUI" + std::to_string(call.integer(gui)));
    return Outcome::reply;
}

}  // namespace

std::vector<FunctionDescription> systemFunctions() {
    return {
        {"ZOR_PING", {}, nothingToDo, true},
        {"ZORPING", {}, nothingToDo, true},
        {"SYSTEM_RESET_ZOR_SERVER", {}, nothingToDo},
        {"SYSTEM_INVISIBLE_GUI", {}, nothingToDo},
        {"SYSTEM_PREPARE_ATTACH_GUI",
         {{"DEBUG", ZORTYPE_INT, 4, ZOR_IMPORT},
          {"GUI", ZORTYPE_INT, 4, ZOR_IMPORT},
          {"VSL", ZORTYPE_INT, 4, ZOR_IMPORT},
          {"START_GUI_COMMAND", ZORTYPE_CHAR, 1024, ZOR_EXPORT},
          {"SYSTEM_ID", ZORTYPE_CHAR, 32, ZOR_EXPORT},
          {"SYSTEM_NR", ZORTYPE_INT, 4, ZOR_EXPORT},
          {"KELGUI_ID", ZORTYPE_CHAR, 32, ZOR_EXPORT}},
         prepareFrontEnd},
        {"SYSTEM_FINISH_ATTACH_GUI",
         {{"MESSAGE", ZORTYPE_CHAR, 512, ZOR_IMPORT},
          {"CONNECTSTRING", ZORTYPE_CHAR, 1024, ZOR_IMPORT},
          {"KELGUI_ID", ZORTYPE_CHAR, 32, ZOR_IMPORT}},
         nothingToDo},
        {"SUSR_USER_CHANGE_PASSWORD_ZOR",
         {{"BNAME", ZORTYPE_CHAR, 12, ZOR_IMPORT},
          {"PASSWORD", ZORTYPE_CHAR, 40, ZOR_IMPORT},
          {"NEW_PASSWORD", ZORTYPE_CHAR, 40, ZOR_IMPORT}},
         changePassword},
    };
}

}  // namespace zordev
