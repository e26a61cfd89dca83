#include "devsys/startedprograms.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

extern char** environ;

namespace zordev {
namespace {

constexpr int END_LIMIT_MS = 1000;

// The process starts with an empty signal mask, no input, and its output with our error output: ours has a
// meaning for whoever started us.
class SpawnSettings {
  public:
    SpawnSettings() {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

int openProcess(pid_t process) {
    return static_cast<int>(syscall(SYS_pidfd_open, process, 0));
}

std::vector<std::string> argumentsOf(const ProgramCommand& command, const StartArguments& arguments) {
    std::vector<std::string> all = command;
    all.push_back("GWHOST=" + arguments.gatewayHost);
    all.push_back("GWSERV=" + arguments.gatewayService);
    if (arguments.conversationId.empty()) {
        all.push_back("TP=" + arguments.programId);
        return all;
    }
    all.push_back("CONVID=" + arguments.conversationId);
    all.push_back(std::string("STREAMING=") + (arguments.streaming ? "1" : "0"));
    return all;
}

// Waits for the end of a process for as long as `limitMs` says; it must still be waited for.
bool awaitEnd(pid_t process, int limitMs) {
    pollfd end = {openProcess(process), POLLIN, 0};
    const bool ended = end.fd < 0 || poll(&end, 1, limitMs) > 0;
    if (end.fd >= 0) close(end.fd);
    return ended;
}

}  // namespace

StartedPrograms::~StartedPrograms() {
    reap();
    for (const pid_t process : processes_)
        kill(process, SIGTERM);
    for (const pid_t process : processes_) {
        if (!awaitEnd(process, END_LIMIT_MS)) kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
}

int StartedPrograms::start(const ProgramCommand& command, const StartArguments& arguments, BridgeEnd bridge) {
    std::vector<std::string> texts = argumentsOf(command, arguments);
    std::vector<char*> argv;
    for (std::string& text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);
    const SpawnSettings settings;
    const std::lock_guard lock(mutex_);
    reap();
    pid_t process = -1;
    errno = posix_spawnp(&process, argv[0], &settings.actions, &settings.attributes, argv.data(), environ);
    if (errno != 0) return -1;
    const int descriptor = openProcess(process);  // before anybody can have waited for it
    processes_.push_back(process);
    const bool expected = descriptor >= 0 && !arguments.conversationId.empty();
    if (expected) expected_.insert_or_assign(arguments.conversationId, std::move(bridge));
    return descriptor;
}

std::optional<BridgeEnd> StartedPrograms::claim(const std::string& conversationId) {
    const std::lock_guard lock(mutex_);
    auto found = expected_.extract(conversationId);
    if (found.empty()) return std::nullopt;
    return std::move(found.mapped());
}

void StartedPrograms::withdraw(const std::string& conversationId) {
    claim(conversationId);
}

unsigned StartedPrograms::running() {
    const std::lock_guard lock(mutex_);
    reap();
    return static_cast<unsigned>(processes_.size());
}

void StartedPrograms::reap() {
    std::erase_if(processes_, [](pid_t process) { return waitpid(process, nullptr, WNOHANG) != 0; });
}

}  // namespace zordev
