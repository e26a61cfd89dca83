#include "program.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "testpaths.h"

namespace fs = std::filesystem;

namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& more) {
    std::vector<std::string> all = more;
    for (char** entry = environ; *entry != nullptr; entry++)
        all.emplace_back(*entry);
    return all;
}

/** A program that doesn't end by itself counts as killed. */
int statusOf(pid_t child) {
    constexpr int LONGEST_MS = 60000;
    int status = 0;
    pollfd end{static_cast<int>(syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
    if (poll(&end, 1, LONGEST_MS) == 0) kill(child, SIGKILL);
    close(end.fd);
    if (waitpid(child, &status, 0) != child) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

std::string contentOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

ToolTest::ToolTest() {
    std::string name = (fs::temp_directory_path() / "zorXXXXXX").string();
    folder = mkdtemp(name.data());
    write("kelzor.ini",
          "DEFAULT\n\nDEST=DEV\nGWHOST=127.0.0.1\nGWSERV=" + system.gatewayService() +
              "\nCLIENT=100\nUSER=DEMO\nPASSWD=welcome\nLANG=EN\n\nDEST=OPEN\nGWHOST=127.0.0.1\nGWSERV=" +
              system.gatewayService() + "\nCLIENT=100\nUSER=DEMO\n");
}

ToolTest::~ToolTest() {
    fs::remove_all(folder);
}

void ToolTest::write(const std::string& file, const std::string& text) const {
    std::ofstream(folder / file, std::ios::binary) << text;
}

Outcome ToolTest::zor(const std::vector<std::string>& arguments, const std::string& input,
                      const std::vector<std::string>& environment) {
    write("input", input);
    std::vector<std::string> words = {KELZOR_ZOR}, variables = environmentWith(environment);
    words.insert(words.end(), arguments.begin(), arguments.end());
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    posix_spawn_file_actions_addopen(&actions, 0, "input", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "out", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, "err", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // A session of its own has no terminal, wherever the tests run.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t child = -1;
    const int failed = posix_spawn(&child, KELZOR_ZOR, &actions, &attributes, pointersTo(words).data(),
                                   pointersTo(variables).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) return {};
    return finish(child);
}

Outcome ToolTest::zorLine(const std::string& line, const std::string& input) {
    std::istringstream words(line);
    return zor({std::istream_iterator<std::string>(words), {}}, input);
}

pid_t ToolTest::start(const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {KELZOR_ZOR};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const std::vector<char*> pointers = pointersTo(words);
    const std::string out = path("out"), err = path("err");
    const pid_t child = fork();
    if (child != 0) return child;
    const int outFile = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int errFile = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (dup2(outFile, 1) < 0 || dup2(errFile, 2) < 0 || chdir(folder.c_str()) != 0) _exit(127);
    execv(KELZOR_ZOR, pointers.data());
    _exit(127);
}

Outcome ToolTest::finish(pid_t child) {
    const int status = statusOf(child);
    return {status, contentOf(path("out")), contentOf(path("err"))};
}

Outcome ToolTest::zorAtTerminal(const std::vector<std::string>& arguments, const std::string& question,
                                const std::string& answer) {
    std::vector<std::string> words = {KELZOR_ZOR};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const std::vector<char*> pointers = pointersTo(words);
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        if (chdir(folder.c_str()) == 0) execv(KELZOR_ZOR, pointers.data());
        _exit(127);
    }
    Outcome outcome;
    bool answered = false;
    char buffer[4096];
    for (ssize_t got; (got = read(terminal, buffer, sizeof buffer)) > 0;) {
        outcome.out.append(buffer, static_cast<std::size_t>(got));
        if (answered || outcome.out.find(question) == std::string::npos) continue;
        answered = ::write(terminal, answer.data(), answer.size()) == static_cast<ssize_t>(answer.size());
    }
    close(terminal);
    outcome.status = statusOf(child);
    return outcome;
}
