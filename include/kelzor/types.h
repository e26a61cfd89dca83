/**
 * @file
 * Basic types of the interface: characters, scalars, handles, type and direction numbers.
 *
 * A character (`KEL_UC`) is one byte in the system code page, which is 1100 (Latin-1) unless the
 * environment variable KEL_CODEPAGE says otherwise. Every length in characters is therefore also a
 * length in bytes.
 */
#ifndef KELZOR_TYPES_H
#define KELZOR_TYPES_H

#include <stddef.h>

#if defined(__GNUC__)
#define KELZOR_API __attribute__((visibility("default")))
#else
#define KELZOR_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef char KEL_UC;               /**< One character: one byte. */
typedef char KEL_CHAR;             /**< One character of the lower layers. */
typedef unsigned char KEL_RAW;     /**< One binary byte. */
typedef int KEL_INT;               /**< 32-bit signed integer. */
typedef unsigned int KEL_UINT;     /**< 32-bit unsigned integer. */
typedef short KEL_SHORT;           /**< 16-bit signed integer. */
typedef unsigned short KEL_USHORT; /**< 16-bit unsigned integer. */
typedef long long KEL_LLONG;       /**< 64-bit signed integer. */
typedef double KEL_DOUBLE;         /**< IEEE 754 binary64. */

typedef KEL_UC ZOR_CHAR;        /**< Content of a character field; never terminated inside a record. */
typedef KEL_UC ZOR_NUM;         /**< Content of a digits-only field; never terminated inside a record. */
typedef unsigned char ZOR_BYTE; /**< Content of a byte field. */
typedef double ZOR_FLOAT;       /**< IEEE 754 binary64. */
typedef int ZOR_INT;            /**< 4-byte signed integer. */
typedef unsigned char ZOR_INT1; /**< 1-byte unsigned integer. */
typedef short ZOR_INT2;         /**< 2-byte signed integer. */
typedef long long ZOR_INT8;     /**< 8-byte signed integer. */
typedef KEL_UC ZOR_DATE[8];     /**< YYYYMMDD, not terminated. */
typedef KEL_UC ZOR_TIME[6];     /**< HHMMSS, not terminated. */
typedef KEL_UC ZOR_TID[25];     /**< Transaction id: 24 characters and a terminator. */
typedef KEL_UC ZOR_UNITID[33];  /**< Background unit id: 32 characters and a terminator. */
typedef KEL_UC
    ZOR_UBIX_NAME[31]; /**< Name of a field or parameter: at most 30 characters and a terminator. */

/** IEEE 754-2008 decimal64 in the byte order of the host. */
typedef struct DecFloat16 {
    KEL_RAW bytes[8];
} DecFloat16;

/** IEEE 754-2008 decimal128 in the byte order of the host. */
typedef struct DecFloat34 {
    KEL_RAW bytes[16];
} DecFloat34;

typedef DecFloat16 ZOR_DECF16; /**< Decimal floating point number of 16 digits. */
typedef DecFloat34 ZOR_DECF34; /**< Decimal floating point number of 34 digits. */

/**
 * Type of a field or parameter. The numbers are part of the protocol.
 * "Slot" in the comments is what a field of the type takes up in a record, in bytes.
 */
typedef enum ZORTYPE {
    ZORTYPE_CHAR = 0,         /**< Blank-padded characters; slot: the field's length. */
    ZORTYPE_DATE = 1,         /**< Date YYYYMMDD; slot 8. */
    ZORTYPE_BCD = 2,          /**< Packed decimal, 1 to 16 bytes, sign in the last half-byte. */
    ZORTYPE_TIME = 3,         /**< Time HHMMSS; slot 6. */
    ZORTYPE_BYTE = 4,         /**< Raw bytes, zero padded; slot: the field's length. */
    ZORTYPE_TABLE = 5,        /**< Table; slot: a pointer. */
    ZORTYPE_NUM = 6,          /**< Digits, right aligned, zero padded; slot: the field's length. */
    ZORTYPE_FLOAT = 7,        /**< IEEE 754 binary64; slot 8. */
    ZORTYPE_INT = 8,          /**< 32-bit signed integer; slot 4. */
    ZORTYPE_INT2 = 9,         /**< 16-bit signed integer; slot 2. */
    ZORTYPE_INT1 = 10,        /**< 8-bit unsigned integer; slot 1. */
    ZORTYPE_NULL = 14,        /**< No type. */
    ZORTYPE_UBIXOBJECT = 16,  /**< Object instance; slot: a pointer. */
    ZORTYPE_STRUCTURE = 17,   /**< Nested structure; slot: its length, at least a pointer. */
    ZORTYPE_DECF16 = 23,      /**< Decimal floating point, 64 bits; slot 8. */
    ZORTYPE_DECF34 = 24,      /**< Decimal floating point, 128 bits; slot 16. */
    ZORTYPE_XMLDATA = 28,     /**< Reserved. */
    ZORTYPE_STRING = 29,      /**< Character string of any length; slot: a pointer. */
    ZORTYPE_XSTRING = 30,     /**< Byte string of any length; slot: a pointer. */
    ZORTYPE_INT8 = 31,        /**< 64-bit signed integer; slot 8. */
    ZORTYPE_UTCLONG = 32,     /**< Time stamp, 8 bytes; no accessor. */
    ZORTYPE_UTCSECOND = 33,   /**< Time stamp in seconds, 8 bytes; no accessor. */
    ZORTYPE_UTCMINUTE = 34,   /**< Time stamp in minutes, 8 bytes; no accessor. */
    ZORTYPE_DTDAY = 35,       /**< Date in days, 4 bytes; no accessor. */
    ZORTYPE_DTWEEK = 36,      /**< Date in weeks, 4 bytes; no accessor. */
    ZORTYPE_DTMONTH = 37,     /**< Date in months, 4 bytes; no accessor. */
    ZORTYPE_TSECOND = 38,     /**< Time in seconds, 4 bytes; no accessor. */
    ZORTYPE_TMINUTE = 39,     /**< Time in minutes, 2 bytes; no accessor. */
    ZORTYPE_CDAY = 40,        /**< Calendar day, 2 bytes; no accessor. */
    ZORTYPE_BOX = 41,         /**< Reserved. */
    ZORTYPE_GENERIC_BOX = 42, /**< Reserved. */
    _ZORTYPE_max_value = 43   /**< End marker. */
} ZORTYPE;

/** Direction of a parameter. As bits: 1 goes to the server, 2 comes back, 4 is a table. */
typedef enum ZOR_DIRECTION {
    ZOR_IMPORT = 1,   /**< Sent by the caller. */
    ZOR_EXPORT = 2,   /**< Returned by the server. */
    ZOR_CHANGING = 3, /**< Both ways. */
    ZOR_TABLES = 7    /**< Table parameter, both ways. */
} ZOR_DIRECTION;

/** Where the value of a class attribute lives. */
typedef enum ZOR_CLASS_ATTRIBUTE_TYPE {
    ZOR_CLASS_ATTRIBUTE_INSTANCE = 0, /**< In each instance. */
    ZOR_CLASS_ATTRIBUTE_CLASS = 1,    /**< In the class, once for all instances. */
    ZOR_CLASS_ATTRIBUTE_CONSTANT = 2  /**< In the class, never changed. */
} ZOR_CLASS_ATTRIBUTE_TYPE;

/** What a connection or a server is in the protocol. */
typedef enum ZOR_PROTOCOL_TYPE {
    ZOR_UNKOWN = 0,
    ZOR_CLIENT = 1,                        /**< Calls a partner through a gateway. */
    ZOR_STARTED_SERVER = 2,                /**< A program that a gateway started. */
    ZOR_REGISTERED_SERVER = 3,             /**< One registration at a gateway. */
    ZOR_MULTI_COUNT_REGISTERED_SERVER = 4, /**< An automated server's registrations. */
    ZOR_TCP_SOCKET_CLIENT = 5,             /**< Calls a partner's socket. */
    ZOR_TCP_SOCKET_SERVER = 6              /**< An automated server on a port of its own. */
} ZOR_PROTOCOL_TYPE;

/** State of an automated server. */
typedef enum ZOR_SERVER_STATE {
    ZOR_SERVER_INITIAL = 0,
    ZOR_SERVER_STARTING = 1,
    ZOR_SERVER_RUNNING = 2,
    ZOR_SERVER_BROKEN = 3,
    ZOR_SERVER_STOPPING = 4,
    ZOR_SERVER_STOPPED = 5
} ZOR_SERVER_STATE;

/** @name Handles: opaque pointers to objects of the library. */
/** @{ */
typedef struct ZOR_CONNECTION_OBJECT* ZOR_CONNECTION_HANDLE;     /**< A connection. */
typedef struct ZOR_DATA_CONTAINER_OBJECT* DATA_CONTAINER_HANDLE; /**< Any data container. */
typedef DATA_CONTAINER_HANDLE ZOR_STRUCTURE_HANDLE;              /**< A structure or a table row. */
typedef DATA_CONTAINER_HANDLE ZOR_TABLE_HANDLE;       /**< A table; fields are those of its current row. */
typedef DATA_CONTAINER_HANDLE ZOR_FUNCTION_HANDLE;    /**< A function container; fields are parameters. */
typedef DATA_CONTAINER_HANDLE ZOR_UBIX_OBJECT_HANDLE; /**< An object instance. */
typedef struct ZOR_SERVER_OBJECT* ZOR_SERVER_HANDLE;  /**< An automated server. */
typedef struct ZOR_TYPE_DESC_OBJECT* ZOR_TYPE_DESC_HANDLE; /**< Description of a structure or table row. */
typedef struct ZOR_FUNCTION_DESC_OBJECT* ZOR_FUNCTION_DESC_HANDLE; /**< Description of a function. */
typedef struct ZOR_CLASS_DESC_OBJECT* ZOR_CLASS_DESC_HANDLE;       /**< Description of a class. */
typedef struct ZOR_METADATA_QUERY_RESULT_OBJECT*
    ZOR_METADATA_QUERY_RESULT_HANDLE; /**< What a query for many descriptions found. */
/** @} */

#ifdef __cplusplus
}
#endif

#endif
