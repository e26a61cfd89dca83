#include "base/ni/nitab.h"

#include <array>
#include <new>

#include "base/ni/nibuf.h"
#include "base/ni/nierr.h"
#include "base/thr/thr.h"

namespace {

constexpr int REUSE_COUNT = 8;  // values of the reuse counter, which is the low part of a handle
constexpr int CHUNK = 256;

/** Entries are made in chunks that never move, so that a handle is looked up without a lock. */
using Chunk = std::array<NITAB, CHUNK>;

THR_CS_TYPE hdl_section;
std::array<std::atomic<Chunk*>, NI_MAX_HANDLES / CHUNK> nitab{};
int ni_max_hdls THR_GUARDED_BY(hdl_section) = 0;
int usedEntries THR_GUARDED_BY(hdl_section) = 0;  // entries that were given out at least once
int firstFree THR_GUARDED_BY(hdl_section) = -1;
std::atomic<unsigned> lostFromSets{0};

NITAB* entryAt(int index) noexcept {
    Chunk* chunk = nitab[static_cast<std::size_t>(index / CHUNK)].load(std::memory_order_acquire);
    return chunk ? &(*chunk)[static_cast<std::size_t>(index % CHUNK)] : nullptr;
}

/** An entry that was never used before; its chunk lives until the process ends. */
int freshEntry() noexcept THR_REQUIRES(hdl_section) {
    if (usedEntries >= ni_max_hdls) return -1;
    if (!entryAt(usedEntries)) {
        std::unique_ptr<Chunk> chunk(new (std::nothrow) Chunk);
        if (!chunk) return -1;
        nitab[static_cast<std::size_t>(usedEntries / CHUNK)].store(chunk.release(),
                                                                   std::memory_order_release);
    }
    NITAB* entry = entryAt(usedEntries);
    if (entry->mHandle == NI_INVALID_HDL) entry->mHandle = usedEntries * REUSE_COUNT;
    return usedEntries++;
}

/** The handle of an entry that had `last` before. 0 is none: programs take it for "no registration". */
NI_HDL nextHandle(int index, NI_HDL last) noexcept {
    const NI_HDL next = index * REUSE_COUNT + (last + 1) % REUSE_COUNT;
    return next != 0 ? next : 1;
}

/** Puts an entry to the free ones. */
void release(NITAB* entry) noexcept {
    entry->mConHdl.reset();
    entry->mLisHdl.reset();
    const ThrCSGuard guard(hdl_section);
    entry->mNextFree = firstFree;
    firstFree = entry->mHandle / REUSE_COUNT;
}

void closeListening(NI_LIS& listening) noexcept {
    SiClose(&listening.mIPSocket);
    SiClose(&listening.mUDSocket);
    // A child process that inherited the handle leaves the file to its maker.
    if (*listening.mPath && listening.mOwner == getpid()) unlink(listening.mPath);
}

}  // namespace

void NiEarly::take(std::size_t count) {
    used += count;
    if (empty()) clear();
}

std::span<KEL_RAW> NiEarly::replace(std::size_t length) noexcept {
    clear();
    if (length == 0) return {};
    try {
        bytes.resize(length);
    } catch (const std::bad_alloc&) {
        return {};
    }
    handles.fetch_add(1, std::memory_order_relaxed);
    some.store(true, std::memory_order_relaxed);
    return bytes;
}

void NiEarly::clear() {
    if (!bytes.empty()) handles.fetch_sub(1, std::memory_order_relaxed);
    bytes.clear();
    used = 0;
    some.store(false, std::memory_order_relaxed);
}

KELRETURN NiTabInit(KEL_INT maxHandles) noexcept {
    if (maxHandles < 1 || maxHandles > NI_MAX_HANDLES) return NIEINVAL;
    const ThrCSGuard guard(hdl_section);
    if (ni_max_hdls == 0) ni_max_hdls = maxHandles;
    return NI_OK;
}

void NiTabExit() noexcept {
    int used;
    {
        const ThrCSGuard guard(hdl_section);
        used = usedEntries;
        ni_max_hdls = 0;
    }
    for (int index = 0; index < used; ++index)
        if (NITAB* entry = entryAt(index); entry->mType >= NI_LISTEN) NiTabFree(entry);
    const ThrCSGuard guard(hdl_section);
    usedEntries = 0;
    firstFree = -1;
}

NITAB* NiTabNew(NI_STAT type) noexcept {
    int index;
    {
        const ThrCSGuard guard(hdl_section);
        index = firstFree;
        if (index >= 0)
            firstFree = entryAt(index)->mNextFree;
        else
            index = freshEntry();
    }
    if (index < 0) return nullptr;
    NITAB* entry = entryAt(index);
    entry->mHandle = nextHandle(index, entry->mHandle);
    entry->mType = type;
    entry->mSelected = 0;
    if (type == NI_INITIAL_CON)
        entry->mConHdl.reset(new (std::nothrow) NI_CON);
    else
        entry->mLisHdl.reset(new (std::nothrow) NI_LIS);
    if (entry->mConHdl || entry->mLisHdl) return entry;
    NiTabFree(entry);
    return nullptr;
}

NI_HDL NiTabReady(NITAB& entry, NI_STAT type) noexcept {
    if (entry.mConHdl) entry.mSocketNo = entry.mConHdl->mSocket.socketNo;
    entry.mType.store(type, std::memory_order_release);
    return entry.mHandle;
}

NITAB* NiTabFind(NI_HDL handle) noexcept {
    if (handle < 0 || handle >= NI_MAX_HANDLES * REUSE_COUNT) return nullptr;
    NITAB* entry = entryAt(handle / REUSE_COUNT);
    if (!entry || entry->mHandle.load(std::memory_order_acquire) != handle) return nullptr;
    return entry->mType.load(std::memory_order_acquire) >= NI_LISTEN ? entry : nullptr;
}

NITAB* NiConFind(NI_HDL handle, const KEL_CHAR* function) noexcept {
    NITAB* entry = NiTabFind(handle);
    if (entry && entry->mType >= NI_CONN_WAIT) return entry;
    NiErrSet(NIEINVAL, {.function = function,
                        .line = __LINE__,
                        .module = __FILE__,
                        .detail = entry ? "parameter invalid (handle type)" : "parameter invalid (handle)"});
    return nullptr;
}

NI_HDL NiTabFindSocket(int socketNo) noexcept {
    int used;
    {
        const ThrCSGuard guard(hdl_section);
        used = usedEntries;
    }
    for (int index = 0; index < used; ++index)
        if (const NITAB* entry = entryAt(index); entry->mSocketNo == socketNo && entry->mType >= NI_LISTEN)
            return entry->mHandle;
    return NI_INVALID_HDL;
}

void NiTabFree(NITAB* entry) noexcept {
    // The type goes first: from here on the handle is stale, and its entry nobody else's yet.
    entry->mType = NI_FREE;
    entry->mSocketNo = -1;
    if (entry->mSelected != 0) lostFromSets.fetch_add(1, std::memory_order_release);
    if (entry->mConHdl) SiClose(&entry->mConHdl->mSocket);
    if (entry->mLisHdl) closeListening(*entry->mLisHdl);
    release(entry);
}

unsigned NiTabLost() noexcept {
    return lostFromSets.load(std::memory_order_acquire);
}
