/** @file The thread's record behind the error functions; private to this layer. */
#pragma once

#include <array>
#include <string_view>

#include "base/dptrc/err.h"

inline constexpr std::string_view ERR_MARK{"*ERR*\0", 6};
inline constexpr std::string_view ERR_KEL_RELEASE{"753"};

/** All that one thread keeps. */
struct ERR_TH_GLOBALS {
    std::array<KEL_CHAR, ERR_BLOCK_MAX> kel_err_info{};
    std::array<KEL_CHAR, ERR_TEXT_MAX> kel_err_info_str{};
    std::array<KEL_CHAR, ERR_BLOCK_MAX + 1> kel_err_location{};
    std::array<KEL_CHAR, 32> kel_err_errno_str{};
    int kel_err_count = 0;
    std::size_t kel_err_info_ln = 0;  ///< 0: no block.

    std::string_view block() const { return {kel_err_info.data(), kel_err_info_ln}; }
};

/** Texts of a block's fields, in order. */
using ERR_FIELDS = std::array<std::string_view, ERR_FIELD_COUNT>;

/** A field as it is shown, and its label. */
struct ERR_ENTRY {
    ERR_FIELD field;
    std::string_view label;
};

/** The fields that are shown, in their order. */
inline constexpr ERR_ENTRY ERR_ENTRIES[] = {
    {ERR_LOCATION, "LOCATION"},
    {ERR_ERROR, "ERROR"},
    {ERR_TIME, "TIME"},
    {ERR_RELEASE, "RELEASE"},
    {ERR_COMPONENT, "COMPONENT"},
    {ERR_VERSION, "VERSION"},
    {ERR_RETURN_CODE, "RC"},
    {ERR_MODULE, "MODULE"},
    {ERR_LINE, "LINE"},
    {ERR_DETAIL, "DETAIL"},
    {ERR_SYSTEM_CALL, "SYSTEM CALL"},
    {ERR_ERRNO, "ERRNO"},
    {ERR_ERRNO_TEXT, "ERRNO TEXT"},
    {ERR_COUNTER, "COUNTER"},
};

/** The calling thread's record, made at first use; NULL without memory. */
ERR_TH_GLOBALS* ErrIGlobals() noexcept;

/** 0 if the text is a complete block: marked at both ends, with all fields, not too long. */
int ErrICheck(std::string_view block) noexcept;

/** Cuts a complete block into its fields. */
ERR_FIELDS ErrISplit(std::string_view block) noexcept;

/** Puts the fields together as the thread's block. They may point into the present one. */
int ErrIStore(ERR_TH_GLOBALS& globals, const ERR_FIELDS& fields) noexcept;

/** Makes a complete block the thread's. */
void ErrIAssign(ERR_TH_GLOBALS& globals, std::string_view block) noexcept;

/** ErrICheck with its trace, for who wants to read the thread's block. */
int ErrIGet(const ERR_TH_GLOBALS& globals) noexcept;

/** Entry of a failure in the system log, and its line in the trace. */
void ErrITraceLog(const ERR_FIELDS& fields, int errorNumber) noexcept;
/** Trace of a block that came out too long, and so isn't set: else nobody would learn what it said. */
void ErrITraceTooLong(const ERR_FIELDS& fields) noexcept;
/** Trace of a block of the thread that can't be read. */
void ErrITraceUnreadable(std::string_view block) noexcept;
/** Trace of a block from outside that ErrICheck found bad; `function` is who looked at it. */
void ErrITraceBad(const KEL_CHAR* function, std::string_view block, int rc) noexcept;
