/** @file Calls of functions that the library's user gave it. */
#pragma once

#include <cxxabi.h>
#include <kelzor/error.h>

/**
 * Runs work that calls a function of the user. What such a function throws ends here and counts as
 * ZOR_EXTERNAL_FAILURE; the end of a thread, which unwinds likewise, goes its way.
 */
template <class Work>
ZOR_RC callUser(Work&& work) {
    try {
        return work();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return ZOR_EXTERNAL_FAILURE;
    }
}
