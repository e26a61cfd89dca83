/** @file The one byte stream that the object layer reads and writes, and what a driver asks of its owner. */
#pragma once

#include <kelzor/types.h>

#include <span>
#include <vector>

#include "error/zorexception.h"
#include "krn/si/gw/gwenum.h"

class KEL_ofstream;
struct ZorOptions;

/** What a driver asks of the connection that owns it. The connection outlives its driver's calls. */
class ZorStreamOwner {
  public:
    /** Takes the 8 bytes of the conversation id; NULL clears it. */
    virtual void setConvId(const KEL_RAW* convId) noexcept = 0;
    /** Whether the logon is done: before it the first answer is awaited with a limit. */
    virtual bool isLoggedOn() const noexcept = 0;
    /** The connection's own trace level. */
    virtual unsigned connectionTraceLevel() const noexcept = 0;
    /** Four digits of the code page that the stream's text is in, for the title of a dump. */
    virtual KEL_string traceCodepage() const = 0;
    /** Who dumps the bytes: each cuts them into blocks of its own. */
    enum class Dump { driver, transport };
    /**
     * Covers what a dump must not show, in the copy of a block that came in or went out. Blocks of a message
     * are counted from 0.
     */
    virtual void coverDump(Dump dump, bool incoming, unsigned block, std::span<KEL_RAW> copy) noexcept = 0;
    /** The conversation ended with bytes behind it. */
    virtual void setHasErrorMsg() noexcept = 0;
    /** Takes what came with the end of the conversation; an item stream is read back from the driver. */
    virtual void parseErrorMsg(const KEL_RAW* data, unsigned length, DATA_RECEIVED dataReceived) = 0;
    /** Throws the failure collected so far; returns only if there is none to throw. */
    virtual void throwZorErrorMsg() = 0;
    /** Takes the connection out of the list of valid handles: it was cancelled. */
    virtual void leaveConnectionList() noexcept = 0;
    /** A registered program waits for its next partner: what is known of the last one doesn't count. */
    virtual void forgetPartner() noexcept {}
    /** Whether the conversation of a registered program goes on after an answer. */
    virtual bool keepsSession() const noexcept { return false; }
    /** The conversation ended with the answer: the next one begins with nothing written. */
    virtual void sessionEnded() noexcept {}
    /** The partner asks for a trace level. */
    virtual void acceptTraceLevel(unsigned level) noexcept = 0;

  protected:
    ~ZorStreamOwner() = default;
};

/**
 * A buffered, half-duplex byte stream. The base class answers CM_UNSUCCESSFUL to what a stream can't do.
 * One thread at a time uses a stream; `cancel` alone may come from any thread.
 * Transport failures are thrown as ZorCommunicationException.
 */
class ZorIOStream {
  public:
    ZorIOStream() = default;
    ZorIOStream(const ZorIOStream&) = delete;
    ZorIOStream& operator=(const ZorIOStream&) = delete;
    virtual ~ZorIOStream() = default;

    /**
     * Reads exactly `count` bytes to `dest + offset`, or skips them if `dest` is NULL. `bytesRead` grows
     * by what was read. 0, or CM_DEALLOCATED_NORMAL when the stream ended, or CM_KEL_TIMEOUT_RETRY.
     */
    virtual CM_RETCODE readBytes(KEL_RAW* dest, unsigned offset, unsigned count, unsigned& bytesRead) = 0;
    /** Buffers `count` bytes from `src + offset`; a full buffer is sent. */
    virtual CM_RETCODE writeBytes(const KEL_RAW* src, unsigned offset, unsigned count) = 0;
    /** @name The buffer itself
     * Items are small and many, so what lies in the buffer is read and written where it is, without a copy
     * and without a call. Null if the buffer can't serve the whole: then `readBytes` and `writeBytes` do.
     */
    /** @{ */
    /** The next `count` bytes, which count as read; good until the next operation. */
    const KEL_RAW* readInPlace(unsigned count) noexcept {
        if (count > bytesInBuffer) return nullptr;
        const KEL_RAW* const place = bufferPtr;
        bufferPtr += count;
        bytesInBuffer -= count;
        return place;
    }
    /** Room for the next `count` bytes, which count as written: the caller fills them at once. */
    KEL_RAW* writeInPlace(unsigned count) noexcept {
        if (count >= bytesStillFree) return nullptr;
        KEL_RAW* const place = bufferPtr;
        bufferPtr += count;
        bytesInBuffer += count;
        bytesStillFree -= count;
        return place;
    }
    /** @} */
    virtual CM_RETCODE connectAsClient(ZorOptions&) { return CM_UNSUCCESSFUL; }
    virtual CM_RETCODE registerAsServer(ZorOptions&) { return CM_UNSUCCESSFUL; }
    virtual CM_RETCODE connectAsServer(ZorOptions&) { return CM_UNSUCCESSFUL; }
    /** Ends the conversation. Never throws; a failure is only returned. */
    virtual CM_RETCODE close() noexcept { return CM_UNSUCCESSFUL; }
    /** Asks the thread that is in a send or receive to give up. */
    virtual void cancel() noexcept {}
    /** Throws if a cancel came that nothing has noticed yet; to be called at the end of a call. */
    virtual void cancelIfPending() {}
    virtual void checkForCloseEvent() {}
    /** Whether the partner has sent its message to the end, so that this side may send at once. */
    virtual bool hasTurn() const noexcept { return true; }
    /** Whether all that came in has been read. */
    virtual bool isBufferEmpty() const noexcept { return true; }
    virtual CM_RETCODE listen(KEL_INT /*timeout*/) { return CM_UNSUCCESSFUL; }
    virtual CM_RETCODE reListen(void* /*data*/) { return CM_UNSUCCESSFUL; }
    virtual CM_RETCODE keepAlive(bool /*forced*/) { return 0; }
    /** Sends what is buffered; the partner gets the right to send at the next read. */
    virtual CM_RETCODE sendFlush() { return 0; }
    /** Reads and drops the rest of the incoming message. */
    virtual CM_RETCODE receiveFlush() { return 0; }
    /** Empties the buffer for writing. */
    virtual void resetBuffer() noexcept {}
    /** Text of the last failure. */
    virtual const KEL_string& getErrorMsg() const = 0;
    /** Writes the state of the stream to the trace. */
    virtual void writeTraceEntry(KEL_ofstream* /*trace*/) const {}

    unsigned traceLevel = 0;  ///< Trace level of the stream.
    ZOR_PROTOCOL_TYPE zorProgType = ZOR_CLIENT;
    bool connected = false;     ///< A conversation or socket stands as client.
    bool accepted = false;      ///< A conversation was accepted as server.
    bool serverMode = false;    ///< The stream acts as a server.
    bool registered = false;    ///< Registered at a gateway under a program id.
    bool justAccepted = false;  ///< Nothing of the accepted conversation was read yet.
    bool isVSL = false;         ///< The secure network layer is on.

  protected:
    /** @name The buffer of a driver that has one: it holds either what came in or what is to go out. */
    /** @{ */
    KEL_RAW* bufferPtr = nullptr;  ///< Next position to read or write.
    unsigned bytesStillFree = 0;   ///< Room for writing; 0 while reading.
    unsigned bytesInBuffer = 0;    ///< What is still to be read, or what was written.
    /** @} */

    /** @name Dumps of the buffer */
    /** @{ */
    /** Counts the block in the buffer as one of its message, traced or not. */
    void countBlock(bool incoming) noexcept { ++(incoming ? blocksReceived : blocksSent); }
    /** The message is out; what comes in next begins another one. */
    void messageSent() noexcept { blocksSent = blocksReceived = 0; }
    /** What a dump may show of the block in the buffer, which isn't counted yet. */
    std::vector<KEL_RAW> dumpOf(ZorStreamOwner& owner, bool incoming) const {
        std::vector<KEL_RAW> copy(bufferPtr, bufferPtr + bytesInBuffer);
        owner.coverDump(ZorStreamOwner::Dump::driver, incoming, incoming ? blocksReceived : blocksSent, copy);
        return copy;
    }
    /** @} */

  private:
    unsigned blocksSent = 0;      ///< Of the message that goes out.
    unsigned blocksReceived = 0;  ///< Of the message that comes in.
};
