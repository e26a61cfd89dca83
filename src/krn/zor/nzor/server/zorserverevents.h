/** @file Who wants to know what happens to an automated server. */
#pragma once

#include <kelzor/automatedserver.h>

#include <mutex>
#include <vector>

#include "error/zorexception.h"

class ZorConnection;

/** The listeners of one server and its state. Any thread may call. */
class ZorServerEvents {
  public:
    void addErrorListener(ZOR_SERVER_ERROR_LISTENER listener);
    void addStateListener(ZOR_SERVER_STATE_CHANGE_LISTENER listener);

    /** Tells the error listeners, in their order; without one nothing happens. `conn` may be NULL. */
    void fireErrorInfo(ZOR_SERVER_HANDLE server, const ZorConnection* conn,
                       const ZorBaseException& failure) noexcept;

    ZOR_SERVER_STATE getState() const;
    /**
     * Goes from one state to another, or does nothing in any third state. The listeners hear of it while the
     * state is still the old one and locked; they may ask for it.
     */
    bool changeState(ZOR_SERVER_HANDLE server, ZOR_SERVER_STATE from, ZOR_SERVER_STATE to) noexcept;

  private:
    mutable std::mutex cs_zorServer_listeners;  ///< Guards the two lists, for a moment.
    std::vector<ZOR_SERVER_ERROR_LISTENER> errorListeners;
    std::vector<ZOR_SERVER_STATE_CHANGE_LISTENER> stateChangeListeners;
    mutable std::recursive_mutex cs_zorServer_state;  ///< Guards the state, during the listeners' calls too.
    ZOR_SERVER_STATE state = ZOR_SERVER_INITIAL;
};
