/** @file The thread's record behind the error functions; private to this layer. */
#pragma once

#include <array>
#include <string_view>

#include "base/dptrc/err.h"

inline constexpr std::string_view ERR_MARK{"*ERR*\0", 6};

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
