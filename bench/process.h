/** @file Child processes that serve, where they run, and clocks. */
#pragma once

#include <sys/types.h>
#include <time.h>

#include <cstdint>
#include <functional>
#include <string>

[[noreturn]] void die(const std::string& what);

/** Puts this process, and those that it makes from now on, on one core. */
void bindToOneCore();

double secondsOf(clockid_t clock);

/** Tells the parent of a child where it serves. */
void reportPort(int report, std::uint16_t port);

/** Listens on a free port of the loopback interface and reports it: for a child that serves. */
int listenAndReport(int report);

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
