#include "driver/zorbufferedstream.h"

#include <algorithm>

ZorBufferedStream::ZorBufferedStream(ZorStreamOwner* owner)
    : owner(owner), streamBuffer(std::make_unique<KEL_RAW[]>(BUFFER_SIZE)) {
    ZorBufferedStream::resetBuffer();
}

void ZorBufferedStream::resetBuffer() noexcept {
    bufferPtr = streamBuffer.get();
    bytesStillFree = BUFFER_SIZE;
    bytesInBuffer = 0;
}

CM_RETCODE ZorBufferedStream::readAcross(KEL_RAW* dest, unsigned offset, unsigned count,
                                         unsigned& bytesRead) {
    while (count > bytesInBuffer) {
        if (deallocated) return CM_DEALLOCATED_NORMAL;
        count -= bytesInBuffer;
        take(dest, offset, bytesInBuffer, bytesRead);
        if (const CM_RETCODE rc = receive(-1); rc != CM_OK)
            return deallocated ? static_cast<CM_RETCODE>(CM_DEALLOCATED_NORMAL) : rc;
    }
    take(dest, offset, count, bytesRead);
    return CM_OK;
}

CM_RETCODE ZorBufferedStream::writeAcross(const KEL_RAW* src, unsigned count) {
    while (count >= bytesStillFree) {
        const unsigned piece = bytesStillFree;
        put(src, piece);
        src += piece;
        count -= piece;
        send();
    }
    put(src, count);
    return CM_OK;
}

void ZorBufferedStream::takeTraceRequest() noexcept {
    constexpr KEL_RAW EBCDIC_T = 0xE3, ASCII_T = 'T';
    constexpr unsigned REQUESTED_LEVEL = 2;
    if (!accepted || !justAccepted || bytesInBuffer == 0) return;
    justAccepted = false;
    if (*bufferPtr != EBCDIC_T && *bufferPtr != ASCII_T) return;
    owner->acceptTraceLevel(REQUESTED_LEVEL);
    ++bufferPtr;
    --bytesInBuffer;
}

unsigned ZorBufferedStream::getTraceLevel() const noexcept {
    return std::max(traceLevel, owner->connectionTraceLevel());
}

void ZorBufferedStream::noteBlock(bool incoming) noexcept {
    if (bytesInBuffer == 0) return;
    try {
        if (getTraceLevel() >= DUMP_LEVEL) traceData(incoming);
    } catch (...) {
        // Tracing never fails a call.
    }
    countBlock(incoming);
}
