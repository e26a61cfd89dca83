#include "interrupts.h"

#include <pthread.h>
#include <unistd.h>

#include "secret.h"

namespace zortool {

namespace {

// Wakes the thread so that it ends.
constexpr int endSignal = SIGUSR1;

}  // namespace

Interrupts::Interrupts() {
    sigemptyset(&signals_);
    for (const int signal : {SIGINT, SIGTERM, endSignal})
        sigaddset(&signals_, signal);
    // Before any other thread starts, so that all of them inherit it.
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    thread_ = std::thread([this] { run(); });
}

Interrupts::~Interrupts() {
    pthread_kill(thread_.native_handle(), endSignal);
    thread_.join();
}

void Interrupts::run() {
    int signal = 0;
    if (sigwait(&signals_, &signal) != 0 || signal == endSignal) return;
    signal_ = signal;
    if (!cancelAll()) endProcess();
    const timespec patience{3, 0};
    int next;
    do
        next = sigtimedwait(&signals_, nullptr, &patience);
    while (next < 0 && errno == EINTR);
    if (next != endSignal) endProcess();
}

bool Interrupts::cancelAll() {
    const std::lock_guard lock(mutex_);
    for (const kelzor::Connection* connection : watched_) {
        // One that isn't in a call has nothing to cancel; its thread looks at `stopping` before the next.
        const auto ignored = kelzor::attempt([&] { connection->cancel(); });
        static_cast<void>(ignored);
    }
    return !watched_.empty();
}

void Interrupts::endProcess() const {
    restoreTerminal();
    static constexpr char text[] = "\nzor: interrupted\n";
    if (write(STDERR_FILENO, text, sizeof text - 1) < 0) _exit(exitStatus());
    _exit(exitStatus());
}

Interrupts::Watch::Watch(Interrupts& interrupts, const kelzor::Connection& connection)
    : interrupts_(interrupts), connection_(connection) {
    const std::lock_guard lock(interrupts_.mutex_);
    interrupts_.watched_.insert(&connection_);
}

Interrupts::Watch::~Watch() {
    const std::lock_guard lock(interrupts_.mutex_);
    interrupts_.watched_.erase(&connection_);
}

}  // namespace zortool
