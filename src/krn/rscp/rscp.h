/**
 * @file
 * The code page conversion engine. A converter is set up once, activated, and then used by any number of
 * threads at once: a conversion keeps its state in the caller's pointers, takes no lock and allocates
 * nothing.
 */
#pragma once

#include <kelzor/types.h>

#include <atomic>

#include "krn/rscp/rscpcodepages.h"
#include "krn/rscp/rscppage.h"

/** Results of the engine: bits, though one at a time occurs. */
enum RSCP_RETCODE : int {
    RSCP_OK = 0,
    RSCPEINTERN = 1,     ///< Memory for the tables is short.
    RSCPEINVAL = 16,     ///< Invalid arguments.
    RSCPETOOLONG = 32,   ///< The data was longer than the buffer.
    RSCPEUNIQ = 512,     ///< Input ends within a multi-byte character.
    RSCPENOCONV = 2048,  ///< Wanted conversion not available; while converting: conversion error.
};

/** What happens to a character that the output page doesn't have. */
enum rscpmiss_t { miss_stop = 0, miss_substitute = 1, miss_copy = 3 };

/** What happens to a broken sequence. */
enum rscpbroken_t { broken_stop_finally = 0, broken_like_miss = 1 };

/** Whether control characters between two Unicode forms convert, or count as missing. */
enum rscpCtrlCodeCv_t { CtrlCodeCv_illegal = 0, CtrlCodeCv_try = 1 };

struct rscpCObj_t;
struct RscpCursor;

/** A conversion method: works on the cursor until the input ends or something stops it. */
using rscpMethod = int (*)(const rscpCObj_t& self, RscpCursor& cursor) noexcept;

/** A converter. Members are set by the functions below. */
struct rscpCObj_t {
    KEL_UC ccci_incode[rscpCodepageDigits] = {};
    KEL_UC ccci_outcode[rscpCodepageDigits] = {};
    rscpmiss_t on_miss = miss_stop;
    rscpbroken_t on_broken = broken_stop_finally;
    rscpCtrlCodeCv_t ccci_ctrlcodes = CtrlCodeCv_illegal;
    KEL_UINT ccci_subst_code_U4 = '#';  ///< Number of the substitute character.
    /** Substitutions and copies made by all conversions so far. */
    mutable std::atomic<unsigned> ccci_noof_subst{0};

    /** @name Worked out on activation */
    /** @{ */
    rscpMethod ccci_method = nullptr;  ///< NULL while the converter isn't active.
    const RscpPage* ccci_in_set = nullptr;
    const RscpPage* ccci_out_set = nullptr;
    KEL_RAW ccci_substitute[rscpLongestCode] = {};  ///< The substitute in the output page.
    unsigned ccci_substituteLength = 0;             ///< 0 if that page doesn't have it.
    KEL_RAW ccci_table[256] = {};  ///< Output byte of each input byte, for single-byte pages.
    bool ccci_missing[256] = {};   ///< Input bytes without an output byte.
    bool ccci_complete = false;    ///< No input byte is missing.
    /** @} */
};

/** Starts a converter between two pages of four digits. RSCPEINVAL for a NULL one. */
int rscpCInit(rscpCObj_t& self, const KEL_UC* inCodePage, const KEL_UC* outCodePage, rscpmiss_t onMiss,
              rscpbroken_t onBroken) noexcept;

/** Sets the substitute; without this, and for 0, it is '#'. */
int rscpCSetSubstU4(rscpCObj_t& self, KEL_UINT substitute) noexcept;

/** Sets what happens to control characters between two Unicode forms. */
int rscpCSetCtrlCodeCv(rscpCObj_t& self, rscpCtrlCodeCv_t at_ctrl_code) noexcept;

/**
 * Chooses method and tables. RSCPENOCONV for a page that isn't known, unless both pages are the same;
 * RSCPEINTERN when memory is short. The engine's error text says which.
 */
int rscpCActivate(rscpCObj_t& self) noexcept;

/**
 * Converts from *pp_in up to p_inend into the room from *pp_out up to p_outend and moves both pointers
 * behind the last whole character that was converted. RSCP_OK at the end of the input; RSCPETOOLONG when
 * the room doesn't take the next character; RSCPENOCONV on a character that can't be converted; RSCPEUNIQ
 * when the input ends within a character; RSCPEINVAL when input and output overlap or the converter isn't
 * active. The room behind what was written may have changed only if not all input was converted. A page with
 * escape sequences begins and ends each conversion in ASCII; where a stop would fall
 * behind an escape sequence of its input, the pointers go back to before it.
 */
int rscpCConvert(const rscpCObj_t& self, KEL_RAW** pp_out, KEL_RAW* p_outend, const KEL_RAW** pp_in,
                 const KEL_RAW* p_inend) noexcept;

/** What the calling thread's last failing call of the engine met; empty if none failed. */
const KEL_UC* rscpErrorText() noexcept;
