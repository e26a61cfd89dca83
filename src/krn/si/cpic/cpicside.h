/**
 * @file
 * The side information file: what belongs to a symbolic destination. Lines of `name = value`, with blanks
 * allowed around both; a value ends at any of ; # * " tab or the line's end, and lines that begin with * or #
 * are comments. An entry begins at `DEST=name` and lasts until the next one; the entry COMMON_PART gives
 * defaults to all others. Names may be written in either case. Private to the layer.
 */
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "krn/si/cpic/cpic.h"

/** Values of an entry by their key. */
using CPIC_SIDE_INFO = std::map<std::string, std::string, std::less<>>;

/**
 * Reads the entry of a destination. 0, or the code that says why there is none: C_NO_SIDE_INFO, the file
 * can't be read; C_NO_SIDE_INFO_ENTRY. The defaults are there in the second case too.
 */
int STIReadSideInfo(const std::string& path, std::string_view dest, CPIC_SIDE_INFO* entry);
