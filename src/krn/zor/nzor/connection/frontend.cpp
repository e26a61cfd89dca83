#include "connection/frontend.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <vector>

namespace {

constexpr size_t maxWords = 20;
/** Longest line that is read, in bytes. */
constexpr size_t maxLine = 4096;

constexpr const KEL_UC* programVariable = "KELGUI";
constexpr std::string_view okMark = "ZOR_OK";
constexpr std::string_view errorMark = "ZOR_ERROR=";
constexpr const KEL_UC* notStarted = "The front end could not be started";

using Clock = std::chrono::steady_clock;

std::vector<KEL_string> wordsOf(const KEL_string& command) {
    std::vector<KEL_string> words;
    for (size_t at = command.find_first_not_of(' '); at != KEL_string::npos && words.size() < maxWords;) {
        const size_t end = std::min(command.find(' ', at), command.size());
        words.push_back(command.substr(at, end - at));
        at = command.find_first_not_of(' ', end);
    }
    return words;
}

/**
 * Runs the words with `output` as standard output. The process is a grandchild, which nobody has to wait
 * for. Between the forks and the exec only what is safe in a program with threads may be called.
 */
bool start(std::vector<KEL_string>& words, int output) {
    std::vector<char*> arguments;
    for (KEL_string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child < 0) return false;
    if (child == 0) {
        if (fork() == 0 && dup2(output, STDOUT_FILENO) >= 0) execv(arguments[0], arguments.data());
        _exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return true;
}

/** Waits for bytes; false when the time is over. */
bool readable(int source, Clock::time_point end) {
    pollfd wanted = {source, POLLIN, 0};
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) return false;
        const int rc = poll(&wanted, 1, static_cast<int>(left));
        if (rc > 0) return true;
        if (rc < 0 && errno != EINTR) return false;
    }
}

/** The first line without its end; what came until the end of the output or of the time. */
KEL_string readLine(int source, int timeoutMs) {
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    KEL_string line;
    KEL_UC byte = 0;
    while (line.size() < maxLine && readable(source, end) && read(source, &byte, 1) == 1 && byte != '\n')
        line.push_back(byte);
    return line;
}

FrontEndAnswer understand(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.starts_with(errorMark)) return {false, KEL_string(line.substr(errorMark.size()))};
    if (line.starts_with(okMark) && line.size() > okMark.size())
        return {true, KEL_string(line.substr(okMark.size() + 1))};
    return {false, notStarted};
}

}  // namespace

KEL_string frontEndCommand(std::string_view systemId, std::string_view route, std::string_view guiId) {
    const char* const chosen = std::getenv(programVariable);
    KEL_string command = chosen != nullptr && *chosen != 0
                             ? KEL_string(chosen)
                             : "/usr/kel/" + KEL_string(systemId) + "/SYS/exe/run/kelgui";
    return command.append(" ").append(route).append(" /Zor=").append(guiId);
}

FrontEndAnswer launchGui(const KEL_string& command, int timeoutMs) {
    std::vector<KEL_string> words = wordsOf(command);
    int ends[2];
    if (words.empty() || pipe2(ends, O_CLOEXEC) != 0) return {false, notStarted};
    const bool started = start(words, ends[1]);
    close(ends[1]);
    const KEL_string line = started ? readLine(ends[0], timeoutMs) : KEL_string();
    close(ends[0]);
    return understand(line);
}
