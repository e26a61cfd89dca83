#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <semaphore>
#include <thread>

#include "commands.h"
#include "problem.h"
#include "runprogram.h"
#include "servecall.h"
#include "servedfunctions.h"

namespace zortool {

namespace {

/**
 * What this process serves, by names in the library's code page; complete before the first call comes. Never
 * freed: at the end of the process a call that took too long may still run.
 */
std::map<std::string, ServedFunction>& served = *new std::map<std::string, ServedFunction>;

ZOR_RC serveOne(ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO* info) {
    const ZOR_FUNCTION_DESC_HANDLE description = ZorDescribeFunction(call, info);
    ZOR_UBIX_NAME name;
    if (description == nullptr || ZorGetFunctionName(description, name, info) != ZOR_OK) return info->code;
    return serveCall(served.at(name), connection, call, *info);
}

/** The functions of a file, installed for as long as this lives. */
class Installed {
  public:
    explicit Installed(std::vector<ServedFunction> functions) {
        for (ServedFunction& function : functions) {
            const std::string name = function.description.name();
            kelzor::detail::call("ZorInstallServerFunction", ZorInstallServerFunction, nullptr,
                                 function.description.handle(), serveOne);
            served.insert_or_assign(name, std::move(function));
        }
    }
    Installed(const Installed&) = delete;
    ~Installed() {
        for (const auto& [name, function] : served)
            ZorInstallServerFunction(nullptr, function.description.handle(), nullptr, nullptr);
    }
};

void onError(ZOR_SERVER_HANDLE, ZOR_ATTRIBUTES*, ZOR_ERROR_INFO* info) {
    std::fprintf(stderr, "zor: %s\n", kelzor::toUtf8(info->message).c_str());
}

/** An automated server. Its end waits for the programs that run, as long as they may take. */
class Server {
  public:
    Server(const ConnectionParameters& parameters, std::chrono::seconds patience) : patience_(patience) {
        std::vector<ZOR_CONNECTION_PARAMETER> list;
        for (const auto& [name, value] : parameters.all())
            list.push_back({name.c_str(), value.c_str()});
        handle_ = kelzor::detail::obtain("ZorCreateServer", ZorCreateServer, list.data(),
                                         static_cast<unsigned>(list.size()));
        kelzor::detail::call("ZorAddServerErrorListener", ZorAddServerErrorListener, handle_, onError);
    }
    Server(const Server&) = delete;
    ~Server() {
        ZorShutdownServer(handle_, static_cast<unsigned>(patience_.count()), nullptr);
        killPrograms();
        ZorDestroyServer(handle_, nullptr);
    }

    void launch() { kelzor::detail::call("ZorLaunchServer", ZorLaunchServer, handle_); }

  private:
    std::chrono::seconds patience_;
    ZOR_SERVER_HANDLE handle_ = nullptr;
};

/** SIGINT and SIGTERM from here on: made before any other thread, and for good. */
class EndSignals {
  public:
    EndSignals() {
        sigemptyset(&signals_);
        for (const int signal : {SIGINT, SIGTERM})
            sigaddset(&signals_, signal);
        pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
        std::thread([this] { run(); }).detach();
    }

    /** Waits for the first. Until this is called it ends the process at once, as any further one does. */
    void await() {
        awaited_ = true;
        came_.acquire();
    }

  private:
    void run() {
        const int first = wait();
        if (!awaited_) leave(first);
        came_.release();
        leave(wait());
    }
    int wait() const {
        int signal = 0;
        sigwait(&signals_, &signal);
        return signal;
    }
    [[noreturn]] static void leave(int signal) {
        killPrograms();
        _exit(128 + signal);
    }

    sigset_t signals_;
    std::atomic<bool> awaited_{false};
    std::binary_semaphore came_{0};
};

std::vector<ServedFunction> functionsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) throw Problem(exitInput, path + " can't be read");
    return readServedFunctions(parseJson(text, path));
}

void announce(const Settings& settings) {
    Json names = Json::array();
    std::string list;
    for (const auto& [name, function] : served) {
        names.push_back(function.name);
        list += (list.empty() ? "" : ", ") + function.name;
    }
    if (settings.json)
        std::cout << Json{{"serving", names}, {"where", settings.target.where()}}.dump() << std::endl;
    else
        std::cout << "serving " << list << " at " << settings.target.where() << std::endl;
}

}  // namespace

int serve(Settings& settings, const ServeOptions& options) {
    std::vector<ServedFunction> functions = functionsOf(options.file);
    settings.target.prepare(Target::Role::server);
    static EndSignals& signals = *new EndSignals;  // its thread never ends
    signal(SIGPIPE, SIG_IGN);  // a program that doesn't read its input is no reason to end
    const Installed installed(std::move(functions));
    const auto run = kelzor::attempt([&] {
        Server server(settings.target.list(), std::chrono::seconds(options.patience));
        server.launch();
        announce(settings);
        signals.await();
        std::cout << "ending; calls that run have " << options.patience << " seconds" << std::endl;
    });
    if (!run) throw Problem(run.error(), "serving", settings.target.where());
    return 0;
}

}  // namespace zortool
