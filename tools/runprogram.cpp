#include "runprogram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

extern char** environ;

namespace zortool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t mostOutput = 256u << 20;  // a program that writes more is killed
constexpr std::size_t keptErrors = 16u << 10;
constexpr int lookAgain = 20;  // milliseconds between looks at a process that can't be waited for

[[noreturn]] void fail(int code, const std::string& what) {
    throw std::system_error(code, std::generic_category(), what);
}

/** A file descriptor, or none. */
class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { end(); }

    int number() const { return number_; }
    void end() {
        if (number_ >= 0) close(std::exchange(number_, -1));
    }

  private:
    int number_;
};

/** A pipe; the own end doesn't block. */
struct Pipe {
    explicit Pipe(bool writes) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) fail(errno, "pipe");
        own = Descriptor(ends[writes ? 1 : 0]);
        theirs = Descriptor(ends[writes ? 0 : 1]);
        fcntl(own.number(), F_SETFL, O_NONBLOCK);
    }
    Descriptor own, theirs;
};

std::mutex runningMutex;                          // guards `running`
std::set<pid_t>& running = *new std::set<pid_t>;  // kept to the end: threads may still run programs then

/** Settings and descriptors of a program that is to be started. */
class Start {
  public:
    Start(const Pipe& in, const Pipe& out, const Pipe& err) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        const int targets[] = {in.theirs.number(), out.theirs.number(), err.theirs.number()};
        for (int i = 0; i < 3; ++i)
            posix_spawn_file_actions_adddup2(&actions_, targets[i], i);
        sigset_t none, changed;
        sigemptyset(&none);
        sigemptyset(&changed);
        for (const int signal : {SIGINT, SIGTERM, SIGPIPE})
            sigaddset(&changed, signal);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &changed);
        posix_spawnattr_setpgroup(&attributes_, 0);
        posix_spawnattr_setflags(&attributes_,
                                 POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    Start(const Start&) = delete;
    ~Start() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }

    pid_t run(const ProgramCall& call) {
        std::vector<char*> arguments = pointers(call.command), environment = pointers(call.environment);
        environment.pop_back();
        for (char** variable = environ; *variable != nullptr; ++variable)
            environment.push_back(*variable);
        environment.push_back(nullptr);
        pid_t pid = 0;
        const std::lock_guard lock(runningMutex);
        const int code =
            posix_spawnp(&pid, arguments[0], &actions_, &attributes_, arguments.data(), environment.data());
        if (code != 0) fail(code, call.command[0]);
        running.insert(pid);
        return pid;
    }

  private:
    /** As the system takes them, with the end's mark. */
    static std::vector<char*> pointers(const std::vector<std::string>& texts) {
        std::vector<char*> list;
        for (const std::string& text : texts)
            list.push_back(const_cast<char*>(text.c_str()));
        list.push_back(nullptr);
        return list;
    }

    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

/** A program that runs: its pipes, and what went through them. */
class Run {
  public:
    explicit Run(const ProgramCall& call) : left_(call.input), deadline_(Clock::now() + call.timeLimit) {
        pid_ = Start(in_, out_, err_).run(call);
        // The C library's own function has no linkage for C++ in all of its releases.
        process_ = Descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
        for (Pipe* pipe : {&in_, &out_, &err_})
            pipe->theirs.end();
    }
    Run(const Run&) = delete;
    ~Run() {
        if (pid_ == 0) return;
        kill(-pid_, SIGKILL);
        reap();
    }

    ProgramOutcome toItsEnd() {
        while (exchange()) {
        }
        if (outcome_.end != ProgramOutcome::End::exited) kill(-pid_, SIGKILL);
        reap();
        return std::move(outcome_);
    }

  private:
    /** Waits for whatever can be done next and does it; false when the program has ended or has to. */
    bool exchange() {
        if (left_.empty()) in_.own.end();
        const long long patience =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
        if (patience <= 0) return give(ProgramOutcome::End::outOfTime);
        const bool ended = await(static_cast<int>(std::min<long long>(patience, 1 << 30)));
        write();
        read(out_.own, outcome_.output);
        read(err_.own, outcome_.errors);
        if (outcome_.errors.size() > 2 * keptErrors)
            outcome_.errors.erase(0, outcome_.errors.size() - keptErrors);
        if (outcome_.output.size() > mostOutput) return give(ProgramOutcome::End::tooMuch);
        // What it wrote before its end was read just now; children that it left behind don't count.
        return !ended;
    }

    /** Waits until something can be done, at most so many milliseconds; whether the program has ended. */
    bool await(int patience) {
        pollfd watched[] = {{process_.number(), POLLIN, 0},
                            {in_.own.number(), POLLOUT, 0},
                            {out_.own.number(), POLLIN, 0},
                            {err_.own.number(), POLLIN, 0}};
        const bool waitable = process_.number() >= 0;
        poll(watched, std::size(watched), waitable ? patience : std::min(patience, lookAgain));
        return waitable ? watched[0].revents != 0 : hasEnded(WNOHANG);
    }

    bool give(ProgramOutcome::End end) {
        outcome_.end = end;
        return false;
    }

    void write() {
        if (left_.empty()) return;
        const ssize_t written = ::write(in_.own.number(), left_.data(), left_.size());
        if (written > 0) left_.remove_prefix(static_cast<std::size_t>(written));
        if (written < 0 && errno != EAGAIN) left_ = {};  // it doesn't want to know
    }

    static void read(Descriptor& from, std::string& text) {
        std::array<char, 16384> room;
        ssize_t got = 1;
        while (text.size() <= mostOutput && (got = ::read(from.number(), room.data(), room.size())) > 0)
            text.append(room.data(), static_cast<std::size_t>(got));
        if (got == 0) from.end();  // otherwise it would be ready for ever
    }

    /** Waits for the end, or looks with WNOHANG. The process stays there: others may be about to kill it. */
    bool hasEnded(int options) {
        while (waitid(P_PID, static_cast<id_t>(pid_), &ended_, WEXITED | WNOWAIT | options) != 0 &&
               errno == EINTR) {
        }
        return ended_.si_pid != 0;
    }

    void reap() {
        hasEnded(0);
        const std::lock_guard lock(runningMutex);
        running.erase(pid_);
        waitpid(std::exchange(pid_, 0), nullptr, 0);
        if (outcome_.end != ProgramOutcome::End::exited) return;
        outcome_.status = ended_.si_status;
        if (ended_.si_code != CLD_EXITED) outcome_.end = ProgramOutcome::End::killed;
    }

    Pipe in_{true}, out_{false}, err_{false};
    std::string_view left_;
    Clock::time_point deadline_;
    pid_t pid_ = 0;
    Descriptor process_;  // ready when the program has ended; none where the system doesn't offer that
    siginfo_t ended_{};
    ProgramOutcome outcome_;
};

}  // namespace

ProgramOutcome runProgram(const ProgramCall& call) {
    return Run(call).toItsEnd();
}

void killPrograms() {
    const std::lock_guard lock(runningMutex);
    for (const pid_t program : running)
        kill(-program, SIGKILL);
}

}  // namespace zortool
