/**
 * @file
 * The error information block: one per thread, it says which layer failed last, where, and why. A layer
 * sets it at each failure beside its return code; the block can be printed, and travels between processes.
 * Nothing here is shared between threads, so nothing is locked.
 */
#pragma once

#include <kelzor/types.h>

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "base/dptrc/dptrc.h"

/** Results of the functions below; 0 is success. */
enum ERR_RC : int {
    ERR_OK = 0,
    ERR_TOO_LONG = -1,  ///< The block doesn't fit.
    ERR_NONE = -2,      ///< There is no block.
    ERR_NO_MEMORY = -5,
    ERR_BAD_BLOCK = -6,
    ERR_CONVERSION = -8,
};

/** Fields of the block, by their position. */
enum ERR_FIELD : int {
    ERR_EYECATCHER = 0,
    ERR_BLOCK_VERSION,
    ERR_ERROR,
    ERR_RETURN_CODE,
    ERR_COMPONENT,
    ERR_RELEASE,
    ERR_VERSION,
    ERR_MODULE,
    ERR_LINE,
    ERR_DETAIL,
    ERR_TIME,
    ERR_SYSTEM_CALL,
    ERR_ERRNO,
    ERR_ERRNO_TEXT,
    ERR_COUNTER,
    ERR_LOCATION,
    ERR_DESCR_MSG_NO,
    ERR_DESCR_VARGS,
    ERR_DETAIL_MSG_NO,
    ERR_DETAIL_VARGS,
    ERR_EYECATCHER_END,
    ERR_FIELD_COUNT
};

/** Most bytes of a block, its terminators included. */
inline constexpr std::size_t ERR_BLOCK_MAX = 500;
/** Room for the text form, its terminator included. */
inline constexpr std::size_t ERR_TEXT_MAX = 683;

/**
 * Sets the block. Both formats are printf formats over one argument list, the short one first; each may
 * begin with a message number of 5 characters in brackets. A block that comes out longer than
 * ERR_BLOCK_MAX isn't set, and the one before stays. `module` may be a path: its last part is kept.
 */
int ErrSet(const KEL_CHAR* component, int version, const KEL_CHAR* module, int line,
           const KEL_CHAR* shortFormat, int rc, const KEL_CHAR* detailFormat, ...) noexcept;

/** Whether a failure is worth an entry in the system log, and so a line in the trace. */
enum ERR_LOG { ERR_NO_LOG, ERR_LOG_ENTRY };

/**
 * The same with the system call that failed and its errno (0: none); the arguments are those of the detail.
 * The entry in the log is made whatever becomes of the block.
 */
int ErrSetSys(const KEL_CHAR* component, int version, const KEL_CHAR* module, int line, ERR_LOG log,
              const KEL_CHAR* shortText, int rc, const KEL_CHAR* detailFormat, const KEL_CHAR* systemCall,
              int errorNumber, ...) noexcept;

/** Doubles the per cent signs of a text, so that a format may hold it; what doesn't fit is left out. */
void ErrSafeAsFmtString(const KEL_CHAR* text, std::span<KEL_CHAR> buffer) noexcept;

/** Sets the LOCATION of the blocks that follow, at most 500 characters. */
[[gnu::format(printf, 1, 2)]] int ErrSetMyLocation(const KEL_CHAR* format, ...) noexcept;

/** The LOCATION; empty until it is set. Valid until it is set again. */
const KEL_CHAR* ErrGetMyLocation() noexcept;

/** Drops the block. */
int ErrClear() noexcept;

/** Whether there is a block. */
bool ErrIsAInfo() noexcept;

/** A field of the block, empty if there is none. Valid until the block changes. */
const KEL_CHAR* ErrGetFld(int field) noexcept;

/** Texts by ERR_FIELD, valid until the block changes; empty where a field isn't set, never NULL. */
using ERR_TEXTS = std::array<const KEL_CHAR*, ERR_FIELD_COUNT>;

/** The numbers of a block; 0 where a field isn't set. */
struct ERR_ATTR {
    int rc = 0;
    int version = 0;
    int line = 0;
    int errorNumber = 0;
    int counter = 0;
};

// 0, ERR_NONE or ERR_BAD_BLOCK; on failure all texts are empty, all numbers 0.

/** The fields that the text form shows. */
int ErrGet(ERR_TEXTS& texts) noexcept;
/**
 * The same in a language (its key). The table with translated messages is the back-end's; so the texts are
 * those of the block in any language.
 */
int ErrGetL(KEL_CHAR language, ERR_TEXTS& texts) noexcept;
/** All fields, the message numbers with their arguments too. */
int ErrGetAll(ERR_TEXTS& texts) noexcept;
int ErrGetAttr(ERR_ATTR& attributes) noexcept;

/**
 * The block as lines of label and value, in a buffer of the thread; empty if there is no block. Valid
 * until the next call in this thread.
 */
const KEL_CHAR* ErrPr() noexcept;
/** The same in a language, see ErrGetL. */
const KEL_CHAR* ErrPrL(KEL_CHAR language) noexcept;

/** Writes the block to the trace as a framed entry; nothing if there is no block. */
void ErrTrace(CTRC_HDL handle) noexcept;

/** Text of an errno: static, empty above 9999. An unknown number gives "(n) - illegal errno". */
const KEL_CHAR* ErrPrErrno(int errorNumber) noexcept;
/** The same in a buffer. ERR_TOO_LONG if it doesn't fit, and the buffer is empty then. */
int ErrPrErrno2(int errorNumber, std::span<KEL_CHAR> buffer) noexcept;

/** Copies the block to a buffer. Returns its length in bytes, or an ERR_RC. */
int ErrCpFrom(std::span<KEL_RAW> buffer) noexcept;

/** Takes a block that ErrCpFrom gave. */
int ErrCpTo(std::span<const KEL_RAW> block) noexcept;

/** Writes the block's wire form (UTF-8). `length` is its length in bytes, 0 on failure. */
int ErrCpIntToNet(std::span<KEL_RAW> buffer, std::size_t* length) noexcept;

/**
 * Takes a block in its wire form, UTF-8 or EBCDIC. Data that are no complete block clear the current one
 * (ERR_BAD_BLOCK, ERR_CONVERSION); a block that is too long leaves it (ERR_TOO_LONG).
 */
int ErrCpNetToInt(std::span<const KEL_RAW> data) noexcept;

/** Replaces one field's text; the others stay. ERR_TOO_LONG leaves the block as it was. */
int ErrReplace(int field, std::string_view text) noexcept;

/** Cuts the block to a length; 0 drops it. ERR_TOO_LONG if it isn't that long. */
int ErrSetLength(std::size_t length) noexcept;

/** Version of these functions. */
int ErrVersion() noexcept;
/** Release of the library. ERR_TOO_LONG if the buffer is too small. */
int ErrKelDllRelease(std::span<KEL_CHAR> buffer) noexcept;

/** Keeps the thread's block over a piece of work that may set or clear it. */
class ErrKeeper {
  public:
    ErrKeeper() noexcept : length(ErrCpFrom(block)) {}
    ~ErrKeeper();
    ErrKeeper(const ErrKeeper&) = delete;
    ErrKeeper& operator=(const ErrKeeper&) = delete;

  private:
    KEL_RAW block[ERR_BLOCK_MAX];
    int length;
};
