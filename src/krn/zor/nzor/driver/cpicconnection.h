/** @file The driver that carries the byte stream over a conversation through a gateway. */
#pragma once

#include <array>
#include <atomic>
#include <cstring>
#include <ctime>
#include <memory>

#include "driver/zoriostream.h"
#include "krn/si/cpic/cpic.h"

/**
 * A stream over one conversation. One buffer serves both directions: it holds bytes to be sent or bytes
 * to be read, never both. Failures of the conversation are thrown as ZorCommunicationException with the text
 * of the lower layers; `close` alone only returns its code.
 */
class CpicConnection final : public ZorIOStream {
  public:
    /** Bytes that go out in one message. */
    static constexpr unsigned BUFFER_SIZE = 28000;

    /** The owner isn't owned and outlives the stream. */
    explicit CpicConnection(ZorStreamOwner* owner);
    /** Closes what is open. */
    ~CpicConnection() override;

    /** Starts the layers below and tells the configuration who this process is; once, when the library
     * starts. */
    static void init();
    /** Level of the lower layers' trace and the name of its file. What they refuse goes to the log. */
    static void SetCpicTraceLevel(unsigned level, const KEL_UC* fileName) noexcept;
    /** Bytes of the socket buffers of connections that are opened from now on. A refusal goes to the log. */
    static void setNISocketBufferSize(unsigned size) noexcept;

    /** @name Identity of this process; filled at first use, constant from then on. */
    /** @{ */
    static const KEL_string& getOwnHostName();
    static const KEL_string& getOwnIPAddr();    ///< IPv4; empty if the host has none.
    static const KEL_string& getOwnIPV6Addr();  ///< IPv6; empty if the host has none.
    static const KEL_string& getOwnUserName();  ///< Of the real user id.
    static const KEL_string& getOwnProgramName();
    static const KEL_string& getCpicVersion();
    static const NI_NODEADDR& getOwnIPNodeAddr();
    /** @} */

    /**
     * Fills in what the caller left open: gateway and partner, host and service. Throws
     * ZorCommunicationException if that isn't possible.
     */
    void parseConnParameters(ZorOptions& options);

    CM_RETCODE connectAsClient(ZorOptions& options) override;

    CM_RETCODE readBytes(KEL_RAW* dest, unsigned offset, unsigned count, unsigned& bytesRead) override {
        if (count > bytesInBuffer) return readAcross(dest, offset, count, bytesRead);
        take(dest, offset, count, bytesRead);
        return 0;
    }

    CM_RETCODE writeBytes(const KEL_RAW* src, unsigned offset, unsigned count) override {
        if (src == nullptr || count == 0) return 0;
        if (count >= bytesStillFree) return writeAcross(src + offset, count);
        put(src + offset, count);
        return 0;
    }

    /** Sends what the buffer holds. */
    CM_RETCODE send();
    CM_RETCODE sendFlush() override { return send(); }

    /**
     * Fills the buffer. 0; CM_KEL_TIMEOUT_RETRY if the first answer of a partner takes more than
     * 180 seconds; otherwise the code with which the conversation ended. An end with an error text throws
     * what the owner makes of it.
     */
    CM_RETCODE receive();
    CM_RETCODE receiveFlush() override;

    void cancel() noexcept override;
    CM_RETCODE close() noexcept override;

    bool isBufferEmpty() const noexcept override { return bytesInBuffer == 0; }
    void resetBuffer() noexcept override;
    const KEL_string& getErrorMsg() const override { return cpicError; }

    void writeTraceEntry(KEL_ofstream* trace) const override;

    /** Writes the conversation id and a terminator; throws ZorBufferTooSmallException below 9 characters. */
    void printConvID(KEL_UC* cid, unsigned strLength) const;

    /** Switches the keep-alive of the operating system on; a failure is only logged. */
    void setSoKeepaliveOption() noexcept;

  private:
    enum CANCEL_STATE { INITIAL = 0, CANCEL_PENDING = 1, CANCELED = 2 };

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

    void cpicCancelIfPending();
    [[noreturn]] void cpicCancel();
    CM_RETCODE receiveBlock();
    CM_RETCODE awaitBlock();
    CM_RETCODE conversationEnded(CM_RETCODE rc);
    void forgetConversation() noexcept;
    void drop(CM_RETCODE rc) noexcept;
    [[noreturn]] void throwCpicError(CM_RETCODE rc);
    unsigned getTraceLevel() const noexcept;
    void traceData(const KEL_UC* action, const KEL_string& codepage) const;

    /** Where the conversation goes, as the trace tells it. */
    struct Target {
        KEL_string gwhost, gwserv, ashost, asserv, tpname;
    };

    ZorStreamOwner* owner;
    Target target;
    KEL_CHAR protocol = 'I';
    std::array<KEL_RAW, KEL_CONV_ID_LN> convId{};  ///< Zeros when there is no conversation.
    std::time_t lastIoTime = 0;                    ///< Of the last successful send or receive.
    DATA_RECEIVED dataReceived = CM_NO_DATA_RECEIVED;
    STATUS_RECEIVED statusReceived = CM_NO_STATUS_RECEIVED;
    bool allReceived = false;  ///< The partner has given up the right to send: the message is complete.
    bool deallocated = true;   ///< There is no conversation.
    std::atomic<CANCEL_STATE> cancelState{INITIAL};
    KEL_string cpicError;  ///< Text of the last failure.
    std::unique_ptr<KEL_RAW[]> streamBuffer;
};
