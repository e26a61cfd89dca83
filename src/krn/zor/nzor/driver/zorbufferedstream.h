/** @file What the drivers share: the buffer that the stream goes through. */
#pragma once

#include <cstring>
#include <memory>

#include "driver/zoriostream.h"

/**
 * A stream with one buffer for both directions, which holds bytes to be sent or bytes to be read, never both.
 * A driver says how the buffer is sent and how it is filled.
 */
class ZorBufferedStream : public ZorIOStream {
  public:
    /** Bytes that go out in one message. */
    static constexpr unsigned BUFFER_SIZE = 28000;

    CM_RETCODE readBytes(KEL_RAW* dest, unsigned offset, unsigned count, unsigned& bytesRead) final {
        if (count > bytesInBuffer) return readAcross(dest, offset, count, bytesRead);
        take(dest, offset, count, bytesRead);
        return 0;
    }
    CM_RETCODE writeBytes(const KEL_RAW* src, unsigned offset, unsigned count) final {
        if (src == nullptr || count == 0) return 0;
        if (count >= bytesStillFree) return writeAcross(src + offset, count);
        put(src + offset, count);
        return 0;
    }
    bool isBufferEmpty() const noexcept final { return bytesInBuffer == 0; }
    void resetBuffer() noexcept final;

    /** Sends what the buffer holds. */
    virtual CM_RETCODE send() = 0;
    /** Fills the buffer; the driver tells results and time limits. */
    virtual CM_RETCODE receive(KEL_INT timeout) = 0;

  protected:
    /** Level from which data are dumped. */
    static constexpr unsigned DUMP_LEVEL = 2;

    /** The owner isn't owned and outlives the stream. */
    explicit ZorBufferedStream(ZorStreamOwner* owner);

    /** The first byte of an accepted conversation may ask for a trace, and doesn't belong to the data then.
     */
    void takeTraceRequest() noexcept;
    unsigned getTraceLevel() const noexcept;
    /** A block goes out or came in: it is counted, and dumped where the level asks for that. */
    void noteBlock(bool incoming) noexcept;

    ZorStreamOwner* const owner;
    const std::unique_ptr<KEL_RAW[]> streamBuffer;
    bool allReceived = false;  ///< The incoming message is complete.
    bool deallocated = true;   ///< There is no conversation, or the peer has ended it.

  private:
    /** Dumps the block in the buffer. */
    virtual void traceData(bool incoming) const = 0;

    CM_RETCODE readAcross(KEL_RAW* dest, unsigned offset, unsigned count, unsigned& bytesRead);
    CM_RETCODE writeAcross(const KEL_RAW* src, unsigned count);
    void take(KEL_RAW* dest, unsigned& offset, unsigned count, unsigned& bytesRead) {
        const KEL_RAW* const source = readInPlace(count);
        if (dest != nullptr) std::memcpy(dest + offset, source, count);
        offset += count;
        bytesRead += count;
    }
    void put(const KEL_RAW* src, unsigned count) {
        std::memcpy(bufferPtr, src, count);
        bufferPtr += count;
        bytesInBuffer += count;
        bytesStillFree -= count;
    }
};
