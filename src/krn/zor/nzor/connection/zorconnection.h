/**
 * @file
 * One conversation with one partner, from the logon to the close.
 *
 * Valid handles stand in a process-wide list. A connection that breaks in a call leaves the list at once;
 * its object lives until the call that runs on it has come back, and that call's last act is to free it.
 */
#pragma once

#include <kelzor/connection.h>

#include <atomic>
#include <memory>

#include "config/zoroptions.h"
#include "wire/zoritemstream.h"

class ZorFunction;

/** What a connection handle points to. */
class ZorConnectionBase {
  public:
    virtual ~ZorConnectionBase() = default;
};

class ZorConnection final : public ZorConnectionBase, public ZorItemStream, private ZorStreamOwner {
  public:
    ~ZorConnection() override;

    /** @name Handles. Safe from any thread; a pointer that isn't in the list is never followed. */
    /** @{ */
    /** The connection behind a handle; NULL if the handle isn't in the list. */
    static ZorConnection* getConnectionFromHandle(ZOR_CONNECTION_HANDLE handle) noexcept;
    static bool isHandleValid(ZOR_CONNECTION_HANDLE handle) noexcept;
    /** Opens a connection, logs on, and puts it into the list. */
    static ZOR_CONNECTION_HANDLE openNew(ZorOptions& options, ZOR_PROTOCOL_TYPE type);
    /** Takes the connection out of the list, ends its conversation and frees it. */
    static void closeHandle(ZOR_CONNECTION_HANDLE handle);
    /** Asks the thread that has a call running on the connection to give it up. */
    static void cancelHandle(ZOR_CONNECTION_HANDLE handle);
    /** The handle of this connection: the address of its base. */
    ZOR_CONNECTION_HANDLE handle() noexcept;
    /** The level of the connection; the global one for a handle that isn't in the list. */
    static unsigned traceLevelOf(ZOR_CONNECTION_HANDLE handle) noexcept;
    /** @} */

    /** Calls the function and reads the answer into its container. */
    void invoke(ZorFunction& function);
    /** An empty call, to see whether the partner is there. */
    void ping();
    void getZorAttributes(ZOR_ATTRIBUTES& attributes) const;
    unsigned getTraceLevel() const noexcept { return traceLevel; }
    /** What both sides know of each other, then the state of the stream. */
    void writeTraceEntry(KEL_ofstream* trace);
    /** Level of the connection and its driver. One that the partner asked for is taken only if allowed. */
    void setTraceLevel(unsigned level, bool exported) noexcept;

    /** Reads the answer to what was sent, serving calls of the partner in between; NULL reads no data. */
    void zorReceive(ZorFunction* function);

  private:
    friend class ZorFunction;
    friend class ZorConnectionUse;

    ZorConnection(ZOR_PROTOCOL_TYPE type, unsigned traceLevel);

    static ZorConnection* addConnection(std::unique_ptr<ZorConnection> connection);

    void connect(ZorOptions& options, ZOR_PROTOCOL_TYPE type);
    void logon(const ZorOptions& options);
    void checkPasswordState(const ZorOptions& options);
    void setConnOptions(ZorOptions& options, ZOR_PROTOCOL_TYPE type);
    void sendPing(std::string_view functionName);
    void sendRequest(ZorFunction& function, ZORID rid);
    void receiveAnswer(ZorFunction& function);
    /** Reads and drops the rest of the incoming message; closes the connection if that fails. */
    void readOff() noexcept;
    void dispatch();
    void refuseCallback(const ZorServerNotFoundException& failure);
    KEL_string composedMessage() const;

    void closeBroken() noexcept override;
    [[noreturn]] void raiseCollectedError() override;

    void setConvId(const KEL_RAW* convId) noexcept override;
    bool isLoggedOn() const noexcept override { return control.connected; }
    unsigned connectionTraceLevel() const noexcept override { return traceLevel; }
    KEL_string traceCodepage() const override;
    void setHasErrorMsg() noexcept override { hasErrorMsg = true; }
    void parseErrorMsg(const KEL_RAW* data, unsigned length, DATA_RECEIVED dataReceived) override;
    void parseFreeText(const KEL_RAW* data, unsigned length);
    void throwZorErrorMsg() override { raiseCollectedError(); }
    void leaveConnectionList() noexcept override;
    void acceptTraceLevel(unsigned level) noexcept override { setTraceLevel(level, true); }

    unsigned traceLevel;
    bool listed = false;               ///< In the list; changed under its lock only.
    std::atomic<unsigned> inCall = 0;  ///< Calls that can be cancelled, nested ones counted.
    unsigned users = 0;                ///< What runs on it, nested; belongs to the calling thread.
    bool hasErrorMsg = false;          ///< The conversation ended with data behind it.
};
