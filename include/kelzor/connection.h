/**
 * @file
 * Client connections: open, ping, describe, cancel, close.
 *
 * A handle is valid from a successful open until it is closed, cancelled, or a call on it fails with
 * `ZOR_COMMUNICATION_FAILURE` or `ZOR_INVALID_PROTOCOL`. A handle that is no longer valid is recognised
 * everywhere and gives `ZOR_INVALID_HANDLE`; it is never followed.
 *
 * Threads: a connection carries one call at a time and belongs to the thread that calls on it;
 * `ZorCancel` is the one function meant for a second thread. Different connections are independent.
 */
#ifndef KELZOR_CONNECTION_H
#define KELZOR_CONNECTION_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** One connection parameter: a name (case doesn't matter) and its value, both terminated. */
typedef struct ZOR_CONNECTION_PARAMETER {
    const KEL_UC* name;
    const KEL_UC* value;
} ZOR_CONNECTION_PARAMETER;

/** What is known about a connection. All members are terminated texts; unknown ones are empty. */
typedef struct ZOR_ATTRIBUTES {
    KEL_UC dest[65];                 /**< Destination that the partner gave. */
    KEL_UC host[101];                /**< Own host name. */
    KEL_UC partnerHost[101];         /**< Host of the partner. */
    KEL_UC sysNumber[3];             /**< System number of the partner. */
    KEL_UC sysId[9];                 /**< System id of the partner. */
    KEL_UC client[4];                /**< Client logged on to. */
    KEL_UC user[13];                 /**< User logged on. */
    KEL_UC language[3];              /**< Language key, one character. */
    KEL_UC trace[2];                 /**< Trace level, "0" to "3". */
    KEL_UC isoLanguage[3];           /**< ISO 639 code of the language. */
    KEL_UC codepage[5];              /**< Own code page. */
    KEL_UC partnerCodepage[5];       /**< Code page of the partner. */
    KEL_UC zorRole[2];               /**< "C" client, "S" server. */
    KEL_UC type[2];                  /**< Own type: "E". */
    KEL_UC partnerType[2];           /**< Type of the partner: "3" a back-end system, "E" a program. */
    KEL_UC rel[5];                   /**< Own release. */
    KEL_UC partnerRel[5];            /**< Release of the partner. */
    KEL_UC kernelRel[5];             /**< Kernel release of the partner. */
    KEL_UC cpicConvId[9];            /**< Id of the conversation, 8 characters. */
    KEL_UC progName[129];            /**< Program that the partner runs. */
    KEL_UC partnerBytesPerChar[2];   /**< Bytes of a character on the partner's side: "1" or "2". */
    KEL_UC partnerSystemCodepage[5]; /**< System code page of the partner. */
    KEL_UC reserved[79];             /**< Zero. */
} ZOR_ATTRIBUTES;

/**
 * Opens a connection and logs on.
 *
 * @param connectionParams pairs of name and value; a pair with a NULL or blank name or value counts as
 *        absent, and of two pairs with one name the first counts. Copied; stays the caller's. Names:
 *        `DEST` (a section of kelzor.ini, over which the other parameters go), `ASHOST` and `SYSNR`, or
 *        `GWHOST` and `GWSERV`; `CLIENT`, `USER`, `PASSWD`, `LANG`, `TRACE`, and the further ones that
 *        docs/connection-options.md lists.
 * @param paramCount number of pairs, at least 1.
 * @return the handle, owned by the caller until `ZorCloseConnection`, or NULL on failure.
 *
 * Failures: `ZOR_INVALID_PARAMETER` (an argument, or a parameter's value: correct it);
 * `ZOR_COMMUNICATION_FAILURE` (the gateway can't be reached or broke the line: the text tells which
 * layer failed and why); `ZOR_LOGON_FAILURE` (the partner refused user, password or client);
 * `ZOR_TIMEOUT` (no answer to the logon within 180 seconds); `ZOR_VERSION_MISMATCH`,
 * `ZOR_INVALID_PROTOCOL` (the partner doesn't speak this protocol); `ZOR_UBIX_RUNTIME_FAILURE`;
 * `ZOR_MEMORY_INSUFFICIENT`. After any failure nothing is left behind.
 */
KELZOR_API ZOR_CONNECTION_HANDLE ZorOpenConnection(const ZOR_CONNECTION_PARAMETER* connectionParams,
                                                   unsigned paramCount, ZOR_ERROR_INFO* errorInfo);

/**
 * Closes a connection and frees it. Must not run while another thread calls on the connection.
 * Failure: `ZOR_INVALID_HANDLE` (NULL, or already closed).
 */
KELZOR_API ZOR_RC ZorCloseConnection(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Cancels the call that another thread has running on the connection. That call returns
 * `ZOR_CANCELED` within about a second, and the handle is then no longer valid: the thread that made
 * the call need not close it. The connection must not be closed while this function runs.
 *
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_ILLEGAL_STATE` (no call is running: nothing happens).
 */
KELZOR_API ZOR_RC ZorCancel(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Tells whether a handle belongs to an open connection.
 *
 * @param isValid 1 or 0.
 * @param errorInfo required. `code` holds the result; on an invalid handle it is `ZOR_INVALID_HANDLE`
 *        with "Handle is NULL" or "Handle is already closed"; `key` isn't set.
 */
KELZOR_API ZOR_RC ZorIsConnectionHandleValid(ZOR_CONNECTION_HANDLE zorHandle, int* isValid,
                                             ZOR_ERROR_INFO* errorInfo);

/**
 * Sends an empty call to the partner and waits for its answer. A function that the partner called back may
 * ping it too.
 *
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_COMMUNICATION_FAILURE` (the line is broken: the connection has
 * been closed and the handle is no longer valid); `ZOR_ILLEGAL_STATE`; others leave the connection open.
 */
KELZOR_API ZOR_RC ZorPing(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Fills in what is known about a connection; nothing is sent.
 *
 * @param attr filled whole.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER` (`attr` is NULL).
 */
KELZOR_API ZOR_RC ZorGetConnectionAttributes(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ATTRIBUTES* attr,
                                             ZOR_ERROR_INFO* errorInfo);

/**
 * Gives back what the partner keeps for this session: its programs' memory and, with it, all state that
 * earlier calls left there. Costs one call. The connection stays open and logged on.
 *
 * Failures: those of `ZorInvoke`.
 */
KELZOR_API ZOR_RC ZorResetServerContext(ZOR_CONNECTION_HANDLE zorHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * On the server's side of a connection: the logon ticket that the client brought along.
 *
 * @param ssoTicket takes the ticket, without a terminator.
 * @param length in: characters that the buffer holds, at least 1; out: length of the ticket, also when the
 *        buffer is too small; 0 if the client brought none.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER`; `ZOR_ILLEGAL_STATE` (this is the client's side);
 * `ZOR_BUFFER_TOO_SMALL` (call again with a buffer of `*length`).
 */
KELZOR_API ZOR_RC ZorGetPartnerSSOTicket(ZOR_CONNECTION_HANDLE zorHandle, KEL_UC* ssoTicket, unsigned* length,
                                         ZOR_ERROR_INFO* errorInfo);

/**
 * On the server's side of a connection: the client's name in the secure network, terminated; empty where the
 * connection isn't secured.
 *
 * @param length characters that the buffer holds, the terminator included, at least 1.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_INVALID_PARAMETER`; `ZOR_ILLEGAL_STATE` (this is the client's side).
 */
KELZOR_API ZOR_RC ZorGetPartnerVSLName(ZOR_CONNECTION_HANDLE zorHandle, KEL_UC* vslName, unsigned length,
                                       ZOR_ERROR_INFO* errorInfo);

/**
 * On the server's side of a connection: the client's key in the secure network, for lists of access.
 *
 * @param length in: bytes that the buffer holds, at least 1; out: bytes of the key, 0 where the connection
 *        isn't secured.
 * Failures: as `ZorGetPartnerVSLName`.
 */
KELZOR_API ZOR_RC ZorGetPartnerVSLKey(ZOR_CONNECTION_HANDLE zorHandle, KEL_RAW* vslKey, unsigned* length,
                                      ZOR_ERROR_INFO* errorInfo);

/**
 * Turns a name in the secure network into its key. This build has no secure network layer: after the checks
 * of the arguments the answer is always `ZOR_INVALID_PARAMETER`.
 *
 * @param vslLib path of the security library, or NULL for the default one.
 * @param keyLength in: bytes that `vslKey` holds, at least 1; out: bytes of the key.
 */
KELZOR_API ZOR_RC ZorVSLNameToKey(const KEL_UC* vslLib, const KEL_UC* vslName, KEL_RAW* vslKey,
                                  unsigned* keyLength, ZOR_ERROR_INFO* errorInfo);

/**
 * Turns a key in the secure network into its name. As `ZorVSLNameToKey` in this build.
 *
 * @param keyLength bytes of the key, at least 1.
 * @param nameLength characters that `vslName` holds, the terminator included.
 */
KELZOR_API ZOR_RC ZorVSLKeyToName(const KEL_UC* vslLib, const KEL_RAW* vslKey, unsigned keyLength,
                                  KEL_UC* vslName, unsigned nameLength, ZOR_ERROR_INFO* errorInfo);

/**
 * Called when the partner demands a change of the password while a connection opens, on the thread that
 * opens it. May fill in both passwords and answer `ZOR_OK`; then the password is changed and the connection
 * opens. Any other answer refuses: the opening fails with key and message of `errorInfo`.
 *
 * If the partner refuses the new password, the function is called once more, with that failure in `errorInfo`
 * and empty buffers; what goes wrong after that goes to the caller who opens.
 *
 * @param sysId, user, client who is to change the password, as far as the partner told.
 * @param password takes the present password, `passwordLength` characters; there is room for a terminator
 *        behind them.
 * @param newPassword takes the new one, likewise.
 * @param errorInfo why: `key` is "PASSWORD_INITIAL", "PASSWORD_EXPIRED" or "PASSWORD_RULES_ENFORCED".
 */
typedef ZOR_RC (*ZOR_ON_PASSWORD_CHANGE)(const KEL_UC* sysId, const KEL_UC* user, const KEL_UC* client,
                                         KEL_UC* password, unsigned passwordLength, KEL_UC* newPassword,
                                         unsigned newPasswordLength, ZOR_ERROR_INFO* errorInfo);

/**
 * Installs the function that is called when a password must be changed; NULL uninstalls it. Holds for the
 * whole process. Without one the connection opens all the same, unless `PASSWORD_CHANGE_ENFORCED` is set. The
 * buffers of passwords are wiped when the change is over. Can't fail.
 */
KELZOR_API ZOR_RC ZorInstallPasswordChangeHandler(ZOR_ON_PASSWORD_CHANGE onPasswordChange,
                                                  ZOR_ERROR_INFO* errorInfo);

/**
 * Hands a passport of the end-to-end trace over to the application, or takes one from it, around a call.
 *
 * @param eppBuffer the passport in its network form, `eppBufferSize` bytes of room.
 * @param eppLength bytes of the passport; 0 for none.
 * @return `ZOR_BUFFER_TOO_SMALL` to be called again with twice the room; anything else is done.
 */
typedef ZOR_RC (*ZOR_PM_CALLBACK)(ZOR_CONNECTION_HANDLE zorHandle, const KEL_UC* functionName,
                                  KEL_RAW* eppBuffer, size_t eppBufferSize, size_t* eppLength);

/**
 * Installs the functions that are called before and after each call on a client's and on a server's side;
 * NULL uninstalls one. They hold for the whole process. This build knows no passports yet: it asks for one
 * before each call of a client, the call goes on without it, and the end of a call that succeeded is told to
 * whoever gave one. None comes from a partner. Can't fail.
 */
KELZOR_API ZOR_RC ZorInstallPassportManager(ZOR_PM_CALLBACK onClientCallStart,
                                            ZOR_PM_CALLBACK onClientCallEnd,
                                            ZOR_PM_CALLBACK onServerCallStart,
                                            ZOR_PM_CALLBACK onServerCallEnd, ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
