/**
 * @file
 * What benchmarks of calls share: a gateway and a bare relay, each in a process of its own, and a connection
 * with the functions that are called.
 */
#pragma once

#include <kelzor.h>
#include <sys/types.h>
#include <time.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

/** Bytes of one block as the driver sends it. */
inline constexpr std::size_t driverBlock = 28000;

[[noreturn]] void die(const std::string& what);

/** Puts this process, and those that it makes from now on, on one core. */
void bindToOneCore();

double secondsOf(clockid_t clock);

/** A child process that reports a port and serves until the parent ends. */
class Child {
  public:
    explicit Child(const std::function<void(int report)>& run);
    Child(const Child&) = delete;
    ~Child();
    std::uint16_t port() const { return port_; }

  private:
    pid_t pid_ = 0;
    std::uint16_t port_ = 0;
};

/** @name What a child runs */
/** @{ */
void serveGateway(int channel);
void serveRelay(int channel);
/** @} */

/** A connection with the functions that the benchmarks call. */
class Session {
  public:
    explicit Session(std::uint16_t port, const char* traceLevel = "0");
    ~Session();
    Session(const Session&) = delete;

    void callScalars();
    /** Gives the table of the call so many rows of 100 bytes. */
    void makeLines(unsigned rows);
    void callLines();

  private:
    void makeScalars();

    ZOR_ERROR_INFO error_{};
    ZOR_CONNECTION_HANDLE connection_ = nullptr;
    ZOR_FUNCTION_HANDLE scalars_ = nullptr;
    ZOR_FUNCTION_HANDLE lines_ = nullptr;
};
