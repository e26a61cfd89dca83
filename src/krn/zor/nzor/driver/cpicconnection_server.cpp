// Serving: registered programs, programs that a gateway started, many registrations in one thread.

#include <algorithm>
#include <cstdio>

#include "config/zoroptions.h"
#include "driver/cpicconnection.h"

namespace {

bool isWait(CM_RETCODE rc) {
    return rc == CM_KEL_TIMEOUT_RETRY || rc == CM_KEL_PING_RECEIVED;
}

/** Without a driver at hand: the text of the layers alone. */
[[noreturn]] void throwLayersText(CM_RETCODE rc) {
    throw ZorCommunicationException(KEL_CMPERR(), rc);
}

}  // namespace

CM_RETCODE CpicConnection::registerAsServer(ZorOptions& options) {
    zorProgType = ZOR_REGISTERED_SERVER;
    parseConnParameters(options);
    noteTarget(options);
    serverMode = true;
    registered = false;
    const CM_RETCODE rc = KEL_CMREGTP2(options.tpname.c_str(), options.gwhost.c_str(), options.gwserv.c_str(),
                                       &cpicHandle, vslData.get(), nullptr);
    if (rc != CM_OK) throwCpicError(rc);
    registered = deallocated = true;
    accepted = false;
    lastIoTime = std::time(nullptr);
    if (options.keepalive == 1) setSoKeepaliveOption(cpicHandle);
    return CM_OK;
}

CM_RETCODE CpicConnection::connectAsServer(ZorOptions& options) {
    zorProgType = ZOR_STARTED_SERVER;
    parseConnParameters(options);
    noteTarget(options);
    if (options.argc < 2) return CM_OK;
    CM_RETCODE rc = KEL_CMACCP(options.argv, nullptr);
    if (rc == CM_OK) rc = STACCP(convId.data(), nullptr);
    accepted = justAccepted = serverMode = connected = rc == CM_OK;
    deallocated = rc != CM_OK;
    if (rc != CM_OK) throwCpicError(rc);
    owner->setConvId(convId.data());
    if (options.keepalive == 1) setSoKeepaliveOption(0);
    return CM_OK;
}

void CpicConnection::noteAccepted() noexcept {
    accepted = justAccepted = true;
    deallocated = false;
    owner->setConvId(convId.data());
}

/** One wait of the registration; a failure ends it. */
CM_RETCODE CpicConnection::acceptOnce(CPIC_INT slice) {
    const CM_RETCODE rc = KEL_CMACCPTP(cpicHandle, slice, convId.data(), nullptr);
    if (rc == CM_OK || isWait(rc)) return rc;
    deallocated = true;
    justAccepted = false;
    throwCpicError(rc);
}

/** Waits in slices, with a sign of life after each that ran its full time. */
CM_RETCODE CpicConnection::awaitPartner(KEL_INT timeout) {
    owner->forgetPartner();
    justAccepted = false;
    CPIC_INT left = timeout;
    for (;;) {
        const CPIC_INT slice = timeout < 0 ? maxIdleTime : std::min(maxIdleTime, left);
        if (acceptOnce(slice) == CM_OK) break;
        if (slice == maxIdleTime)
            if (const CM_RETCODE rc = keepAlive(false); rc != CM_OK) return rc;
        left -= slice;
        if (timeout >= 0 && left <= 0) return CM_KEL_TIMEOUT_RETRY;
    }
    noteAccepted();
    return CM_OK;
}

CM_RETCODE CpicConnection::listen(KEL_INT timeout) {
    if (accepted) return receive(timeout);
    if (!registered) return CM_KEL_TIMEOUT_RETRY;
    if (const CM_RETCODE rc = awaitPartner(timeout); rc != CM_OK) return rc;
    return receive(-1);
}

CM_RETCODE CpicConnection::keepAlive(bool forced) {
    if (!forced && std::time(nullptr) - lastIoTime < maxIdleTime) return CM_OK;
    if (const CM_RETCODE rc = KEL_CMUNACCPTP(cpicHandle, nullptr); rc != CM_OK) throwCpicError(rc);
    lastIoTime = std::time(nullptr);
    return CM_OK;
}

CM_RETCODE CpicConnection::sendFlush() {
    send();
    messageSent();
    if (!registered || !accepted || deallocated || owner->keepsSession()) return CM_OK;
    const CM_RETCODE rc = STDEAL(convId.data(), nullptr);
    forgetConversation();
    accepted = justAccepted = false;
    owner->setConvId(nullptr);
    owner->sessionEnded();
    if (rc != CM_OK) throwCpicError(rc);
    return CM_OK;
}

CM_RETCODE CpicConnection::registerAsServer_SM(ZorOptions& options) {
    if (cpicHandle != 0) throw ZorCommunicationException("CPIC connection already connected.");
    zorProgType = ZOR_MULTI_COUNT_REGISTERED_SERVER;
    parseConnParameters(options);
    CM_RETCODE rc = KEL_CMREGTP3(options.tpname.c_str(), options.gwhost.c_str(), options.gwserv.c_str(),
                                 &cpicHandle, vslData.get(), nullptr);
    if (rc != CM_OK) throwCpicError(rc);
    noteTarget(options);
    serverMode = registered = true;
    lastIoTime = std::time(nullptr);
    rc = KEL_CMACCPTP3(cpicHandle, CPIC_ACCEPT_BY_LISTEN, convId.data(), owner, nullptr);
    if (rc != CM_OK) {
        cpicError = KEL_CMPERR();
        KEL_CMUNREGTP3(cpicHandle, nullptr);
        registered = false;
        throw ZorCommunicationException(cpicError, rc);
    }
    deallocated = false;
    if (options.keepalive == 1) setSoKeepaliveOption(0);
    return CM_OK;
}

CM_RETCODE CpicConnection::listen_SM(CPIC_INT* received, ZorStreamOwner** owner, CPIC_INT timeout) {
    *received = 0;
    *owner = nullptr;
    CM_RETCODE rc = KEL_CMLISTEN(timeout, nullptr);
    if (isWait(rc)) return rc;
    void* ptr = nullptr;
    if (rc == CM_OK) rc = KEL_CMGETNEXTHDL(received, &ptr, nullptr);
    if (rc != CM_OK) throwLayersText(rc);
    if (*received > 0) *owner = static_cast<ZorStreamOwner*>(ptr);
    return CM_OK;
}

CM_RETCODE CpicConnection::accept_SM(CPIC_INT timeout) {
    accepted = justAccepted = false;
    deallocated = true;
    const CPIC_INT seconds = timeout > 0 ? timeout / 1000 : timeout;
    const CM_RETCODE rc = KEL_CMACCPTP3(cpicHandle, seconds, convId.data(), owner, nullptr);
    if (isWait(rc)) return rc;
    if (rc == CM_DEALLOCATED_NORMAL) throw ZorCommunicationException(closedByGateway(), rc);
    if (rc != CM_OK) throwCpicError(rc);
    noteAccepted();
    return CM_OK;
}

/** The result of putting the stream back into the set. */
CM_RETCODE CpicConnection::backToSet(CM_RETCODE rc) {
    if (rc != CM_OK && !isWait(rc)) throwCpicError(rc);
    return rc;
}

CM_RETCODE CpicConnection::reListen_SM() {
    return backToSet(KEL_CMLISTEN3(convId.data(), nullptr, nullptr));
}

CM_RETCODE CpicConnection::reAccept_SM() {
    closeConversation();
    return backToSet(KEL_CMACCPTP3(cpicHandle, CPIC_ACCEPT_BY_LISTEN, convId.data(), owner, nullptr));
}

CM_RETCODE CpicConnection::closeConversation() noexcept {
    CM_RETCODE rc = CM_OK;
    if (!deallocated && !isConvIdInitial()) rc = STDEAL(convId.data(), nullptr);
    forgetConversation();
    accepted = false;
    resetBuffer();
    return rc;
}

bool CpicConnection::isConvIdInitial() const noexcept {
    return std::ranges::all_of(convId, [](KEL_RAW byte) { return byte == 0 || byte == ' '; });
}

bool CpicConnection::ownsRegistration() const noexcept {
    return cpicHandle != 0 && (zorProgType != ZOR_MULTI_COUNT_REGISTERED_SERVER ||
                               KEL_CMREGPTR3(cpicHandle) == static_cast<void*>(owner));
}

/** What a registration's end says; the route's passwords are nobody's business. */
KEL_string CpicConnection::closedByGateway() const {
    KEL_string host(target.gwhost.size() * 2 + sizeof "<pass>", '\0');
    NiSecStr(target.gwhost, host);
    KEL_UC cid[KEL_CONV_ID_LN + 1];
    printConvID(cid, sizeof cid);
    return KEL_string("Connection to (") + host.c_str() + "," + target.gwserv +
           ") with cpicHandle = " + std::to_string(cpicHandle) + " and conversationID = " + cid +
           " closed by gateway.";
}
