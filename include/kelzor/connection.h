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
 * Sends an empty call to the partner and waits for its answer.
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

#ifdef __cplusplus
}
#endif

#endif
