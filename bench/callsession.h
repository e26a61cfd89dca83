/**
 * @file
 * What benchmarks of calls share: a gateway and a bare relay, each in a process of its own, and a connection
 * with the functions that are called.
 */
#pragma once

#include <kelzor.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "process.h"

/** Bytes of one block as the driver sends it. */
inline constexpr std::size_t driverBlock = 28000;

/** @name What a child runs */
/** @{ */
void serveGateway(int channel);
void serveRelay(int channel);
/** @} */

/** The description of ECHO_TEN_SCALARS: ten values in, the same ten back. */
ZOR_FUNCTION_DESC_HANDLE describeScalars();

/** A connection with the functions that the benchmarks call. */
class Session {
  public:
    explicit Session(std::uint16_t port, const char* traceLevel = "0");
    /** With parameters of one's own. */
    explicit Session(const std::vector<ZOR_CONNECTION_PARAMETER>& parameters);
    ~Session();
    Session(const Session&) = delete;

    void callScalars();
    /** Gives the table of the call so many rows of 100 bytes. */
    void makeLines(unsigned rows);
    void callLines();

  private:
    ZOR_ERROR_INFO error_{};
    ZOR_CONNECTION_HANDLE connection_ = nullptr;
    ZOR_FUNCTION_HANDLE scalars_ = nullptr;
    ZOR_FUNCTION_HANDLE lines_ = nullptr;
};
