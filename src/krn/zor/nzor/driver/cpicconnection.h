/** @file The driver that carries the byte stream over a conversation through a gateway. */
#pragma once

#include <array>
#include <atomic>
#include <ctime>
#include <memory>

#include "driver/zorbufferedstream.h"
#include "krn/si/cpic/cpic.h"

/**
 * A stream over one conversation: that of a client, of a program that a gateway started, or, one after the
 * other, those of the partners of a registered program. Failures of the conversation are thrown as
 * ZorCommunicationException with the text of the lower layers; `close` alone only returns its code.
 */
class CpicConnection final : public ZorBufferedStream {
  public:
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

    /** @name Serving */
    /** @{ */
    /** Registers `tpname` at the gateway. */
    CM_RETCODE registerAsServer(ZorOptions& options) override;
    /**
     * Takes over the conversation for which a gateway started this process, by its argument vector; nothing
     * with fewer than two arguments.
     */
    CM_RETCODE connectAsServer(ZorOptions& options) override;
    /**
     * Waits at most `timeout` seconds, for ever if that is negative, for a partner and its first block. 0;
     * CM_KEL_TIMEOUT_RETRY when nobody came; otherwise the code of the receive.
     */
    CM_RETCODE listen(KEL_INT timeout) override;
    /**
     * Tells the gateway that the registration is still there, if nothing was sent or received for
     * `maxIdleTime` seconds, or in any case if forced.
     */
    CM_RETCODE keepAlive(bool forced) override;
    /** @} */

    /** @name Many registrations in one thread
     * Each stream is registered and waits in a select set of the process. One thread listens for all of them;
     * a stream with something to be read belongs to whoever serves it, until it is put back.
     */
    /** @{ */
    /** Registers, and puts the registration into the set. */
    CM_RETCODE registerAsServer_SM(ZorOptions& options);
    /**
     * Waits at most `timeout` ms until something is ready. `received` above 0 is a handle, `owner` its
     * stream's; 0 says that only the set has changed. CM_KEL_TIMEOUT_RETRY and CM_KEL_PING_RECEIVED come back
     * too.
     */
    static CM_RETCODE listen_SM(CPIC_INT* received, ZorStreamOwner** owner, CPIC_INT timeout);
    /** Takes the partner that is there; `timeout` in ms if it is positive. */
    CM_RETCODE accept_SM(CPIC_INT timeout);
    /** The conversation goes on: back into the set, waiting for its next block. */
    CM_RETCODE reListen_SM();
    /** The conversation is over: back into the set, waiting for the next partner. */
    CM_RETCODE reAccept_SM();
    /** Ends the conversation; a registration stays. Never throws. */
    CM_RETCODE closeConversation() noexcept;
    bool isConvIdInitial() const noexcept;  ///< Each byte is zero or a blank.
    bool hasTurn() const noexcept override { return allReceived && !deallocated; }
    CPIC_INT getCpicHandle() const noexcept { return cpicHandle; }
    /** @} */

    CM_RETCODE send() override;
    /** Sends; a registered program ends the conversation then, unless its owner keeps the session. */
    CM_RETCODE sendFlush() override;

    /**
     * Fills the buffer. 0; CM_KEL_TIMEOUT_RETRY if the first answer to a client takes more than 180 seconds,
     * or the block for a server more than `timeout` seconds, which is no limit unless it is positive;
     * CM_KEL_PING_RECEIVED; otherwise the code with which the conversation ended. An end with an error text
     * throws what the owner makes of it. A partner that hands the turn back without data again and again
     * waits for this side as this side waits for it: the conversation is ended then.
     */
    CM_RETCODE receive(CPIC_INT timeout = -1) override;
    CM_RETCODE receiveFlush() override;

    void cancel() noexcept override;
    CM_RETCODE close() noexcept override;

    const KEL_string& getErrorMsg() const override { return cpicError; }

    void writeTraceEntry(KEL_ofstream* trace) const override;

    /** Writes the conversation id and a terminator; throws ZorBufferTooSmallException below 9 characters. */
    void printConvID(KEL_UC* cid, unsigned strLength) const;

    /** Switches the keep-alive of the operating system on: of the socket with a number, or of the
     * conversation if that is 0. A failure is only logged. */
    void setSoKeepaliveOption(CPIC_INT cpic_handle) noexcept;
    /** A cancel that came too late for the call's sends and receives takes effect now. */
    void cancelIfPending() override { cpicCancelIfPending(); }

  private:
    enum CANCEL_STATE { INITIAL = 0, CANCEL_PENDING = 1, CANCELED = 2 };

    void cpicCancelIfPending();
    [[noreturn]] void cpicCancel();
    CM_RETCODE receiveBlock();
    void noteProgress();
    CM_RETCODE awaitBlock(CPIC_INT timeout);
    CM_RETCODE awaitAsClient();
    CM_RETCODE awaitAsPooled(CPIC_INT timeout);
    bool ownsRegistration() const noexcept;
    CM_RETCODE receiveWithin(CPIC_INT limit);
    void openDataToTrace() noexcept;
    CM_RETCODE sendBlock();
    CM_RETCODE awaitPartner(KEL_INT timeout);
    CM_RETCODE acceptOnce(CPIC_INT slice);
    void noteTarget(const ZorOptions& options);
    void noteAccepted() noexcept;
    CM_RETCODE backToSet(CM_RETCODE rc);
    void setVslData(ZorOptions& options);
    KEL_string closedByGateway() const;
    CM_RETCODE conversationEnded(CM_RETCODE rc);
    void forgetConversation() noexcept;
    void drop(CM_RETCODE rc) noexcept;
    [[noreturn]] void throwCpicError(CM_RETCODE rc);
    void traceData(bool incoming) const override;

    /** Where the conversation goes, as the trace tells it. */
    struct Target {
        KEL_string gwhost, gwserv, ashost, asserv, tpname;
    };

    Target target;
    CPIC_INT cpicHandle = 0;                 ///< Of the registration; 0 when there is none.
    CPIC_INT maxIdleTime = 60;               ///< Seconds between signs of life of an idle registration.
    std::unique_ptr<CPIC_VSL_DATA> vslData;  ///< Settings of the secure network; NULL without it.
    bool dataOpen = false;                   ///< The layers below may trace the data.
    KEL_CHAR protocol = 'I';
    std::array<KEL_RAW, KEL_CONV_ID_LN> convId{};  ///< Zeros when there is no conversation.
    unsigned emptyMessages = 0;                    ///< In a row, each with the turn.
    std::time_t lastIoTime = 0;                    ///< Of the last successful send or receive.
    DATA_RECEIVED dataReceived = CM_NO_DATA_RECEIVED;
    STATUS_RECEIVED statusReceived = CM_NO_STATUS_RECEIVED;
    std::atomic<CANCEL_STATE> cancelState{INITIAL};
    KEL_string cpicError;  ///< Text of the last failure.
};
