/**
 * @file
 * One conversation with one partner, from the logon to the close.
 *
 * Valid handles stand in a process-wide list. A connection that breaks in a call leaves the list at once;
 * its object lives until the call that runs on it has come back, and that call's last act is to free it.
 */
#pragma once

#include <kelzor/connection.h>
#include <kelzor/server.h>

#include <array>
#include <memory>

#include "base/ni/ni.h"
#include "config/zoroptions.h"
#include "connection/functionturn.h"
#include "connection/usercallback.h"
#include "connection/zorcallcount.h"
#include "connection/zorcallserver.h"
#include "wire/zoritemstream.h"

class TcpServer;
class ZorFunction;
struct FrontEndAnswer;

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
    /** The same, but NULL also for a connection that serves nobody. */
    static ZorConnection* getServerConnectionFromHandle(ZOR_CONNECTION_HANDLE handle) noexcept;
    /** Opens a connection and puts it into the list: a client logs on, a server is ready for its partner. */
    static ZOR_CONNECTION_HANDLE openNew(ZorOptions& options, ZOR_PROTOCOL_TYPE type);
    /** The same as a client: to a partner's socket if the options name a port, else through a gateway. */
    static ZOR_CONNECTION_HANDLE openClient(ZorOptions& options);
    /**
     * Takes the connection out of the list, ends its conversation and frees it; one on which a call of this
     * thread is running, which called back, is freed when that call has come back.
     */
    static void closeHandle(ZOR_CONNECTION_HANDLE handle);
    /** Asks the thread that has a call running on the connection to give it up. */
    static void cancelHandle(ZOR_CONNECTION_HANDLE handle);
    /** The handle of this connection: the address of its base. */
    ZOR_CONNECTION_HANDLE handle() noexcept override;
    /** The level of the connection; the global one for a handle that isn't in the list. */
    static unsigned traceLevelOf(ZOR_CONNECTION_HANDLE handle) noexcept;
    /** @} */

    /** @name Callbacks of the whole process; NULL uninstalls. Safe from any thread. */
    /** @{ */
    static void installPasswordChangeHandler(ZOR_ON_PASSWORD_CHANGE handler) noexcept;
    static void installPassportManager(ZOR_PM_CALLBACK onClientCallStart, ZOR_PM_CALLBACK onClientCallEnd,
                                       ZOR_PM_CALLBACK onServerCallStart,
                                       ZOR_PM_CALLBACK onServerCallEnd) noexcept;
    static void installAuthorizationChecker(ZOR_ON_AUTHORIZATION_CHECK handler) noexcept;
    /** @} */

    /** Calls the function and reads the answer into its container. True if the container is to be traced now,
     * which the caller does together with its closing line. */
    bool invoke(ZorFunction& function);
    /** An empty call, to see whether the partner is there. */
    void ping();
    /** Has the partner give back what it keeps for the session; the next call introduces itself anew. */
    void resetKELServerContext();

    /** @name Serving */
    /** @{ */
    /**
     * Waits at most `timeout` seconds, for ever if that is negative, for a call, and serves it. ZOR_RETRY
     * when none came. A transport failure closes the connection.
     */
    ZOR_RC listen(int timeout);
    void getServerContext(ZOR_SERVER_CONTEXT& context) const;
    /** Whether the conversation goes on behind the answer. Automated servers only. */
    void setStateful(bool stateful);
    /** @} */

    /** @name What the client of an accepted conversation brought along; ZorIllegalStateException otherwise.
     */
    /** @{ */
    /** `length` takes the ticket's length in any case; ZorBufferTooSmallException if it is the larger one. */
    void getPartnerSSO(KEL_UC* ticket, unsigned* length) const;
    void getVslPartnerName(KEL_UC* vslName, unsigned length) const;
    void getVslPartnerKey(KEL_RAW* vslKey, unsigned* length) const;
    /** @} */
    void getZorAttributes(ZOR_ATTRIBUTES& attributes) const;
    unsigned getTraceLevel() const noexcept { return traceLevel; }
    /** What both sides know of each other, then the state of the stream. */
    void writeTraceEntry(KEL_ofstream* trace);
    /** Level of the connection and its driver. One that the partner asked for is taken only if allowed. */
    void setTraceLevel(unsigned level, bool exported) noexcept;

    /** Sends the results of a function that the partner called. Closes the connection if that fails half-way.
     */
    void answer(ZorFunction& function);
    /** Throws if the connection was closed or cancelled while a function of the caller ran. */
    void checkStillOpen() const;
    /** Descriptions are looked up in one round trip each. */
    bool isZorMetadataGetEnabled() const noexcept { return zorMetadataGetEnabled; }

    /** @name Connections of an automated server
     * The server owns them. Each belongs to one thread at a time, but for `abandon`. Their handles are valid
     * while they run a function only.
     */
    /** @{ */
    /** One that is to be registered. */
    static std::unique_ptr<ZorConnection> makePooled(ZorCallServer& server, const ZorOptions& options);
    /** One with a partner on a socket, which it closes at its end, and at once if it can't be made. */
    static std::unique_ptr<ZorConnection> makeAccepted(ZorCallServer& server, const ZorOptions& options,
                                                       NI_HDL socket, std::shared_ptr<TcpServer> listener);
    /** Registers. From then on `awaitAny` may give this connection. */
    void registerAtGateway(const ZorOptions& options);
    /**
     * Waits at most `timeout` ms for something to happen on any registration; one thread at a time. The
     * connection may have been destroyed meanwhile: its owner knows. NULL when nothing has happened.
     */
    static ZorConnection* awaitAny(int timeout);
    /** Takes a partner that is there. False if there is none: then the registration waits on. */
    bool acceptPartner();
    /** Takes the beginning of a call. False if none comes: then the connection waits on. */
    bool receiveCall();
    /** The same behind a call, within so many ms, for a partner on a socket. False if none comes. */
    bool receiveNextCall(int timeout);
    ZOR_RC serveCall();
    /** Waits on, for the next call or the next partner. */
    void listenAgain();
    /** Ends the conversation and the registration. */
    void giveUp() noexcept { closeBroken(); }
    /**
     * Ends what runs on the connection, from any thread: the partner gets the failure if a function is
     * running that doesn't use the connection; else whoever uses it gives up within a second.
     */
    void abandon(const ZorBaseException& reason) noexcept;
    bool isOpen() const noexcept { return !ended; }
    NI_HDL socket() const noexcept;
    /** @} */

    /** Runs a function of the user that gets this connection's handle. */
    template <class Work>
    ZOR_RC runFunction(const Work& work) {
        if (!pooled) return callUser(work);
        const FunctionScope scope(*this);
        return callUser(work);
    }

    /** Reads the answer to what was sent, serving calls of the partner in between; NULL reads no data. */
    void zorReceive(ZorFunction* function);

  private:
    friend class ZorFunction;
    friend class ZorConnectionTurn;
    friend class ZorConnectionUse;

    /** For the time of a function: the handle is valid, and whoever ends the server may take the connection.
     */
    class FunctionScope {
      public:
        explicit FunctionScope(ZorConnection& connection);
        FunctionScope(const FunctionScope&) = delete;
        ~FunctionScope();

      private:
        ZorConnection& connection;
        bool outermost;
    };

    ZorConnection(ZOR_PROTOCOL_TYPE type, unsigned traceLevel);

    static ZorConnection* addConnection(std::unique_ptr<ZorConnection> connection);

    /** An option that can't be honoured is refused before anything is sent, never ignored. */
    static void refuseUnavailable(const ZorOptions& options);
    void connect(ZorOptions& options, ZOR_PROTOCOL_TYPE type);
    void connectAsServer(ZorOptions& options, ZOR_PROTOCOL_TYPE type);
    void authorizationCheck(const KEL_string& functionName);
    void logon(const ZorOptions& options);
    void takeLogonOptions(const ZorOptions& options);
    void checkPasswordState(const ZorOptions& options);
    void changePassword(const KEL_UC* oldPassword, const KEL_UC* newPassword);
    void attachGui(const ZorOptions& options);
    void prepareGui(const ZorOptions& options, ZorFunction& prepare);
    void finishGui(std::string_view guiId, const FrontEndAnswer& answer);
    void hideGui();
    void onClientCallStart(const KEL_UC* functionName);
    void onClientCallEnd(const KEL_UC* functionName);
    void askForPassport(ZOR_PM_CALLBACK callback, const KEL_UC* functionName);
    void setConnOptions(ZorOptions& options, ZOR_PROTOCOL_TYPE type);
    void sendPing(std::string_view functionName);
    void runCall(ZorFunction& function, ZORID rid);
    void endCall();
    void sendRequest(ZorFunction& function, ZORID rid);
    void receiveAnswer(ZorFunction& function);
    /** Reads and drops the rest of the incoming message; closes the connection if that fails. */
    void readOff() noexcept;
    void prepareToSend();
    void serveCallback();
    ZOR_RC dispatch(ZOR_ERROR_INFO* errorInfo);
    ZOR_RC serve(ZOR_ERROR_INFO* errorInfo);
    void dropOuterAnswer();
    void sendZorError(const ZorBaseException& failure);
    void writeUbixMsg(const ZorUBIXMessageFields& fields);
    void resetFailure() noexcept;
    KEL_string composedMessage() const;

    void closeBroken() noexcept override;
    void traceFailure(const ZorBaseException& failure) const noexcept;
    /** The line is broken: says so in log and trace, and closes. */
    void closeFailed(const ZorCommunicationException& failure) noexcept;
    [[noreturn]] void raiseCollectedError() override;

    void setConvId(const KEL_RAW* convId) noexcept override;
    bool isLoggedOn() const noexcept override { return control.connected; }
    unsigned connectionTraceLevel() const noexcept override { return traceLevel; }
    KEL_string traceCodepage() const override;
    void coverDump(Dump dump, bool incoming, unsigned block, std::span<KEL_RAW> copy) noexcept override {
        coverBlock(dump, incoming, block, copy);
    }
    void setHasErrorMsg() noexcept override { hasErrorMsg = true; }
    void parseErrorMsg(const KEL_RAW* data, unsigned length, DATA_RECEIVED dataReceived) override;
    void parseFreeText(const KEL_RAW* data, unsigned length);
    void throwZorErrorMsg() override { raiseCollectedError(); }
    void leaveConnectionList() noexcept override;
    /** Into the list of valid handles, and out of it. */
    void enlist();
    void delist() noexcept;
    /** Out of the list for good: the connection has ended. */
    void unlist() noexcept;
    void acceptTraceLevel(unsigned level) noexcept override { setTraceLevel(level, true); }
    void forgetPartner() noexcept override;
    bool keepsSession() const noexcept override;
    void sessionEnded() noexcept override;

    unsigned traceLevel;
    bool listed = false;                       ///< In the list; changed under its lock only.
    ZorCallCount inCall;                       ///< Calls that can be cancelled.
    unsigned users = 0;                        ///< What runs on it, nested; belongs to the calling thread.
    bool hasErrorMsg = false;                  ///< The conversation ended with data behind it.
    bool ended = false;                        ///< Closed or broken: there is no conversation to go on with.
    bool cancelled = false;                    ///< It ended by a cancel.
    unsigned short use_kelgui = 0;             ///< Mode of the front end; 2 hides it after each call.
    ZorCallServer* server = nullptr;           ///< Serves the partner's calls; none before the first one.
    std::unique_ptr<ZorCallServer> ownServer;  ///< That one, unless many connections share it.
    bool pooled = false;                       ///< Belongs to an automated server.
    FunctionTurn turn;                         ///< Of a pooled connection.
    std::array<KEL_RAW, 16> uuid{};            ///< Name of a session without a conversation.
    KEL_string gwhost;                         ///< Route to the gateway, for the front end.
    std::vector<KEL_RAW> eppBuffer;            ///< Room for a passport; kept between calls.
    size_t eppLength = 0;                      ///< Bytes of the passport that the application gave; 0: none.
    bool zorMetadataGetEnabled = false;
};
