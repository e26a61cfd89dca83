/**
 * @file
 * Interface of libkelzorcm.so: calling and serving remote functions of the ZOR protocol.
 *
 * Include this header alone; it brings all families in. It is valid C11 and C++.
 *
 * Rules that hold unless a function says otherwise:
 * - Who creates (`ZorCreate...`, `ZorClone...`, `ZorOpen...`) owns, until the matching
 *   `ZorDestroy...` or `ZorClose...`.
 * - Text that is passed in stays the caller's. Text that is returned as `const KEL_UC*` is the library's.
 * - Lengths of text are in characters, which are bytes; lengths of byte values are in bytes.
 * - Functions may be called from any thread. A data container and a connection belong to one
 *   thread at a time; `ZorCancel` is the one call meant for a second thread.
 * - `errorInfo` may be NULL.
 */
#ifndef KELZOR_H
#define KELZOR_H

#include <kelzor/automatedserver.h>
#include <kelzor/call.h>
#include <kelzor/classes.h>
#include <kelzor/config.h>
#include <kelzor/connection.h>
#include <kelzor/data.h>
#include <kelzor/error.h>
#include <kelzor/function.h>
#include <kelzor/language.h>
#include <kelzor/library.h>
#include <kelzor/metadata.h>
#include <kelzor/objects.h>
#include <kelzor/query.h>
#include <kelzor/repository.h>
#include <kelzor/server.h>
#include <kelzor/table.h>
#include <kelzor/trace.h>
#include <kelzor/types.h>

#endif
