/**
 * @file
 * The code page conversion engine. A converter is set up once, activated, and then used by any number of
 * threads at once: a conversion keeps its state in the caller's pointers.
 */
#pragma once

#include <kelzor/types.h>

#include "krn/rscp/rscpcodepages.h"

/** Results of the engine: bits, though one at a time occurs. */
enum RSCP_RETCODE : int {
    RSCP_OK = 0,
    RSCPEINVAL = 16,     ///< Invalid arguments.
    RSCPETOOLONG = 32,   ///< The data was longer than the buffer.
    RSCPEUNIQ = 512,     ///< Input ends within a multi-byte character.
    RSCPENOCONV = 2048,  ///< Wanted conversion not available; while converting: conversion error.
};

/** What happens to a character that the output page doesn't have. */
enum rscpmiss_t { miss_stop = 0, miss_substitute = 1, miss_copy = 3 };

/** What happens to a broken sequence. */
enum rscpbroken_t { broken_stop_finally = 0, broken_like_miss = 1 };

enum rscpccmeth {
    KELCCM_deactivated = 1,
    KELCCM_direct = 2,        ///< Same page: a copy.
    KELCCM_tab = 4,           ///< Between two single-byte pages, by one table.
    KELCCM_mbconv_tab = 6,    ///< From UTF-8 to a single-byte page.
    KELCCM_tab_mbtunnel = 10  ///< From a single-byte page to UTF-8.
};

/** A converter. Members are set by the functions below. */
struct rscpCObj_t {
    KEL_UC ccci_incode[rscpCodepageDigits];
    KEL_UC ccci_outcode[rscpCodepageDigits];
    rscpmiss_t on_miss;
    rscpbroken_t on_broken;
    KEL_UINT ccci_subst_code_U4;  ///< Number of the substitute character.
    rscpccmeth ccci_method;
    const RscpSingleBytePage* ccci_in_set;   ///< NULL for UTF-8.
    const RscpSingleBytePage* ccci_out_set;  ///< NULL for UTF-8.
    KEL_RAW ccci_table[256];                 ///< Output byte of each input byte, with KELCCM_tab.
    bool ccci_missing[256];                  ///< Input bytes without an output byte, with KELCCM_tab.
    bool ccci_complete;                      ///< No input byte is missing.
};

/** Starts a converter between two pages of four digits. */
int rscpCInit(rscpCObj_t& self, const KEL_UC* inCodePage, const KEL_UC* outCodePage, rscpmiss_t onMiss,
              rscpbroken_t onBroken) noexcept;

/** Sets the substitute; without this it is '#'. */
int rscpCSetSubstU4(rscpCObj_t& self, KEL_UINT substitute) noexcept;

/** Chooses method and tables. RSCPENOCONV for a page that isn't known, unless both pages are the same. */
int rscpCActivate(rscpCObj_t& self) noexcept;

/**
 * Converts from *pp_in up to p_inend into the room from *pp_out up to p_outend and moves both pointers
 * behind the last whole character that was converted. RSCP_OK at the end of the input; RSCPETOOLONG when
 * the room doesn't take the next character; RSCPENOCONV on a character that can't be converted; RSCPEUNIQ
 * when the input ends within a character; RSCPEINVAL when input and output overlap or the converter isn't
 * active.
 */
int rscpCConvert(const rscpCObj_t& self, KEL_RAW** pp_out, KEL_RAW* p_outend, const KEL_RAW** pp_in,
                 const KEL_RAW* p_inend) noexcept;
