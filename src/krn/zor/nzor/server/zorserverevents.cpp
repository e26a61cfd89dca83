#include "server/zorserverevents.h"

#include "connection/zorconnection.h"
#include "trace/zortracefunctions.h"

namespace {

/** A copy under its lock, to be called without it. */
template <class Listener>
std::vector<Listener> copyOf(const std::vector<Listener>& listeners, std::mutex& mutex) {
    const std::lock_guard lock(mutex);
    return listeners;
}

}  // namespace

void ZorServerEvents::addErrorListener(ZOR_SERVER_ERROR_LISTENER listener) {
    const std::lock_guard lock(cs_zorServer_listeners);
    errorListeners.push_back(listener);
}

void ZorServerEvents::addStateListener(ZOR_SERVER_STATE_CHANGE_LISTENER listener) {
    const std::lock_guard lock(cs_zorServer_listeners);
    stateChangeListeners.push_back(listener);
}

void ZorServerEvents::fireErrorInfo(ZOR_SERVER_HANDLE server, const ZorConnection* conn,
                                    const ZorBaseException& failure) noexcept {
    try {
        const auto listeners = copyOf(errorListeners, cs_zorServer_listeners);
        if (listeners.empty()) return;
        ZorLogWrite("Internal Server Error: %s\n", failure.getMessage().c_str());
        ZOR_ATTRIBUTES attributes;
        if (conn != nullptr) conn->getZorAttributes(attributes);
        for (const auto listener : listeners) {
            ZOR_ERROR_INFO info;
            ZorBaseException(failure.getCode(), failure.getGroup(), {}, failure.getMessage())
                .getErrorInfo(&info);
            callUser([&] {
                listener(server, conn != nullptr ? &attributes : nullptr, &info);
                return ZOR_OK;
            });
        }
    } catch (const std::bad_alloc&) {
        // Then nobody hears of it.
    }
}

ZOR_SERVER_STATE ZorServerEvents::getState() const {
    const std::lock_guard lock(cs_zorServer_state);
    return state;
}

bool ZorServerEvents::changeState(ZOR_SERVER_HANDLE server, ZOR_SERVER_STATE from,
                                  ZOR_SERVER_STATE to) noexcept {
    const std::lock_guard lock(cs_zorServer_state);
    if (state != from) return false;
    try {
        for (const auto listener : copyOf(stateChangeListeners, cs_zorServer_listeners)) {
            ZOR_STATE_CHANGE change = {from, to};
            callUser([&] {
                listener(server, &change);
                return ZOR_OK;
            });
        }
    } catch (const std::bad_alloc&) {
        // The state counts more than who hears of it.
    }
    // A listener may have ended the server.
    if (state != from) return false;
    state = to;
    return true;
}
