#include "wire/zoritemreader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <string>

#include "data/zorfunction.h"
#include "data/zorparameter.h"
#include "data/zortable.h"

namespace {

constexpr unsigned maxNameLength = 256;

/** Widest row that the partner alone may define: a row is made before its data are there. In bytes. */
constexpr unsigned maxAnnouncedWidth = 1024 * 1024;

}  // namespace

// In the order of the identifiers, which the search relies on.
const ZorItemReader::Row ZorItemReader::rows[] = {
    {ZORID_Destination, anyState, sameState, &ZorItemReader::destination},
    {ZORID_IpAddress, anyState, sameState, &ZorItemReader::ipAddress},
    {ZORID_CDestination, anyState, sameState, &ZorItemReader::cDestination},
    {ZORID_CUserId, anyState, sameState, &ZorItemReader::callerUser},
    {ZORID_OwnType, anyState, sameState, &ZorItemReader::ownType},
    {ZORID_OwnRel, anyState, sameState, &ZorItemReader::ownRelease},
    {ZORID_KernelRel, anyState, sameState, &ZorItemReader::kernelRelease},
    {ZORID_Header, anyState, sameState, &ZorItemReader::header},
    {ZORID_FunctionName, anyState, sameState, &ZorItemReader::functionName},
    {ZORID_Protocol, anyState, sameState, &ZorItemReader::protocol},
    {ZORID_UnicodeHeader, anyState, sameState, &ZorItemReader::unicodeHeader},
    {ZORID_UserId, anyState, sameState, &ZorItemReader::user},
    {ZORID_Client, anyState, sameState, &ZorItemReader::client},
    {ZORID_Language, anyState, sameState, &ZorItemReader::language},
    {ZORID_PwState, anyState, sameState, &ZorItemReader::passwordState},
    {ZORID_ProgramName, anyState, sameState, &ZorItemReader::programName},
    {ZORID_LogonClient, anyState, sameState, &ZorItemReader::logonClient},
    {ZORID_LoggedOnUser, anyState, sameState, &ZorItemReader::user},
    {ZORID_LoggedOnClient, anyState, sameState, &ZorItemReader::client},
    {ZORID_LoggedOnLanguage, anyState, sameState, &ZorItemReader::language},
    {ZORID_NgZorEncoding, anyState, sameState, &ZorItemReader::ngzorEncoding},
    {ZORID_FieldName, anyState, ZORGET_FIELDVALUE, &ZorItemReader::fieldName},
    {ZORID_FieldValue, ZORGET_FIELDVALUE, ZORGET_DATA, &ZorItemReader::fieldValue},
    {ZORID_FieldValueScr, ZORGET_FIELDVALUE, ZORGET_DATA, &ZorItemReader::fieldValue},
    {ZORID_FieldIsSupl, anyState, sameState, &ZorItemReader::fieldIsSupplied},
    {ZORID_TableName, anyState, ZORGET_TABLEINFO, &ZorItemReader::tableName},
    {ZORID_TableInfo, ZORGET_TABLEINFO, ZORGET_TABLECONTENT, &ZorItemReader::tableInfo},
    {ZORID_TableContent, ZORGET_TABLECONTENT, sameState, &ZorItemReader::tableRow},
    {ZORID_TableCompr, ZORGET_TABLECONTENT, sameState, &ZorItemReader::tableRow},
    {ZORID_TableContLZ, ZORGET_TABLECONTENT, sameState, &ZorItemReader::compressedRows},
    {ZORID_TableEndLZ, anyState, ZORGET_DATA, &ZorItemReader::endOfCompressedRows},
    {ZORID_DeltaConfirm, anyState, sameState, &ZorItemReader::deltaState},
    {ZORID_DeltaLog, anyState, sameState, &ZorItemReader::deltaLog},
    {ZORID_DeltaLogMore, anyState, ZORGET_DELTADATA, &ZorItemReader::deltaLogMore},
    {ZORID_DeltaData, anyState, ZORGET_DATA, &ZorItemReader::deltaData},
    {ZORID_DeltaFull, anyState, ZORGET_TABLEINFO, &ZorItemReader::deltaLogMore},
    {ZORID_DeltaWithdraw, anyState, sameState, &ZorItemReader::deltaState},
    {ZORID_Exception, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_ErrorMessage, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_SnapDump, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_T100Key, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_SystMsgv1, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_SystMsgv2, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_SystMsgv3, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_SystMsgv4, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_SystMsgid, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_SystMsgty, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_SystMsgno, anyState, sameState, &ZorItemReader::errorItem},
    {ZORID_CallStack, anyState, sameState, &ZorItemReader::callStack},
    {ZORID_UseClassExceptions, anyState, sameState, &ZorItemReader::classExceptionsWanted},
    {ZORID_ClassExceptionInfo, anyState, sameState, &ZorItemReader::classExceptionInfo},
    {ZORID_ClassException, anyState, sameState, &ZorItemReader::classException},
    {ZORID_AZOR_Agent, anyState, sameState, &ZorItemReader::transactionMode},
    {ZORID_AZOR_Agent_Off, anyState, sameState, &ZorItemReader::transactionMode},
    {ZORID_Sso2Logon, anyState, sameState, &ZorItemReader::ticket},
    {ZORID_Sso2, anyState, sameState, &ZorItemReader::ticket},
    {ZORID_XMLParameter, anyState, sameState, &ZorItemReader::xmlParameter},
    {ZORID_XMLData, anyState, sameState, &ZorItemReader::xmlData},
    {ZORID_LumxInit, anyState, sameState, &ZorItemReader::unsupported},
    {ZORID_NgZorSegment, anyState, sameState, &ZorItemReader::unsupported},
    {ZORID_NgZorLastSegment, anyState, sameState, &ZorItemReader::unsupported},
};

const ZorItemReader::Row* ZorItemReader::find(ZORID id) noexcept {
    // Identifiers come in groups by their high byte, and those of parameters stand first in their group:
    // from the group's start the row is mostly the first or second.
    static const auto groups = [] {
        std::array<const Row*, 257> starts;
        for (unsigned group = 0; group < starts.size(); ++group)
            starts[group] = std::lower_bound(std::begin(rows), std::end(rows), group << 8,
                                             [](const Row& row, unsigned first) { return row.id < first; });
        return starts;
    }();
    const Row* const end = groups[(id >> 8) + 1];
    const Row* const row = std::find_if(groups[id >> 8], end, [id](const Row& r) { return r.id == id; });
    return row != end ? row : nullptr;
}

ZORID ZorItemStream::readUpTo(ZORSTATE readState, ZorFunction* function, ZORID toRid) {
    return ZorItemReader(*this, readState, function).run(toRid);
}

ZORID ZorItemReader::run(ZORID toRid) {
    unsigned length = 0;
    ZORID id = stream.readZorIDBegin(length);
    while (true) {
        const bool ends = id == ZORID_End || (id == toRid && toRid != ZORID_NotUsed) ||
                          (id == ZORID_CallBack && state == ZORGET_DATA);
        handle(id, length);
        if (ends) {
            finishXml();
            finishRows();
            stream.readAndCheckZorIDEnd(id);
            return id;
        }
        id = stream.readZorIDNext(length);
    }
}

void ZorItemReader::handle(ZORID id, unsigned length) {
    const Row* const row = find(id);
    if (row == nullptr) return stream.skipBytes(length);
    if (row->required != anyState && row->required != state) stream.protocolFault();
    (this->*row->handler)(id, length);
    if (row->next != sameState) state = static_cast<ZORSTATE>(row->next);
}

void ZorItemReader::skip(ZORID, unsigned length) {
    stream.skipBytes(length);
}

void ZorItemReader::header(ZORID, unsigned length) {
    stream.readZorHeader(length);
}

void ZorItemReader::protocol(ZORID, unsigned length) {
    stream.readZorProtocol(length);
}

void ZorItemReader::unicodeHeader(ZORID, unsigned length) {
    stream.readZorUnicodeHeader(length);
}

void ZorItemReader::ngzorEncoding(ZORID, unsigned length) {
    stream.control.serializationFormat = stream.readZorInt2(length);
}

void ZorItemReader::functionName(ZORID, unsigned length) {
    stream.readZorText(stream.control.serverFunctionName, length);
}

void ZorItemReader::destination(ZORID, unsigned length) {
    stream.readZorText(stream.control.destination, length);
}

void ZorItemReader::ipAddress(ZORID, unsigned length) {
    stream.readZorText(stream.control.partner_ip, length);
}

void ZorItemReader::cDestination(ZORID, unsigned length) {
    stream.readZorCDestination(length);
}

void ZorItemReader::callerUser(ZORID, unsigned length) {
    if (stream.control.zor_role == 'S')
        stream.readZorText(stream.control.userid, length);
    else
        stream.skipBytes(length);
}

void ZorItemReader::ownType(ZORID, unsigned length) {
    stream.readZorOwnType(length);
}

void ZorItemReader::ownRelease(ZORID, unsigned length) {
    stream.readZorText(stream.control.partner_rel, length);
}

void ZorItemReader::kernelRelease(ZORID, unsigned length) {
    stream.readZorText(stream.control.kernel_rel, length);
}

void ZorItemReader::user(ZORID, unsigned length) {
    stream.readZorText(stream.control.userid, length);
}

void ZorItemReader::client(ZORID, unsigned length) {
    stream.readZorText(stream.control.mandt, length);
}

void ZorItemReader::logonClient(ZORID, unsigned length) {
    if (stream.control.zor_role == 'S')
        stream.readZorText(stream.control.mandt, length);
    else
        stream.skipBytes(length);
}

void ZorItemReader::language(ZORID, unsigned length) {
    stream.readZorText(stream.control.lang, length);
}

void ZorItemReader::passwordState(ZORID, unsigned length) {
    KEL_RAW value[4] = {};
    stream.readZorDataContent(value, sizeof value, length);
    stream.convertNumberAfterRead(value, ZORTYPE_INT);
    std::copy(std::begin(value), std::end(value), reinterpret_cast<KEL_RAW*>(&stream.control.pwState));
}

void ZorItemReader::programName(ZORID, unsigned length) {
    stream.readZorText(stream.control.progname, length);
}

ZorParameter* ZorItemReader::namedParameter(unsigned length, bool activate) {
    KEL_UC name[maxNameLength];
    const unsigned stored = stream.readZorChars(name, sizeof name, length);
    return wantedParameter({name, stored}, activate);
}

ZorParameter* ZorItemReader::wantedParameter(std::string_view name, bool activate) {
    if (function == nullptr) return nullptr;
    const bool serving = stream.isInCallbackMode();
    ZorParameter* const found = function->getParameter(name, serving && activate);
    if (found != nullptr && serving) found->setRequested(true);
    return found;
}

void ZorItemReader::fieldName(ZORID, unsigned length) {
    parameter = namedParameter(length, true);
}

void ZorItemReader::fieldValue(ZORID, unsigned length) {
    if (parameter != nullptr && length != 0)
        parameter->zorDeserialize(stream, length);
    else
        stream.skipBytes(length);
}

void ZorItemReader::fieldIsSupplied(ZORID, unsigned length) {
    if (ZorParameter* const wanted = namedParameter(length, true)) wanted->setRequested(true);
}

void ZorItemReader::tableName(ZORID, unsigned length) {
    parameter = namedParameter(length, false);
    table = nullptr;
}

ZorTable* ZorItemReader::tableOfWidth(unsigned width) {
    ZorTable* described = nullptr;
    parameter->getValue(0, &described, true);
    if (described != nullptr) return described;
    if (width > maxAnnouncedWidth) stream.protocolFault();
    return parameter->getTable(width, stream.control.pcs);
}

void ZorItemReader::tableInfo(ZORID, unsigned length) {
    KEL_RAW payload[8];
    if (length != sizeof payload) stream.protocolFault();
    stream.readBytes(payload, sizeof payload);
    const auto number = [&payload](unsigned at) {
        return KEL_UINT{payload[at]} << 24 | KEL_UINT{payload[at + 1]} << 16 |
               KEL_UINT{payload[at + 2]} << 8 | payload[at + 3];
    };
    const KEL_UINT width = rowWidth = number(0);
    rowsAnnounced = number(4);
    finishRows();
    if (parameter != nullptr)
        table = width == 0 || parameter->getType(0) != ZORTYPE_TABLE ? nullptr : tableOfWidth(width);
    // Rows come into being as they arrive: the announced number reserves nothing.
    if (table != nullptr) table->prepareForRead();
}

void ZorItemReader::tableRow(ZORID id, unsigned length) {
    if (table == nullptr || rowsAnnounced == 0) return stream.skipBytes(length);
    --rowsAnnounced;
    table->zorDeserializeRow(stream, length, id == ZORID_TableCompr);
}

void ZorItemReader::compressedRows(ZORID, unsigned length) {
    if (table == nullptr) return stream.skipBytes(length);
    if (!compressor) {
        // A row is put together in memory of its width, which the data alone can't vouch for.
        if (rowWidth == 0 || rowWidth > maxAnnouncedWidth) stream.protocolFault();
        compressor.emplace(rowWidth);
    }
    stream.readPieces(length, [this](std::span<const KEL_RAW> piece) {
        compressor->decompress(piece, static_cast<ZorRowSink&>(*this));
    });
}

void ZorItemReader::takeRow(std::span<const KEL_RAW> image) {
    if (rowsAnnounced == 0) return;
    --rowsAnnounced;
    table->zorDeserializeRow(stream, image);
}

void ZorItemReader::endOfCompressedRows(ZORID, unsigned length) {
    stream.skipBytes(length);
    finishRows();
    table = nullptr;
}

void ZorItemReader::finishRows() {
    if (!compressor) return;
    compressor->setFinished();
    compressor.reset();
}

ZorTable* ZorItemReader::deltaTable(KEL_INT objectId) const {
    const auto found = stream.dmTables.find(objectId);
    return found != stream.dmTables.end() ? found->second : nullptr;
}

void ZorItemReader::deltaState(ZORID id, unsigned length) {
    const auto objectId = static_cast<KEL_INT>(stream.readZorInt4(length));
    ZorTable* const named = deltaTable(objectId);
    if (named == nullptr) return;
    named->deltaState = id == ZORID_DeltaConfirm ? DELTA_SCONFIRM : DELTA_SWITHDRAW;
    if (id == ZORID_DeltaWithdraw) stream.dmTables.erase(objectId);
}

void ZorItemReader::deltaLog(ZORID, unsigned length) {
    change = stream.readZorDeltaLog(length);
    if (ZorTable* const changed = deltaTable(change.objectId)) changed->mergeDelta(stream, change);
}

void ZorItemReader::deltaLogMore(ZORID, unsigned length) {
    change = stream.readZorDeltaLog(length);
    table = deltaTable(change.objectId);
    parameter = nullptr;  // the table is named by its id
}

void ZorItemReader::deltaData(ZORID id, unsigned length) {
    if (state != ZORGET_DELTADATA) {
        KEL_UC number[8];
        std::snprintf(number, sizeof number, "%4x", id);
        stream.closeBroken();
        throw ZorSerializationException("Unexpected data received: ZORID_DeltaData " + std::string(number));
    }
    if (table != nullptr)
        table->mergeDelta(stream, change, length);
    else
        stream.skipBytes(length);
}

void ZorItemReader::errorItem(ZORID id, unsigned length) {
    stream.readZorErrorMsg(id, length);
}

ZorRecord* ZorItemReader::recordOf(std::string_view parameterName) {
    ZorParameter* const named = wantedParameter(parameterName, true);
    return named != nullptr ? named->getRecord() : nullptr;
}

void ZorItemReader::xmlData(ZORID, unsigned length) {
    if (!xml) xml.emplace(static_cast<XZorRoots&>(*this), stream.fromUtf8());
    if (xml->isUnwanted()) return stream.skipBytes(length);
    stream.readPieces(length, [this](std::span<const KEL_RAW> piece) { xml->parse(piece); });
}

void ZorItemReader::xmlParameter(ZORID, unsigned length) {
    stream.skipBytes(length);
    finishXml();
}

void ZorItemReader::finishXml() {
    if (!xml) return;
    xml->setFinished();
    xml.reset();
}

void ZorItemReader::callStack(ZORID, unsigned length) {
    stream.readRemoteText(stream.ubixCallStack, length);
}

void ZorItemReader::classExceptionsWanted(ZORID, unsigned length) {
    stream.skipBytes(length);
    if (function != nullptr)
        function->enableClassException(stream.handle());
    else
        stream.control.useClassException = true;
}

void ZorItemReader::classExceptionInfo(ZORID, unsigned length) {
    stream.readRemoteText(stream.classExceptionInfo, length);
}

void ZorItemReader::classException(ZORID id, unsigned length) {
    if (function == nullptr) return stream.skipBytes(length);
    unsupported(id, length);
}

void ZorItemReader::transactionMode(ZORID id, unsigned length) {
    stream.skipBytes(length);
    stream.inAZorMode = id == ZORID_AZOR_Agent;
}

void ZorItemReader::ticket(ZORID, unsigned length) {
    stream.readZorTicket(length);
}

void ZorItemReader::unsupported(ZORID id, unsigned) {
    // Reading on would hand the caller a result with parts missing.
    stream.closeBroken();
    throw ZorSerializationException("Item " + std::to_string(id) +
                                    " holds a form of parameters that this library can't read");
}
