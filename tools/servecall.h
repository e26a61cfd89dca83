/** @file One call of a partner: values out to a program as JSON, results and failures back. */
#pragma once

#include <kelzor.h>

#include "servedfunctions.h"

namespace zortool {

/**
 * Runs the program of a function for a call: parameters on its standard input, results from its standard
 * output. Fills `info` and returns its code where that isn't `ZOR_OK`:
 *
 *  - `ZOR_UBIX_EXCEPTION`: it ended with another status than 0, and the first word that it wrote on its
 *    standard error is one of the function's exceptions.
 *  - `ZOR_UBIX_MESSAGE`: it ended so, and the message is what it wrote there.
 *  - `ZOR_EXTERNAL_FAILURE`: it couldn't be run, was killed, took too long, or its output makes no sense.
 *
 * Failures are also told on the standard error of this process. Any thread may call this.
 */
ZOR_RC serveCall(const ServedFunction& function, ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call,
                 ZOR_ERROR_INFO& info);

}  // namespace zortool
