/**
 * @file
 * Return codes, error groups and the error record.
 *
 * Nearly every function takes a `ZOR_ERROR_INFO*` as its last argument. It may be NULL; the return
 * value is exact all the same. At the start of a call only `code` is set to `ZOR_OK`; the other
 * members are meaningful only after a call that returned something else. Read `code` first.
 */
#ifndef KELZOR_ERROR_H
#define KELZOR_ERROR_H

#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Result of a call. The values are fixed. */
typedef enum ZOR_RC {
    ZOR_OK = 0,                    /**< Success. */
    ZOR_COMMUNICATION_FAILURE = 1, /**< The connection broke or could not be made; open a new one. */
    ZOR_LOGON_FAILURE = 2,         /**< The partner refused the logon; correct user, password or client. */
    ZOR_UBIX_RUNTIME_FAILURE = 3,  /**< The partner's program ended with a short dump or system failure. */
    ZOR_UBIX_MESSAGE = 4,        /**< The partner's program ended with a message; see the ubixMsg members. */
    ZOR_UBIX_EXCEPTION = 5,      /**< The function raised one of its exceptions; `key` is its name. */
    ZOR_CLOSED = 6,              /**< The partner closed the connection. */
    ZOR_CANCELED = 7,            /**< The call was cancelled by `ZorCancel`; the connection is closed. */
    ZOR_TIMEOUT = 8,             /**< The partner did not answer the logon in time. */
    ZOR_MEMORY_INSUFFICIENT = 9, /**< Memory ran out; the objects involved are unchanged. */
    ZOR_VERSION_MISMATCH = 10,   /**< The partner speaks a protocol version that is too new. */
    ZOR_INVALID_PROTOCOL =
        11, /**< The partner sent data that break the protocol; the connection is closed. */
    ZOR_SERIALIZATION_FAILURE = 12,       /**< Data could not be packed or unpacked. */
    ZOR_INVALID_HANDLE = 13,              /**< A handle is NULL, closed or of another kind. */
    ZOR_RETRY = 14,                       /**< A server's listen ended without a request. */
    ZOR_EXTERNAL_FAILURE = 15,            /**< A server function reports a failure of its own. */
    ZOR_EXECUTED = 16,                    /**< The transaction was executed before. */
    ZOR_NOT_FOUND = 17,                   /**< What was asked for does not exist. */
    ZOR_NOT_SUPPORTED = 18,               /**< The operation does not exist for this kind of handle. */
    ZOR_ILLEGAL_STATE = 19,               /**< The object's state does not allow the operation. */
    ZOR_INVALID_PARAMETER = 20,           /**< An argument is NULL, unknown or out of range. */
    ZOR_CODEPAGE_CONVERSION_FAILURE = 21, /**< Reserved. */
    ZOR_CONVERSION_FAILURE = 22,          /**< A value has no counterpart in the wanted type or code page. */
    ZOR_BUFFER_TOO_SMALL = 23,            /**< The caller's buffer is too small for the value. */
    ZOR_TABLE_MOVE_BOF = 24,              /**< The row cursor would move before the first row. */
    ZOR_TABLE_MOVE_EOF = 25,              /**< The row cursor would move past the last row. */
    ZOR_START_KELGUI_FAILURE = 26,        /**< The front end could not be attached. */
    ZOR_UBIX_CLASS_EXCEPTION = 27,        /**< The function raised a class exception. */
    ZOR_UNKNOWN_ERROR = 28,               /**< A failure inside the library that has no code of its own. */
    ZOR_AUTHORIZATION_FAILURE = 29,       /**< The server refused access. */
    _ZOR_RC_max_value = 30                /**< End marker. */
} ZOR_RC;

/** Kind of failure. */
typedef enum ZOR_ERROR_GROUP {
    OK = 0,                            /**< No error. */
    UBIX_APPLICATION_FAILURE = 1,      /**< A condition that the called function raised. */
    UBIX_RUNTIME_FAILURE = 2,          /**< A message or system failure that ended the partner's program. */
    LOGON_FAILURE = 3,                 /**< The logon was refused. */
    COMMUNICATION_FAILURE = 4,         /**< Connection, protocol and time-out failures. */
    EXTERNAL_RUNTIME_FAILURE = 5,      /**< What goes wrong inside this library or through its use. */
    EXTERNAL_APPLICATION_FAILURE = 6,  /**< Failures reported by server functions, and ends of iteration. */
    EXTERNAL_AUTHORIZATION_FAILURE = 7 /**< Access refused by the server side. */
} ZOR_ERROR_GROUP;

/** Record of a failure. All texts are terminated within their width. */
typedef struct ZOR_ERROR_INFO {
    ZOR_RC code;             /**< Result of the call. */
    ZOR_ERROR_GROUP group;   /**< Kind of failure. */
    KEL_UC key[128];         /**< Name of the code, or a key that the partner sent. */
    KEL_UC message[512];     /**< Text for a human. */
    KEL_UC ubixMsgClass[21]; /**< Class of the partner's message. */
    KEL_UC ubixMsgType[2];   /**< Type of the partner's message: one character. */
    KEL_UC ubixMsgNumber[4]; /**< Number of the partner's message. */
    KEL_UC ubixMsgV1[51];    /**< First variable of the partner's message. */
    KEL_UC ubixMsgV2[51];    /**< Second variable. */
    KEL_UC ubixMsgV3[51];    /**< Third variable. */
    KEL_UC ubixMsgV4[51];    /**< Fourth variable. */
} ZOR_ERROR_INFO;

#ifdef __cplusplus
}
#endif

#endif
