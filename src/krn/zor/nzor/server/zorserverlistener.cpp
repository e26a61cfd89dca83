#include "server/zorserverlistener.h"

#include <mutex>
#include <unordered_map>

#include "config/immortal.h"
#include "server/zorautomatedserver.h"
#include "trace/zortracefunctions.h"

namespace {

/** ms of a wait; as long may the thread go on when nothing is left to wait for. */
constexpr int listenRound = 5000;
/** Seconds for which a select set that fails is left alone. */
constexpr int failurePause = 1;

struct Watch {
    std::mutex cs_zorServer_listener;  ///< Guards the members below.
    std::unordered_map<const ZorConnection*, std::shared_ptr<ZorAutomatedServer>> servers;
    bool running = false;

    /** Whose connection this is; NULL when it is nobody's any more. */
    std::shared_ptr<ZorAutomatedServer> serverOf(const ZorConnection* connection) {
        const std::lock_guard lock(cs_zorServer_listener);
        const auto found = servers.find(connection);
        return found != servers.end() ? found->second : nullptr;
    }

    /** False: nothing is left to wait for, and the thread is no longer the one. */
    bool goesOn() {
        const std::lock_guard lock(cs_zorServer_listener);
        return running = !servers.empty();
    }

    void listenerRun() {
        while (goesOn()) {
            try {
                ZorConnection* const connection = ZorConnection::awaitAny(listenRound);
                if (connection == nullptr) continue;
                if (const auto server = serverOf(connection)) server->connectionReady(connection);
            } catch (const std::exception& failure) {
                ZorLogWrite("Listening for calls failed: %s\n", failure.what());
                std::this_thread::sleep_for(std::chrono::seconds(failurePause));
            }
        }
    }
};

Watch& watch() {
    static Immortal<Watch> all;
    return all.value;
}

}  // namespace

void ZorServerListener::add(const ZorConnection* connection, std::shared_ptr<ZorAutomatedServer> server) {
    const std::lock_guard lock(watch().cs_zorServer_listener);
    watch().servers[connection] = std::move(server);
    if (watch().running) return;
    try {
        zorStartServerThread([] { watch().listenerRun(); });
    } catch (...) {
        watch().servers.erase(connection);
        throw;
    }
    watch().running = true;
}

void ZorServerListener::remove(const ZorConnection* connection) noexcept {
    std::shared_ptr<ZorAutomatedServer> last;  // goes behind the lock
    const std::lock_guard lock(watch().cs_zorServer_listener);
    const auto found = watch().servers.find(connection);
    if (found == watch().servers.end()) return;
    last = std::move(found->second);
    watch().servers.erase(found);
}
