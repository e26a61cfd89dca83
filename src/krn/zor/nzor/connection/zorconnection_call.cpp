// One remote call and what can go wrong in it.

#include "connection/zorconnection.h"
#include "connection/zorconnectionfunctions.h"
#include "connection/zorconnectionuse.h"
#include "data/zorfunction.h"
#include "data/zorstructure.h"
#include "data/zortable.h"
#include "meta/zorrecordmetadata.h"
#include "trace/zortrace.h"
#include "trace/zortracefunctions.h"

namespace {

/** A call of this side while one of the partner's is being served. */
class Nesting {
  public:
    explicit Nesting(unsigned short& count) noexcept : count(count), nested(count != 0) {
        if (nested) ++count;
    }
    Nesting(const Nesting&) = delete;
    ~Nesting() {
        if (nested) --count;
    }

  private:
    unsigned short& count;
    bool nested;
};

/** What a call changes in its connection for as long as it runs. */
class CallScope {
  public:
    explicit CallScope(ZorItemStream& stream) noexcept
        : stream(stream), outermost(stream.callbackCount == 0), nesting(stream.callbackCount) {}
    CallScope(const CallScope&) = delete;
    ~CallScope() {
        // The tables of the outermost call stay known to the partner during calls within it.
        if (outermost) stream.resetDM();
    }

  private:
    ZorItemStream& stream;
    bool outermost;
    Nesting nesting;
};

/** Whether records of a type hold what no image of their bytes can carry. */
bool hasNoImage(const ZorAbstractMetaData* typeDesc) noexcept {
    if (typeDesc == nullptr || typeDesc->getMetaType() != ZOR_META_RECORD) return false;
    const auto& record = static_cast<const ZorRecordMetaData&>(*typeDesc);
    return record.isNestedType2Structure() || record.containsObject();
}

/** Whether records of a type have an image for characters of two bytes too: the memory has that of one. */
bool hasBothLayouts(const ZorAbstractMetaData* typeDesc) noexcept {
    return typeDesc != nullptr && typeDesc->getMetaType() == ZOR_META_RECORD &&
           static_cast<const ZorRecordMetaData&>(*typeDesc).isNestedType1Structure();
}

/** The structure or table of a parameter; null if none was made, and then none is sent. */
ZorRecord* valueOf(ZorParameter& parameter) {
    ZorStructure* structure = nullptr;
    ZorTable* table = nullptr;
    if (parameter.desc().type == ZORTYPE_STRUCTURE) {
        parameter.getValue(0, &structure, false);
        return structure;
    }
    parameter.getValue(0, &table, false);
    return table;
}

/** Whether a parameter has a value, in either direction, that the classic items can't carry. */
bool needsOtherForm(ZorParameter& parameter, unsigned partnerCharSize, bool answering) {
    const ZORTYPE type = parameter.desc().type;
    if (answering && parameter.direction() == ZOR_IMPORT) return false;  // it came, and isn't sent back
    if (type != ZORTYPE_STRUCTURE && type != ZORTYPE_TABLE)
        return type == ZORTYPE_UBIXOBJECT || type == ZORTYPE_XMLDATA;
    ZorRecord* const value = valueOf(parameter);
    if (parameter.direction() == ZOR_IMPORT && value == nullptr) return false;
    if (parameter.travelsAsXml()) return false;
    // A value may be of another type than the parameter; its pointers are nobody's business either.
    const auto refused = [partnerCharSize](const ZorAbstractMetaData* typeDesc) {
        return hasNoImage(typeDesc) || (partnerCharSize != 1 && !hasBothLayouts(typeDesc));
    };
    return refused(parameter.desc().typeDesc.get()) || (value != nullptr && refused(value->getDescriptor()));
}

/** Refuses before the first byte is written, so that the connection stays as it was. */
void refuseOtherForms(ZorFunction& function, const ZorControl& control, bool answering) {
    if (control.serializationFormat != 0 ||
        (control.supportLumx && function.getFunctionMetaData()->supportsASXML()))
        throw ZorSerializationException("Function " + function.getName() +
                                        " would have to travel in a form that this library can't write");
    for (unsigned i = 0; i < function.getFieldCount(); ++i) {
        ZorParameter& parameter = function.parameter(i);
        if (parameter.isActive() && needsOtherForm(parameter, control.pcs, answering))
            throw ZorSerializationException("Parameter " + parameter.desc().name +
                                            " has a type that can't travel in the classic format");
    }
}

}  // namespace

void ZorFunction::zorSerialize(ZorConnection& conn, ZORID rid) {
    conn.driver().resetBuffer();
    conn.writeZorCallBegin(name, rid, classExceptionEnabled);
    zorSerializeParams(conn);
    conn.writeZorCallEnd();
    isCall = false;
}

void ZorFunction::zorCallReceive(ZorConnection& conn, ZORID rid) {
    if (conn.isInCallbackMode() && !conn.driver().isBufferEmpty())
        throw ZorIllegalStateException(
            "Calling back to UBIX system not possible before the incoming data being completely read.");
    refuseOtherForms(*this, conn.control, false);
    const CallScope scope(conn);
    const ZorItemStream::Travelling travelling(conn, *this);
    try {
        conn.runCall(*this, rid);
    } catch (const ZorCommunicationException& exception) {
        conn.closeFailed(exception);
        throw;
    } catch (const ZorBaseException& exception) {
        conn.traceFailure(exception);
        const ZOR_RC code = exception.getCode();
        if (code != ZOR_UBIX_EXCEPTION && code != ZOR_UBIX_CLASS_EXCEPTION)
            ZorLogWrite("%s\n", exception.getMessage().c_str());
        throw;
    }
}

void ZorConnection::runCall(ZorFunction& function, ZORID rid) {
    inCall.begin();
    try {
        onClientCallStart(function.getName().c_str());
        prepareToSend();
        sendRequest(function, rid);
        receiveAnswer(function);
        onClientCallEnd(function.getName().c_str());
    } catch (...) {
        endCall();
        throw;
    }
    endCall();
}

/** A cancel that nobody has noticed takes effect now, whatever came of the call: it is meant for no other. */
void ZorConnection::endCall() {
    if (!inCall.end() || ended) return;
    cpic_tcp->cancel();  // whoever cancels has noted it with the call and may not have come here yet
    cpic_tcp->cancelIfPending();
}

void ZorConnection::sendRequest(ZorFunction& function, ZORID rid) {
    try {
        function.zorSerialize(*this, rid);
    } catch (...) {
        // Part of the request may be with the partner already, who would wait for the rest.
        closeBroken();
        throw;
    }
}

void ZorConnection::receiveAnswer(ZorFunction& function) {
    try {
        zorReceive(&function);
    } catch (const ZorCommunicationException&) {
        throw;
    } catch (...) {
        // The line is fine, but something in the answer isn't: the rest is read off, so that the next call
        // finds the conversation in order.
        if (listed) readOff();
        throw;
    }
}

void ZorConnection::answer(ZorFunction& function) {
    refuseOtherForms(function, control, true);
    readFlush();
    const Travelling travelling(*this, function);
    sendRequest(function, ZORID_NotUsed);
}

void ZorConnection::readOff() noexcept {
    try {
        readFlush();
    } catch (...) {
        closeBroken();
    }
}

namespace {

/** The line of a call and what goes out with it, in one go. */
void traceInvocation(std::uintptr_t handle, ZorFunction& function) noexcept {
    try {
        const ZorTraceHold trace;
        trace->print("Invoking %s on handle %llu\n\n", function.getName().c_str(),
                     static_cast<unsigned long long>(handle));
        function.writeTraceEntry(trace.stream());
    } catch (...) {
        // Tracing never fails a call.
    }
}

}  // namespace

bool ZorConnection::invoke(ZorFunction& function) {
    const ZorConnectionUse use(*this);
    function.setTraceLevel(traceLevel);
    if (traceLevel > 0) traceInvocation(reinterpret_cast<uintptr_t>(handle()), function);
    function.zorCallReceive(*this, ZORID_NotUsed);
    hideGui();
    return traceLevel > 0;
}

void ZorConnection::resetKELServerContext() {
    const ZorConnectionUse use(*this);
    if (traceLevel > 0) ZorTraceObject(*this);
    ZorFunction reset(ZorConnectionFunctions::get(ZorConnectionFunction::SYSTEM_RESET_ZOR_SERVER));
    reset.zorCallReceive(*this, ZORID_NotUsed);
    control.headerWritten = false;
    control.infoWritten = false;
    resetDM();
}

void ZorConnection::prepareToSend() {
    // While a call of the partner is being served its message may have an end that brings no items.
    if (callbackCount != 0) readFlush();
}

void ZorConnection::resetFailure() noexcept {
    resetReceivedError();
    hasErrorMsg = false;
}

void ZorConnection::zorReceive(ZorFunction* function) {
    resetFailure();
    ZORID id = readUpTo(ZORGET_DATA, function, ZORID_NotUsed);
    while (id == ZORID_CallBack && zor_rc == ZOR_OK) {
        serveCallback();
        id = readUpTo(ZORGET_DATA, function, ZORID_NotUsed);
    }
    // To the end of the message in any case: only then this side may send again.
    readFlush();
    if (zor_rc != ZOR_OK) raiseCollectedError();
}

void ZorConnection::sendPing(std::string_view functionName) {
    writeZorCallBegin(functionName, ZORID_NotUsed, false);
    writeZorCallEnd();
    zorReceive(nullptr);
}

void ZorConnection::ping() {
    const ZorConnectionUse use(*this);
    if (traceLevel > 0) ZorTraceObject(*this);
    const bool answering = cpic_tcp->accepted && isInCallbackMode();
    const bool calling = cpic_tcp->zorProgType == ZOR_CLIENT && cpic_tcp->connected;
    if (!answering && !calling) {
        if (!cpic_tcp->registered || cpic_tcp->accepted)
            throw ZorIllegalStateException("Illegal operation on the connection");
        cpic_tcp->keepAlive(true);
        return;
    }
    const Nesting nesting(callbackCount);
    try {
        prepareToSend();
        cpic_tcp->resetBuffer();
        sendPing("ZOR_PING");
    } catch (const ZorCommunicationException& exception) {
        closeFailed(exception);
        throw;
    }
}
