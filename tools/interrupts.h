/**
 * @file
 * Ctrl-C: cancels the calls that are running, and ends the process if that doesn't help.
 */
#pragma once

#include <signal.h>
#include <atomic>
#include <kelzor.hpp>
#include <mutex>
#include <set>
#include <thread>

namespace zortool {

/**
 * While one lives, SIGINT and SIGTERM are taken by a thread of its own. The first cancels all connections
 * that are under watch and sets `stopping`; a second one, or three seconds without an end, ends the process
 * with 128 and the signal's number as exit status. Without a connection under watch the first does so at
 * once.
 */
class Interrupts {
  public:
    Interrupts();
    Interrupts(const Interrupts&) = delete;
    ~Interrupts();

    /** 0, or the signal that came. */
    int stopping() const noexcept { return signal_; }
    /** Exit status after an interrupt. */
    int exitStatus() const noexcept { return 128 + signal_; }

    /** Has a connection cancelled by an interrupt for as long as it lives; it must not end before that. */
    class Watch {
      public:
        Watch(Interrupts& interrupts, const kelzor::Connection& connection);
        Watch(const Watch&) = delete;
        ~Watch();

      private:
        Interrupts& interrupts_;
        const kelzor::Connection& connection_;
    };

  private:
    void run();
    bool cancelAll();
    [[noreturn]] void endProcess() const;

    std::atomic<int> signal_{0};
    std::mutex mutex_; /**< Guards `watched_`; held while the connections in it are cancelled. */
    std::set<const kelzor::Connection*> watched_;
    sigset_t signals_;
    std::thread thread_;
};

}  // namespace zortool
