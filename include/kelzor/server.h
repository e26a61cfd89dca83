/**
 * @file
 * Functions of this program that partners may call, and the ways to wait for their calls.
 *
 * A program that is registered at a gateway, or that a gateway started, opens a connection by
 * `ZorRegisterServer` or `ZorStartServer` and calls `ZorListenAndDispatch` in a loop. A client's connection
 * serves calls too, while a call of its own is waiting for its answer. docs/serving.md tells more.
 *
 * The tables of functions are the process's. A function runs on the thread on which its call came in; it may
 * call on the connection that it gets, install and remove functions, and call back to any depth. It must not
 * keep the handles it gets beyond its return.
 */
#ifndef KELZOR_SERVER_H
#define KELZOR_SERVER_H

#include <kelzor/connection.h>
#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * A function that a partner calls.
 *
 * @param zorHandle the connection, valid during the call; not to be closed, unless the call that waits on it
 * is to fail.
 * @param funcHandle the parameters: imports as they came, exports to be filled. Belongs to the library.
 *        A result that the partner didn't ask for is inactive.
 * @param errorInfo zeros; to be filled where the result isn't `ZOR_OK`.
 * @return `ZOR_OK` to send the results. `ZOR_UBIX_EXCEPTION` with `key`: the partner gets the exception, and
 * a call of this side goes on waiting. `ZOR_UBIX_MESSAGE` and `ZOR_EXTERNAL_FAILURE`: the partner gets the
 * message and its fields; anything else: `message` alone. All but the exceptions end the call of this side
 * that waits on the connection with this failure. A C++ exception counts as `ZOR_EXTERNAL_FAILURE`.
 */
typedef ZOR_RC (*ZOR_SERVER_FUNCTION)(ZOR_CONNECTION_HANDLE zorHandle, ZOR_FUNCTION_HANDLE funcHandle,
                                      ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the description of a function that isn't installed, for the generic function to serve.
 *
 * @param attributes what is known about the connection.
 * @param funcDesc takes the description, which stays the caller's; the library holds a reference of its own.
 * @return `ZOR_OK`, or anything else if there is no such function.
 */
typedef ZOR_RC (*ZOR_FUNC_DESC_CALLBACK)(const KEL_UC* functionName, ZOR_ATTRIBUTES attributes,
                                         ZOR_FUNCTION_DESC_HANDLE* funcDesc);

/**
 * Installs a function under the name of its description, in the place of the one before.
 *
 * @param sysId system whose calls it serves; NULL or empty for all that have no function of their own.
 * @param funcDescHandle description of the parameters; it is locked at the first call, and a reference is
 * held as long as the function is installed.
 * @param serverFunction NULL removes the function.
 *
 * Names are compared as they are. The four functions that every process has (`ZOR_PING`, `ZOR_SYSTEM_INFO`,
 * `ZOR_DOCU`, `ZOR_SET_REG_SERVER_PROPERTY`) can't be replaced. Any thread may call this.
 *
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER` (the description was removed);
 * `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_RC ZorInstallServerFunction(const KEL_UC* sysId, ZOR_FUNCTION_DESC_HANDLE funcDescHandle,
                                           ZOR_SERVER_FUNCTION serverFunction, ZOR_ERROR_INFO* errorInfo);

/**
 * Installs one function that serves all calls for which none is installed. The provider is asked once for
 * each name and system; what it gives stays installed.
 *
 * Failures: `ZOR_INVALID_PARAMETER` (one of the two is NULL).
 */
KELZOR_API ZOR_RC ZorInstallGenericServerFunction(ZOR_SERVER_FUNCTION serverFunction,
                                                  ZOR_FUNC_DESC_CALLBACK funcDescProvider,
                                                  ZOR_ERROR_INFO* errorInfo);

/**
 * Registers this program at a gateway, where partners find it by its id.
 *
 * @param connectionParams `TPNAME` (the id), `GWHOST`, `GWSERV`; `SYS_IDS` names the systems that may call,
 *        separated by commas; further ones as for `ZorOpenConnection`. Copied.
 * @param paramCount number of pairs, at least 1.
 * @return the handle, owned by the caller until `ZorCloseConnection`, or NULL on failure. It serves one
 *         partner at a time, on one thread at a time.
 *
 * Failures: `ZOR_INVALID_PARAMETER` (an argument, a parameter's value, or names of partners in the secure
 * network, which this build can't check); `ZOR_COMMUNICATION_FAILURE` (the gateway can't be reached, or
 * refuses the program: try again later, or correct the id); `ZOR_NOT_SUPPORTED`; `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_CONNECTION_HANDLE ZorRegisterServer(const ZOR_CONNECTION_PARAMETER* connectionParams,
                                                   unsigned paramCount, ZOR_ERROR_INFO* errorInfo);

/**
 * Takes over the conversation for which a gateway started this program.
 *
 * @param argc, argv the command line as `main` got it: the gateway tells there where it is and which
 *        conversation it means. `argv` has to stay as long as the handle. With fewer than two arguments
 *        nothing is taken over, and `ZorListenAndDispatch` returns `ZOR_RETRY`.
 * @param connectionParams further parameters; may be NULL.
 * @return the handle, owned by the caller until `ZorCloseConnection`, or NULL on failure.
 *
 * Failures: those of `ZorRegisterServer`; `ZOR_INVALID_PARAMETER` also when `argv` is NULL.
 */
KELZOR_API ZOR_CONNECTION_HANDLE ZorStartServer(int argc, KEL_UC** argv,
                                                const ZOR_CONNECTION_PARAMETER* connectionParams,
                                                unsigned paramCount, ZOR_ERROR_INFO* errorInfo);

/**
 * Waits for a call and serves it: one call each time.
 *
 * @param timeout seconds; a negative value waits for ever. On a connection whose partner keeps it between
 *        calls, 0 waits for ever too.
 * @return `ZOR_OK` when a call was served. `ZOR_RETRY` when none came in the time: call again.
 *
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_ILLEGAL_STATE` (not a server's connection, or called by a function
 * that the connection serves). `ZOR_COMMUNICATION_FAILURE` and `ZOR_INVALID_PROTOCOL`: gateway or partner are
 * gone, or a partner that keeps the connection has ended: the handle has been closed; open a new one.
 * `ZOR_NOT_FOUND`, `ZOR_AUTHORIZATION_FAILURE`, and what a function returned that wasn't `ZOR_OK`: the
 * partner has its answer, and the handle can be used on.
 */
KELZOR_API ZOR_RC ZorListenAndDispatch(ZOR_CONNECTION_HANDLE zorHandle, int timeout,
                                       ZOR_ERROR_INFO* errorInfo);

/** How a function is called. */
typedef enum ZOR_CALL_TYPE {
    ZOR_SYNCHRONOUS = 0,    /**< The partner waits for the answer. */
    ZOR_TRANSACTIONAL = 1,  /**< As part of a transaction. */
    ZOR_QUEUED = 2,         /**< As part of a transaction with a queue. */
    ZOR_BACKGROUND_UNIT = 3 /**< As part of a background unit. */
} ZOR_CALL_TYPE;

typedef struct ZOR_UNIT_IDENTIFIER ZOR_UNIT_IDENTIFIER; /**< Name of a background unit. */
typedef struct ZOR_UNIT_ATTRIBUTES ZOR_UNIT_ATTRIBUTES; /**< What its sender tells about it. */

/** In which context a function is called. */
typedef struct ZOR_SERVER_CONTEXT {
    ZOR_CALL_TYPE type;
    ZOR_TID tid;                         /**< Transaction; empty outside of one. */
    ZOR_UNIT_IDENTIFIER* unitIdentifier; /**< Background unit; NULL outside of one. */
    ZOR_UNIT_ATTRIBUTES* unitAttributes; /**< The same. */
    unsigned isStateful;                 /**< 1 if the partner keeps the connection between its calls. */
    KEL_UC sessionID[33]; /**< The same for all calls of one session, and for no other session. */
} ZOR_SERVER_CONTEXT;

/**
 * Tells a served function in which context it runs.
 *
 * @param context filled whole; the pointers in it are good until the function returns.
 * Failures: `ZOR_INVALID_HANDLE` (also a connection that serves nobody); `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorGetServerContext(ZOR_CONNECTION_HANDLE zorHandle, ZOR_SERVER_CONTEXT* context,
                                      ZOR_ERROR_INFO* errorInfo);

/**
 * Lets a partner of an automated server keep its connection between calls, or no longer. A function that it
 * calls sets this; it counts from its answer on.
 *
 * @param isStateful 0 or not. On a port of its own a server keeps each connection anyway.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_ILLEGAL_STATE` (not an automated server's connection).
 */
KELZOR_API ZOR_RC ZorSetServerStateful(ZOR_CONNECTION_HANDLE zorHandle, unsigned isStateful,
                                       ZOR_ERROR_INFO* errorInfo);

/** Who wants to call what. Terminated texts, valid during the call of the handler; none of them is NULL. */
typedef struct ZOR_SECURITY_ATTRIBUTES {
    KEL_UC* functionName;
    KEL_UC* sysId;     /**< System of the partner. */
    KEL_UC* client;    /**< Client of its session. */
    KEL_UC* user;      /**< User of its session. */
    KEL_UC* progName;  /**< Program that the partner runs. */
    KEL_UC* vslName;   /**< Name in the secure network; empty where the connection isn't secured. */
    KEL_UC* ssoTicket; /**< Logon ticket; empty if the partner brought none. */
} ZOR_SECURITY_ATTRIBUTES;

/**
 * Decides whether a partner may call a function; runs on the thread that serves the connection, so on several
 * at once. What the attributes say is what the partner says.
 *
 * @param errorInfo zeros; `key`, `message` and the fields of the message go to the partner on a refusal.
 * @return `ZOR_OK` to let the call pass; anything else refuses it with `ZOR_AUTHORIZATION_FAILURE`.
 */
typedef ZOR_RC (*ZOR_ON_AUTHORIZATION_CHECK)(ZOR_CONNECTION_HANDLE zorHandle,
                                             ZOR_SECURITY_ATTRIBUTES* securityAttributes,
                                             ZOR_ERROR_INFO* errorInfo);

/**
 * Installs the handler that all calls of partners have to pass, behind the lists of the connection's
 * parameters; NULL removes it. One for the process. Calls that are in progress keep the one they have seen.
 * Can't fail.
 */
KELZOR_API ZOR_RC ZorInstallAuthorizationCheckHandler(ZOR_ON_AUTHORIZATION_CHECK onAuthorizationCheck,
                                                      ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
