// The logon items: exactly one form of identity, then what all forms share.

#include <cstring>

#include "wire/zoritemstream.h"

namespace {

/** Empties what was a secret: it was sent once, and from here on it is nowhere in this process. */
template <class Bytes>
void wipe(Bytes& secret) noexcept {
    if (!secret.empty()) explicit_bzero(secret.data(), secret.size());
    secret.clear();
}

}  // namespace

void ZorItemStream::writeIdentity() {
    const auto user = [this] {
        if (!control.userid.empty()) writeZorChars(ZORID_UserId, control.userid.view());
    };
    if (!logonData.sso2.empty()) {
        writeZorChars(ZORID_Sso2Logon, logonData.sso2);
        wipe(logonData.sso2);
    } else if (!logonData.extiddata.empty()) {
        writeZorChars(ZORID_ExtIdData, logonData.extiddata);
        writeZorChars(ZORID_ExtIdType, control.extidtype.view());
        user();
    } else if (!logonData.x509cert.empty()) {
        writeZorChars(ZORID_X509Cert, logonData.x509cert);
        user();
    } else if (!control.userid.empty()) {
        user();
        if (!control.scrambledPW.empty()) writeZorData(ZORID_ScramblePW, control.scrambledPW);
    }
    wipe(control.scrambledPW);
}

void ZorItemStream::writeZorSessionLogon() {
    writeIdentity();
    if (control.getsso2) writeZorFlag(ZORID_Sso2);
    writeZorChars(ZORID_Client, control.mandt.empty() ? "000" : control.mandt.view());
    if (!control.alias_user.empty()) writeZorChars(ZORID_AliasUserID, control.alias_user.view());
    writeZorChars(ZORID_Language, control.lang.view());
    if (control.vslWithoutSSO) writeZorFlag(ZORID_VSLWithoutSSO);
    constexpr KEL_RAW sessionInfo = 1;
    writeZorData(ZORID_SessionInfo, {&sessionInfo, 1});
}
