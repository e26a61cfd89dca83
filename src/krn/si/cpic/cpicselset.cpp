// The select set in which registrations wait for partners, and accepted conversations for data.
//
// The set belongs to the thread that is in KEL_CMLISTEN. Others write down what they want and wake that
// thread by a record; while nobody listens, the set belongs to whoever holds wakeup_cs. Only whoever has the
// set closes a handle that stands in it, so that no number in it is ever another connection's.

#include <algorithm>
#include <cstring>
#include <ctime>
#include <deque>
#include <map>
#include <new>
#include <vector>

#include "base/ni/nisel.h"
#include "base/thr/thr.h"
#include "krn/si/cpic/cpicdata.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpicgw.h"
#include "krn/si/cpic/cpicreg.h"

namespace {

/** Guards all of the set but the wait itself. */
THR_CS_TYPE wakeup_cs;

enum CPIC_MASK : int { CPIC_MASK_ADD = 1, CPIC_MASK_SUB = 2, CPIC_MASK_DEL = 3 };

/** What is asked of the thread that listens. */
struct Record {
    NI_HDL hdl;
    CPIC_MASK mask;
};

/** A handle that is to be in the set. */
struct Waiting {
    void* ptr;
    int idx;                    ///< Place of the entry in the table of conversations.
    std::time_t select_status;  ///< When it was asked for; 0 once it is in the set.
};

struct SelectSet {
    NISEL_HDL set = nullptr;
    NI_WAKEUP_HDL wakeup = NI_INVALID_WAKEUP;
    NI_HDL wakeHandle = NI_INVALID_HDL;
    bool listening = false;  ///< A thread is in the wait.
    std::map<NI_HDL, Waiting> waiting;
    std::deque<NI_HDL> ready;         ///< Have data that no socket shows.
    std::vector<Record> undelivered;  ///< Didn't fit into the pipe.
    std::time_t lastCheck = 0;
};

/** Never destroyed: a thread may listen while the process ends. */
SelectSet& selectSet() THR_REQUIRES(wakeup_cs) {
    static auto* const theSet = new SelectSet;
    return *theSet;
}

/** Makes set and pipe, once. False with the error set. */
bool STIInitSelSet(SelectSet& all) {
    if (all.set) return true;
    NISEL_HDL set = nullptr;
    const KEL_INT size = std::min<KEL_INT>(STInitGlobals().cpic_max_conv + 1, NI_MAX_HANDLES);
    if (NiSelNewSet2(&set, size) != NI_OK) return false;
    if (NiWakeupOpen(&all.wakeup) == NI_OK && NiWakeupAttach(all.wakeup) == NI_OK &&
        NiWakeupGetNiHdl(all.wakeup, &all.wakeHandle) == NI_OK &&
        NiSelSet(set, all.wakeHandle, NI_READ, nullptr) == NI_OK) {
        all.set = set;
        all.lastCheck = std::time(nullptr);
        return true;
    }
    const ErrKeeper keeper;
    NiSelDeleteSet(&set);
    if (all.wakeup != NI_INVALID_WAKEUP) NiWakeupClose(all.wakeup);
    all.wakeup = NI_INVALID_WAKEUP;
    return false;
}

void apply(SelectSet& all, const Record& record) {
    if (record.mask == CPIC_MASK_ADD) {
        const auto found = all.waiting.find(record.hdl);
        if (found == all.waiting.end()) return;  // taken back meanwhile
        // A handle's number comes again: what the set may still keep of an earlier one doesn't count.
        if (NiSelIsMember(all.set, record.hdl)) NiSelClear(all.set, record.hdl, NI_SEL_ALL);
        if (NiSelSet(all.set, record.hdl, NI_READ, nullptr) == NI_OK) found->second.select_status = 0;
        return;
    }
    NiSelClear(all.set, record.hdl, NI_SEL_ALL);
    if (record.mask == CPIC_MASK_DEL) NiCloseHandle(record.hdl);
}

/** Applies a change, or leaves it to the thread that listens. */
void request(SelectSet& all, const Record& record) {
    if (!all.listening) {
        apply(all, record);
        return;
    }
    KEL_RAW bytes[sizeof record];
    std::memcpy(bytes, &record, sizeof record);
    const ErrKeeper keeper;
    const bool behind = !all.undelivered.empty();  // records keep their order
    if (behind || NiWakeupExec2(all.wakeup, bytes, sizeof bytes, 0) != NI_OK)
        all.undelivered.push_back(record);
}

/** Takes a handle out of the set, or does so soon. False if it isn't there: then its owner may close it. */
bool leaveSet(NI_HDL handle, bool close) {
    const ThrCSGuard guard(wakeup_cs);
    SelectSet& all = selectSet();
    all.waiting.erase(handle);
    std::erase(all.ready, handle);
    // Also one that was taken back before stays open until the thread that listens has let go of it.
    if (!NiSelIsMember(all.set, handle)) return false;
    request(all, {handle, close ? CPIC_MASK_DEL : CPIC_MASK_SUB});
    return true;
}

/** Applies what others asked for. */
void drain(SelectSet& all) {
    const ErrKeeper keeper;
    KEL_RAW bytes[sizeof(Record)];
    KEL_INT length = 0;
    while (NiWakeupCollect2(all.wakeup, bytes, sizeof bytes, &length) == NI_OK) {
        Record record;
        if (length != sizeof record) continue;
        std::memcpy(&record, bytes, sizeof record);
        apply(all, record);
    }
    for (const Record& record : all.undelivered)
        apply(all, record);
    all.undelivered.clear();
}

/** Puts back what should be in the set for long and isn't. */
void STICheckSelectMask(SelectSet& all) {
    const CPIC_GLOBALS& globals = STInitGlobals();
    const std::time_t now = std::time(nullptr);
    if (now - all.lastCheck < globals.cpic_select_check_period) return;
    all.lastCheck = now;
    for (auto& [handle, entry] : all.waiting) {
        const bool late =
            entry.select_status == 0 || now - entry.select_status >= globals.cpic_select_check_timeout;
        if (late && !NiSelIsMember(all.set, handle)) apply(all, {handle, CPIC_MASK_ADD});
    }
}

/** Pings where the settings ask for it. A gateway that answers none is reported as ready, to be found dead.
 */
void pingWaiting(SelectSet& all) {
    if (!STInitGlobals().cpic_ping) return;
    for (const auto& [handle, entry] : all.waiting) {
        CONV_PROTO* conv = STIConvAt(entry.idx);
        if (!conv) continue;
        STIPingIfDue(*conv);
        if (conv->gw_conn_lost && std::ranges::find(all.ready, handle) == all.ready.end())
            all.ready.push_back(handle);
    }
}

CPIC_INT limited(CPIC_INT timeout) {
    const CPIC_GLOBALS& globals = STInitGlobals();
    const CPIC_INT period = globals.cpic_ping_period * 1000;
    return globals.cpic_ping && (timeout < 0 || timeout > period) ? period : timeout;
}

/** Makes the calling thread the one that listens. */
CM_RETCODE beginListen(NISEL_HDL* set, bool* ready) {
    const ThrCSGuard guard(wakeup_cs);
    SelectSet& all = selectSet();
    if (!STIInitSelSet(all)) return CM_PRODUCT_SPECIFIC_ERROR;
    if (all.listening) {
        CPIC_ERRSET(C_STATE_CHECK, "another thread is in KEL_CMLISTEN", "");
        return CM_PROGRAM_STATE_CHECK;
    }
    *ready = !all.ready.empty();
    all.listening = true;
    *set = all.set;
    return CM_OK;
}

CM_RETCODE endListen(KELRETURN rc) {
    const ThrCSGuard guard(wakeup_cs);
    SelectSet& all = selectSet();
    all.listening = false;
    drain(all);
    if (rc == NI_OK || !all.ready.empty()) return CM_OK;
    if (rc != NIETIMEOUT) return CM_PRODUCT_SPECIFIC_ERROR;
    STICheckSelectMask(all);
    pingWaiting(all);
    return CM_KEL_TIMEOUT_RETRY;
}

/** The next handle that has something; NI_INVALID_HDL at the end. */
NI_HDL nextReady(SelectSet& all) {
    if (!all.ready.empty()) {
        const NI_HDL handle = all.ready.front();
        all.ready.pop_front();
        return handle;
    }
    const NI_HDL handle = all.set ? NiSelNext(all.set, nullptr, nullptr, nullptr, nullptr) : NI_INVALID_HDL;
    if (handle == all.wakeHandle) drain(all);
    return handle;
}

CM_RETCODE askForData(CONV_PROTO& conv, CPIC_INT length) {
    if (conv.buffer_state == CPIC_BUFFER_LISTEN || conv.local_buffer.bytes_to_read != 0) return CM_OK;
    if (conv.buffer_state == CPIC_BUFFER_EMPTY || conv.buffer_state == CPIC_BUFFER_DEACT)
        conv.buffer_state = CPIC_BUFFER_LISTEN3;
    const CM_RETCODE rc = STIBeginReceive(conv, length);
    if (rc == CM_OK) conv.interrupted_call = CPIC_NO_FUNCTION;
    return rc;
}

}  // namespace

bool STISelSet(CONV_PROTO& conv) noexcept {
    const ThrCSGuard guard(wakeup_cs);
    try {
        SelectSet& all = selectSet();
        if (!STIInitSelSet(all)) return false;
        all.waiting[conv.gw_socket] = {conv.reg.select_set_ptr, conv.idx, std::time(nullptr)};
        if (conv.local_buffer.bytes_to_read != 0) all.ready.push_back(conv.gw_socket);
        request(all, {conv.gw_socket, CPIC_MASK_ADD});
        return true;
    } catch (const std::bad_alloc&) {
        CPIC_ERRSET(C_NO_MEM, "", static_cast<int>(sizeof(Waiting)));
        return false;
    }
}

void STISelDel(CONV_PROTO& conv, bool close) noexcept {
    if (conv.gw_socket == NI_INVALID_HDL) return;
    const bool left = leaveSet(conv.gw_socket, close);
    if (close && !left) NiCloseHandle(conv.gw_socket);
}

CM_RETCODE KEL_CMLISTEN(CPIC_INT timeout, CM_RETCODE* return_code) noexcept {
    NISEL_HDL set = nullptr;
    bool ready = false;
    const CM_RETCODE rc = beginListen(&set, &ready);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    return STIReturn(endListen(NiSelSelect(set, ready ? 0 : limited(timeout))), return_code);
}

CM_RETCODE KEL_CMGETNEXTHDL(CPIC_INT* handle, void** ptr, CM_RETCODE* return_code) noexcept {
    const ThrCSGuard guard(wakeup_cs);
    *handle = 0;
    *ptr = nullptr;
    SelectSet& all = selectSet();
    for (NI_HDL next; (next = nextReady(all)) != NI_INVALID_HDL;) {
        const auto found = all.waiting.find(next);
        if (found == all.waiting.end()) continue;
        *handle = next;
        *ptr = found->second.ptr;
        all.waiting.erase(found);
        std::erase(all.ready, next);
        NiSelClear(all.set, next, NI_SEL_ALL);
        break;
    }
    return STIReturn(CM_OK, return_code);
}

CM_RETCODE KEL_CMLISTEN3(const KEL_RAW* conversation_ID, const CPIC_INT* req_length,
                         CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv;
    CM_RETCODE rc = STIEnter(conversation_ID, CPIC_LISTEN3, "KEL_CMLISTEN3", &conv);
    const CPIC_INT length = req_length ? *req_length : CPIC_LISTEN_LENGTH;
    if (rc == CM_OK && STIBlockTooLong(length)) rc = STIBadArgument("KEL_CMLISTEN3", "req_length", length);
    if (rc == CM_OK) rc = askForData(*conv, length);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    if (conv->local_buffer.bytes_to_read == 0) conv->buffer_state = CPIC_BUFFER_LISTEN;
    return STIReturn(STISelSet(*conv) ? CM_OK : CM_PRODUCT_SPECIFIC_ERROR, return_code);
}
