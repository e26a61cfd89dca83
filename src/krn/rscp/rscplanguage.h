/** @file The language keys of the back-end and their ISO 639 codes. */
#pragma once

#include <kelzor/types.h>

/** Result of a conversion of a language: 0, or 1 when the table doesn't have it. */
enum : int { RSCP_LANGUAGE_FOUND = 0, RSCP_LANGUAGE_UNKNOWN = 1 };

/** Stores the one-character key of a two-letter code, whose case doesn't matter. */
int rscpLangIsoToKel(KEL_UC* langPtr, const KEL_UC* laiso) noexcept;

/** Stores the two letters of a one-character key, without a terminator. */
int rscpLangKelToIso(KEL_UC* laiso, const KEL_UC* lang) noexcept;
