#include "krn/si/cpic/cpicconv.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "base/thr/thr.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"

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
    conv.gwy_conv_ID = BLANK_CONV_ID;
    conv.appchdr_version = APPCHDR6_VERSION;
    conv.interrupted_call = CPIC_NO_FUNCTION;
    conv.conn_idx = -1;
    conv.continues_send_count = 0;
    conv.gwhost.clear();
    conv.gwserv.clear();
    conv.lu.clear();
    conv.tp.clear();
    conv.gw_socket = NI_INVALID_HDL;
    conv.timeout = -1;
    conv.unsent = {};
    conv.answer_owed = false;
    conv.rem_code_page = {};
    conv.buffer_state = STInitGlobals().cpic_buffering ? CPIC_BUFFER_EMPTY : CPIC_BUFFER_DISABLED;
    conv.buffer_len = 0;
    conv.local_buffer = {};
    conv.cancel_requested = false;
    conv.accept_info = conv.accept_info2 = 0;
    conv.streamingActive = conv.localReceive = false;
    conv.dt_net.reset();
    conv.sequence_no = 0;
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

void STIDEAL(CONV_PROTO& conv) noexcept {
    const ErrKeeper keeper;
    conv.ext_conv_ID = 0;
    if (conv.gw_socket != NI_INVALID_HDL) NiCloseHandle(conv.gw_socket);
    conv.gw_socket = NI_INVALID_HDL;
    const ThrCSGuard guard(conv_proto_cs);
    conv.in_use = false;
}

CM_RETCODE STIQ7LocCheckState(const CONV_PROTO& conv, CPIC_FUNCTION function, const KEL_CHAR* name) noexcept {
    const CPIC_FUNCTION interrupted = conv.interrupted_call;
    if (interrupted == CPIC_NO_FUNCTION || function == interrupted) return CM_OK;
    if (function == CPIC_CMRCV || function == CPIC_CMDEAL || function == CPIC_CMCANCEL) return CM_OK;
    KEL_CHAR id[KEL_CONV_ID_LN + 1] = "";
    std::memcpy(id, conv.gwy_conv_ID.data(), KEL_CONV_ID_LN);
    CPIC_ERRSET(C_STATE_CHECK, "called function %s while function %d is interrupted", id, name, interrupted);
    return CM_PRODUCT_SPECIFIC_ERROR;
}
