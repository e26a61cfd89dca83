#include "process.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

void die(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

void bindToOneCore() {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(0, &set);
    if (sched_setaffinity(0, sizeof set, &set) != 0) die("can't bind to a core");
}

double secondsOf(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

Child::Child(const std::function<void(int report)>& run) {
    int channel[2];
    if (pipe(channel) != 0) die("pipe");
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        run(channel[1]);
        _exit(0);
    }
    if (read(channel[0], &port_, sizeof port_) != sizeof port_) die("a child did not start");
    close(channel[0]);
    close(channel[1]);
}

Child::~Child() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

void reportPort(int report, std::uint16_t port) {
    if (write(report, &port, sizeof port) != sizeof port) _exit(1);
}

int listenAndReport(int report) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener, 16) != 0)
        _exit(1);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    reportPort(report, ntohs(address.sin_port));
    return listener;
}
