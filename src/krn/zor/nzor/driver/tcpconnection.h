/** @file The driver that carries the byte stream over a plain socket, with no gateway in between. */
#pragma once

#include <atomic>
#include <memory>

#include "base/ni/ni.h"
#include "driver/tcplistener.h"
#include "driver/zorbufferedstream.h"

/**
 * A stream over one socket. It has no framing: a message is complete for it when a read brings less than the
 * buffer takes. Failures are thrown as ZorCommunicationException; `close` alone only returns its code.
 */
class TcpConnection final : public ZorBufferedStream {
  public:
    /** The outgoing side. The owner isn't owned and outlives the stream. */
    explicit TcpConnection(ZorStreamOwner* owner);
    /** The side of a socket server: takes a connected handle, and closes it at the end. */
    TcpConnection(NI_HDL handle, ZorStreamOwner* owner, std::shared_ptr<TcpServer> server, unsigned level);
    /** Closes what is open. */
    ~TcpConnection() override;

    /** Connects to `serverHost` and `serverPort`, through `kelrouter` if there is one, within 180 s a step.
     */
    CM_RETCODE connectAsClient(ZorOptions& options) override;

    /** Sends what the buffer holds; may take as long as the partner does, but a cancel ends it. */
    CM_RETCODE send() override;
    CM_RETCODE sendFlush() override {
        send();
        messageSent();
        return CM_OK;
    }

    /**
     * Fills the buffer with what is there. `timeout` in ms; -1 waits for as long as the partner needs, 180 s
     * before the logon is done, and a cancel ends it. 0, or CM_KEL_TIMEOUT_RETRY when the time is up.
     */
    CM_RETCODE receive(KEL_INT timeout) override;
    /** Drops what has come in and not been read. */
    CM_RETCODE receiveFlush() override;

    void cancel() noexcept override { cancelPending = true; }
    void cancelIfPending() override { stopIfCancelled(); }
    CM_RETCODE close() noexcept override;

    const KEL_string& getErrorMsg() const override { return niErrMessage; }

    /** The accepted side waits for its next request: the listener tells its server. */
    CM_RETCODE reListen(void* data) override;

    /** The socket; NI_INVALID_HDL when it is closed. */
    NI_HDL handle() const noexcept { return niHandle; }

  private:
    KELRETURN readSome(KEL_INT timeout);
    void stopIfCancelled();
    [[noreturn]] void cancelNow();
    [[noreturn]] void ended(KELRETURN rc, KEL_string text);
    void traceData(bool incoming) const override;

    std::shared_ptr<TcpServer> server;  ///< Of an accepted socket; none on the outgoing side.
    NI_HDL niHandle = NI_INVALID_HDL;
    std::atomic<bool> cancelPending{false};
    KEL_string niErrMessage;  ///< Text of the last failure.
};
