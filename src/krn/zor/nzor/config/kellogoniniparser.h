/** @file The systems that the logon pad of the desktop front end knows. */
#pragma once

#include <vector>

#include "config/zoroptions.h"

/**
 * The way to the logon pad's list of systems. There is no logon pad on this platform, and so no file of it to
 * find or to parse: the list is empty, and no entry is ever known. A platform that has one reads its list
 * here.
 */
class KELLogonIniParser {
  public:
    /** Adds the names of all entries to `keys`. */
    static void getEntryKeys(std::vector<KEL_string>&) noexcept {}

    /** Sets in `options` what an entry holds; an entry that isn't known leaves them as they are. */
    static void getEntryOptions(const KEL_string&, ZorOptions*) noexcept {}
};
