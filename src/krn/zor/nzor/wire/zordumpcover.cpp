#include "wire/zordumpcover.h"

#include <algorithm>
#include <string_view>

#include "data/zorfunction.h"

namespace {

constexpr KEL_RAW covered = '*';
constexpr unsigned shortBegin = 4, longBegin = 8, closing = 2;
constexpr KEL_UINT longLengthMark = 0xFFFF;

KEL_UINT bigAt(std::span<const KEL_RAW> bytes) noexcept {
    KEL_UINT value = 0;
    for (const KEL_RAW byte : bytes)
        value = value << 8 | byte;
    return value;
}

bool names(unsigned id) noexcept {
    return id == ZORID_FieldName || id == ZORID_TableName;
}

/** Items of a logon, and forms of parameters whose names can't be read. */
bool alwaysHidden(unsigned id) noexcept {
    constexpr std::uint16_t secret[] = {
        ZORID_PassWord,         ZORID_Auth,           ZORID_AuthKey,      ZORID_ScramblePW,
        ZORID_Ticket,           ZORID_ScrTicket,      ZORID_SingleLogin,  ZORID_TicketStamp,
        ZORID_FieldValueScr,    ZORID_Sso2Logon,      ZORID_Sso2,         ZORID_X509Cert,
        ZORID_ExtIdData,        ZORID_XMLComprData,   ZORID_LumxInit,     ZORID_LumxSegment,
        ZORID_LumxSegmentCompr, ZORID_ClassException, ZORID_NgZorSegment, ZORID_NgZorLastSegment};
    return std::ranges::find(secret, id) != std::end(secret);
}

}  // namespace

void ZorDumpCover::cover(std::span<KEL_RAW> block, unsigned number, const ZorFunction* travelling) noexcept {
    if (number == 0) {
        phase = Phase::begin;
        taken = 0;
        calledBack = valueShown = rowsShown = false;
    } else if (number != nextBlock) {
        phase = Phase::lost;
    }
    nextBlock = number + 1;
    while (!block.empty()) {
        size_t done = block.size();
        switch (phase) {
            case Phase::begin:
                done = takeBegin(block, travelling);
                break;
            case Phase::payload:
                done = takePayload(block);
                break;
            case Phase::end:
                done = takeEnd(block, travelling);
                break;
            case Phase::lost:
                std::ranges::fill(block, covered);
                break;
        }
        block = block.subspan(done);
    }
}

/** Adds to the framing up to a number of bytes; gives what was taken. */
size_t ZorDumpCover::collect(std::span<const KEL_RAW> bytes, unsigned wanted) noexcept {
    const size_t piece = std::min<size_t>(bytes.size(), wanted - taken);
    std::copy_n(bytes.begin(), piece, framing.begin() + taken);
    taken += static_cast<unsigned>(piece);
    return piece;
}

size_t ZorDumpCover::takeBegin(std::span<const KEL_RAW> bytes, const ZorFunction* travelling) noexcept {
    const std::span<const KEL_RAW> begin(framing);
    const bool isLong = taken >= shortBegin;
    const size_t piece = collect(bytes, isLong ? longBegin : shortBegin);
    if (taken < (isLong ? longBegin : shortBegin)) return piece;
    left = isLong ? bigAt(begin.subspan(4)) : bigAt(begin.subspan(2, 2));
    if (!isLong && left == longLengthMark) return piece;
    id = bigAt(begin.first(2));
    taken = 0;
    nameLength = 0;
    hidden = hidesPayload(travelling);
    phase = left != 0 ? Phase::payload : Phase::end;
    return piece;
}

size_t ZorDumpCover::takePayload(std::span<KEL_RAW> bytes) noexcept {
    const std::span<KEL_RAW> piece = bytes.first(std::min<size_t>(bytes.size(), left));
    if (hidden) std::ranges::fill(piece, covered);
    if (names(id)) {
        const size_t kept = std::min(piece.size(), longestName - nameLength);
        std::copy_n(piece.begin(), kept, name.begin() + nameLength);
        nameLength += kept;
    }
    left -= static_cast<KEL_UINT>(piece.size());
    if (left == 0) phase = Phase::end;
    return piece.size();
}

size_t ZorDumpCover::takeEnd(std::span<const KEL_RAW> bytes, const ZorFunction* travelling) noexcept {
    const size_t piece = collect(bytes, closing);
    if (taken < closing) return piece;
    phase = bigAt(std::span<const KEL_RAW>(framing).first(closing)) == id ? Phase::begin : Phase::lost;
    taken = 0;
    noteName(travelling);
    return piece;
}

void ZorDumpCover::noteName(const ZorFunction* travelling) noexcept {
    if (id == ZORID_FunctionName) calledBack = incoming;
    const bool known = travelling != nullptr && !calledBack;
    const std::string_view parameter(name.data(), nameLength);
    if (id == ZORID_FieldName) valueShown = known && travelling->showsParameter(parameter);
    if (id == ZORID_TableName) rowsShown = known && travelling->showsParameter(parameter);
    // A table that comes back as its changes is named by a number.
    if (id == ZORID_DeltaFull) rowsShown = known && travelling->showsAll();
}

bool ZorDumpCover::hidesPayload(const ZorFunction* travelling) const noexcept {
    switch (id) {
        case ZORID_FieldValue:
            return !valueShown;
        case ZORID_TableContent:
        case ZORID_TableCompr:
        case ZORID_TableContLZ:
            return !rowsShown;
        case ZORID_DeltaData:
        case ZORID_XMLData:
            return calledBack || travelling == nullptr || !travelling->showsAll();
        default:
            return alwaysHidden(id);
    }
}
