// The logon items: exactly one form of identity, then what all forms share.

#include <cstring>

#include "wire/zoritemstream.h"

void ZorItemStream::writeZorSessionLogon() {
    if (!control.userid.empty()) {
        writeZorChars(ZORID_UserId, control.userid.view());
        if (!control.scrambledPW.empty()) {
            writeZorData(ZORID_ScramblePW, control.scrambledPW);
            // Sent once: from here on the password is nowhere in this process.
            explicit_bzero(control.scrambledPW.data(), control.scrambledPW.size());
            control.scrambledPW.clear();
        }
    }
    if (control.getsso2) writeZorFlag(ZORID_Sso2);
    writeZorChars(ZORID_Client, control.mandt.empty() ? "000" : control.mandt.view());
    if (!control.alias_user.empty()) writeZorChars(ZORID_AliasUserID, control.alias_user.view());
    writeZorChars(ZORID_Language, control.lang.view());
    if (control.vslWithoutSSO) writeZorFlag(ZORID_VSLWithoutSSO);
    constexpr KEL_RAW sessionInfo = 1;
    writeZorData(ZORID_SessionInfo, {&sessionInfo, 1});
}
