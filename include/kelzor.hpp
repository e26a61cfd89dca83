/**
 * @file
 * The interface of libkelzorcm.so for C++20: a layer over <kelzor.h> that stands in headers alone.
 *
 * Include this header alone. It needs no library but libkelzorcm.so, and it hides nothing: every class gives
 * its C handle by `handle()`, so what has no method here is called in C.
 *
 *     auto connection = kelzor::Connection::open({{"DEST", "BACKEND"}, {"PASSWD", password}});
 *     kelzor::Function call(description);
 *     call.set("LANGUAGE", "DE");
 *     connection.invoke(call);
 *     for (const auto row : call.table("COUNTRIES"))
 *         std::cout << row.text("NAME") << '\n';
 *
 * Three kinds of classes:
 * - Owners (`Connection`, `Function`, `Structure`, `Table`, `Object`, `TypeBuilder`, `FunctionBuilder`,
 *   `ClassBuilder`) end what they hold in their destructor. They move and don't copy.
 * - Views (`StructureView`, `TableView`, `ObjectView`, `TypeView`, `FunctionView`, `ClassView`) are handles
 *   with methods: cheap to copy, valid as long as what they show. An owner of a container is also a view of
 * it.
 * - Values: `Error`, `Result`, and the descriptors of the C interface.
 *
 * Failures are thrown as `kelzor::Error`, which holds the whole error record; `kelzor::attempt` turns a
 * failure into a value. A method that fails leaves its object as it was, unless the C function behind it
 * says otherwise. Threads: as in C, see docs/conventions.md.
 */
#ifndef KELZOR_HPP
#define KELZOR_HPP

#include <kelzor.h>
#include <kelzor/connection.hpp>
#include <kelzor/data.hpp>
#include <kelzor/error.hpp>
#include <kelzor/metadata.hpp>
#include <kelzor/process.hpp>
#include <kelzor/text.hpp>

#endif
