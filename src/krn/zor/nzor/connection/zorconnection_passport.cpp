// The places of the passport of the end-to-end trace. Passports themselves aren't known here: the application
// is asked for one before each call, which goes on without it, and is told of the end of a call that it gave
// one for.

#include "connection/usercallback.h"
#include "connection/zorconnection.h"
#include "trace/zortracefunctions.h"

namespace {

/** Bytes that a passport gets at first, and the most that one may ask for. */
constexpr size_t firstPassportRoom = 512;
constexpr size_t mostPassportRoom = 1024 * 1024;

/** The application's functions; each is replaced as a whole. */
struct PassportManager {
    std::atomic<ZOR_PM_CALLBACK> onClientCallStart{nullptr};
    std::atomic<ZOR_PM_CALLBACK> onClientCallEnd{nullptr};
    std::atomic<ZOR_PM_CALLBACK> onServerCallStart{nullptr};
    std::atomic<ZOR_PM_CALLBACK> onServerCallEnd{nullptr};
};
PassportManager passportManager;

}  // namespace

void ZorConnection::installPassportManager(ZOR_PM_CALLBACK onClientCallStart, ZOR_PM_CALLBACK onClientCallEnd,
                                           ZOR_PM_CALLBACK onServerCallStart,
                                           ZOR_PM_CALLBACK onServerCallEnd) noexcept {
    passportManager.onClientCallStart.store(onClientCallStart);
    passportManager.onClientCallEnd.store(onClientCallEnd);
    passportManager.onServerCallStart.store(onServerCallStart);
    passportManager.onServerCallEnd.store(onServerCallEnd);
}

void ZorConnection::onClientCallStart(const KEL_UC* functionName) {
    const ZOR_PM_CALLBACK callback = passportManager.onClientCallStart.load();
    if (callback == nullptr) [[likely]]
        return;
    if (eppBuffer.empty()) eppBuffer.resize(firstPassportRoom);
    askForPassport(callback, functionName);
}

void ZorConnection::onClientCallEnd(const KEL_UC* functionName) {
    if (eppLength == 0) [[likely]]
        return;
    if (const ZOR_PM_CALLBACK callback = passportManager.onClientCallEnd.load())
        askForPassport(callback, functionName);
}

void ZorConnection::askForPassport(ZOR_PM_CALLBACK callback, const KEL_UC* functionName) {
    while (callUser([&] {
               return callback(handle(), functionName, eppBuffer.data(), eppBuffer.size(), &eppLength);
           }) == ZOR_BUFFER_TOO_SMALL) {
        if (eppBuffer.size() >= mostPassportRoom) {
            ZorLogWrite("A passport of more than %zu bytes was left out.\n", mostPassportRoom);
            eppLength = 0;
            break;
        }
        eppBuffer.resize(2 * eppBuffer.size());
    }
    checkStillOpen();
}
