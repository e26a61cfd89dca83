#include "krn/si/cpic/cpicconv.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "base/thr/thr.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpicreg.h"
#include "krn/si/cpic/cpictrc.h"

namespace {

/** Guards the taking and freeing of entries. Entries never move, and live until the process ends. */
THR_CS_TYPE conv_proto_cs;

using Table = std::vector<std::atomic<CONV_PROTO*>>;

/**
 * The table; its length is fixed, the entries are made when they are first needed. It is never freed,
 * since a thread may use it while the process ends.
 */
Table& table() {
    static Table& conv_proto =
        *std::make_unique<Table>(static_cast<std::size_t>(STInitGlobals().cpic_max_conv)).release();
    return conv_proto;
}

/** Entries that were ever taken: a search needs to go no further. */
std::atomic<std::size_t> usedLength{0};

int cpic_curr_conv THR_GUARDED_BY(conv_proto_cs) = 0;
int cpic_peak_conv THR_GUARDED_BY(conv_proto_cs) = 0;

/** The entry that this thread used last. */
thread_local CONV_PROTO* lastConv = nullptr;

CONV_PROTO* takeEntry(std::size_t idx) THR_REQUIRES(conv_proto_cs) {
    Table::value_type& slot = table()[idx];
    if (!slot) {
        std::unique_ptr<CONV_PROTO> fresh(new (std::nothrow) CONV_PROTO);
        if (fresh) fresh->buf.reset(new (std::nothrow) KEL_RAW[CPIC_BUFFER_SIZE]);
        if (!fresh || !fresh->buf) return nullptr;
        fresh->idx = static_cast<int>(idx);
        slot = fresh.release();
        usedLength = idx + 1;
    }
    CONV_PROTO* conv = slot;
    conv->in_use = true;
    return conv;
}

bool has(const CONV_PROTO* conv, std::uint64_t key) {
    return conv && conv->ext_conv_ID.load(std::memory_order_acquire) == key;
}

CONV_PROTO* find(std::uint64_t key) {
    const std::size_t length = usedLength;
    for (std::size_t idx = 0; idx < length; ++idx)
        if (CONV_PROTO* conv = table()[idx]; has(conv, key)) return conv;
    return nullptr;
}

/** An id that no conversation has: digits counted up from the left, else a running number. */
CONV_ID STIGenerateNewConvId(CONV_ID id) THR_REQUIRES(conv_proto_cs) {
    for (KEL_RAW& character : id) {
        for (KEL_RAW digit = '0'; digit <= '9'; ++digit) {
            character = digit;
            if (!find(STIConvKey(id.data()))) return id;
        }
    }
    constexpr unsigned MAX_NUMBER = 99999999;
    static unsigned counter = 0;
    do {
        counter = counter % MAX_NUMBER + 1;
        KEL_CHAR text[9];
        std::snprintf(text, sizeof text, "%08u", counter);
        std::memcpy(id.data(), text, id.size());
    } while (find(STIConvKey(id.data())));
    return id;
}

/** Sets an entry back to its start values; buffer and place stay. */
void STIInitConvProto(CONV_PROTO& conv) {
    const CPIC_GLOBALS& globals = STInitGlobals();
    conv.gwy_conv_ID = BLANK_CONV_ID;
    conv.allocated = false;
    conv.appchdr_version = APPCHDR6_VERSION;
    conv.local_state = NO_LOCAL_STATE;
    conv.interrupted_call = CPIC_NO_FUNCTION;
    conv.int_protocol = GW_PROT_NONE;
    conv.conn_idx = -1;
    conv.continues_send_count = conv.timeouts = 0;
    for (std::string* text : {&conv.gwhost, &conv.gwserv, &conv.lu, &conv.tp})
        text->clear();
    conv.gw_socket = NI_INVALID_HDL;
    conv.gw_conn_lost = false;
    conv.timeout_initialized = false;
    conv.timeout = -1;
    conv.connect_timeout = globals.cpic_connect_timeout;
    conv.unsent = {};
    conv.answer_owed = conv.ping_received = false;
    conv.nicheck = 0;
    conv.nicheck_written = 0;
    conv.rem_code_page = {};
    conv.buffering = globals.cpic_buffering;
    conv.buffer_state = conv.emptyState();
    conv.buffer_len = 0;
    conv.local_buffer = {};
    conv.cancel_requested = false;
    conv.accept_info = conv.accept_info2 = 0;
    conv.trace_raw = globals.cpic_trace_raw;
    conv.trace_appchdr = globals.cpic_trace_appchdr;
    conv.trace_level = 0;
    conv.data_cover = nullptr;
    conv.cover_context = nullptr;
    conv.pieces_sent = conv.pieces_received = 0;
    conv.trace_file = nullptr;
    conv.streamingActive = conv.localReceive = false;
    conv.dt_net.reset();
    conv.sequence_no = 0;
    conv.created = std::time(nullptr);
    conv.last_send = 0;
    conv.vsl_mode = false;
    conv.vsl_state = CPIC_VSL_DISABLED;
    conv.reg = {};
}

void count(int change) THR_REQUIRES(conv_proto_cs) {
    cpic_curr_conv += change;
    cpic_peak_conv = std::max(cpic_peak_conv, cpic_curr_conv);
}

}  // namespace

std::uint64_t STIConvKey(const KEL_RAW* conversation_ID) noexcept {
    std::uint64_t key;
    static_assert(sizeof key == KEL_CONV_ID_LN);
    std::memcpy(&key, conversation_ID, sizeof key);
    return key;
}

CONV_PROTO* STIGetNewConv() noexcept {
    const ThrCSGuard guard(conv_proto_cs);
    for (std::size_t idx = 0; idx < table().size(); ++idx) {
        const CONV_PROTO* present = table()[idx];
        if (present && present->in_use) continue;
        CONV_PROTO* conv = takeEntry(idx);
        if (!conv) {
            CPIC_ERRSET(C_NO_MEM, "", static_cast<int>(CPIC_BUFFER_SIZE));
            return nullptr;
        }
        STIInitConvProto(*conv);
        count(1);
        return conv;
    }
    CPIC_ERRSET(C_MAX_CONV, "", static_cast<int>(table().size()));
    return nullptr;
}

void STIAssignConvId(CONV_PROTO& conv, const CONV_ID& gatewayId) noexcept {
    const ThrCSGuard guard(conv_proto_cs);
    conv.gwy_conv_ID = gatewayId;
    const bool duplicate = find(STIConvKey(gatewayId.data())) != nullptr;
    const CONV_ID id = duplicate ? STIGenerateNewConvId(gatewayId) : gatewayId;
    conv.ext_conv_ID.store(STIConvKey(id.data()), std::memory_order_release);
    lastConv = &conv;
}

CONV_PROTO* STISearchConv(const KEL_RAW* conversation_ID) noexcept {
    const std::uint64_t key = STIConvKey(conversation_ID);
    // 0 is what a free entry has.
    if (key != 0 && has(lastConv, key)) return lastConv;
    if (CONV_PROTO* conv = key != 0 ? find(key) : nullptr) return lastConv = conv;
    KEL_CHAR id[KEL_CONV_ID_LN + 1] = "";
    std::memcpy(id, conversation_ID, KEL_CONV_ID_LN);
    CPIC_ERRSET(C_NO_CONV, "", id);
    return nullptr;
}

CPIC_COUNT STIConvCount() noexcept {
    const ThrCSGuard guard(conv_proto_cs);
    return {cpic_curr_conv, cpic_peak_conv};
}

CONV_PROTO* STIConvAt(int idx) noexcept {
    if (idx < 0 || idx >= STIConvPlaces()) return nullptr;
    CONV_PROTO* conv = table()[static_cast<std::size_t>(idx)];
    return conv && conv->in_use ? conv : nullptr;
}

int STIConvPlaces() noexcept {
    return static_cast<int>(usedLength.load());
}

void STIFreeConv(CONV_PROTO& conv) noexcept {
    conv.ext_conv_ID = 0;
    STILowerTrace(conv);
    const ThrCSGuard guard(conv_proto_cs);
    conv.in_use = false;
    count(-1);
}

void STIDEAL(CONV_PROTO& conv) noexcept {
    const ErrKeeper keeper;
    if (conv.reg.reg_hook >= 0) {
        STIReturnToRegistration(conv);
        return;
    }
    if (conv.local_state == AFTER_REGISTER) {
        STIEndRegistration(conv);
        return;
    }
    STISelDel(conv, true);
    conv.gw_socket = NI_INVALID_HDL;
    STIFreeConv(conv);
}

CPIC_INT STIWaitLimit(const CONV_PROTO& conv) noexcept {
    return conv.timeout_initialized ? conv.timeout : cpic_timeout.load(std::memory_order_relaxed);
}
