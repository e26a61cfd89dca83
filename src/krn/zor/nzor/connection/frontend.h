/** @file Starting the desktop front end that shows what the partner's programs display. */
#pragma once

#include "error/zorexception.h"

/** What the front end said when it was started. */
struct FrontEndAnswer {
    bool started = false;
    KEL_string text;  ///< The connect string that the partner needs, or why it didn't start.
};

/** The line that starts the front end: its program, the route that it takes, and its id at the partner. */
KEL_string frontEndCommand(std::string_view systemId, std::string_view route, std::string_view guiId);

/**
 * Starts a command, split at its blanks into at most 20 words, as a process of its own that outlives this
 * one's interest in it, and reads the first line of its standard output:
 *
 *     ZOR_OK=<connect string>, or ZOR_OK, one separator and the connect string
 *     ZOR_ERROR=<why not>
 *
 * Anything else, and no line within `timeoutMs`, is a failure to start.
 */
FrontEndAnswer launchGui(const KEL_string& command, int timeoutMs);
