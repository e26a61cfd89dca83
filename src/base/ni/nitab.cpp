#include "base/ni/nitab.h"

#include <array>

#include "base/thr/thr.h"

namespace {

constexpr int MAX_HANDLES = 65536;
constexpr int REUSE_COUNT = 8;  // values of the reuse counter, which is the low part of a handle
constexpr int CHUNK = 256;

/** Entries are made in chunks that never move, so that a handle is looked up without a lock. */
using Chunk = std::array<NITAB, CHUNK>;

THR_CS_TYPE hdl_section;
std::array<std::atomic<Chunk*>, MAX_HANDLES / CHUNK> nitab{};
int ni_max_hdls THR_GUARDED_BY(hdl_section) = 0;
int usedEntries THR_GUARDED_BY(hdl_section) = 0;  // entries that were given out at least once
int firstFree THR_GUARDED_BY(hdl_section) = -1;

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
    entryAt(usedEntries)->mHandle = usedEntries * REUSE_COUNT;
    return usedEntries++;
}

}  // namespace

KELRETURN NiTabInit(KEL_INT maxHandles) noexcept {
    if (maxHandles < 1 || maxHandles > MAX_HANDLES) return NIEINVAL;
    const ThrCSGuard guard(hdl_section);
    if (ni_max_hdls == 0) ni_max_hdls = maxHandles;
    return NI_OK;
}

NITAB* NiTabNew() noexcept {
    const ThrCSGuard guard(hdl_section);
    int index = firstFree;
    if (index >= 0)
        firstFree = entryAt(index)->mNextFree;
    else
        index = freshEntry();
    if (index < 0) return nullptr;
    NITAB* entry = entryAt(index);
    const int count = (entry->mHandle + 1) % REUSE_COUNT;
    entry->mHandle = index * REUSE_COUNT + count;
    entry->mConHdl = {};
    entry->mType = NI_INITIAL_CON;
    return entry;
}

NITAB* NiTabFind(NI_HDL handle) noexcept {
    if (handle < 0 || handle >= MAX_HANDLES * REUSE_COUNT) return nullptr;
    NITAB* entry = entryAt(handle / REUSE_COUNT);
    if (!entry || entry->mHandle.load(std::memory_order_acquire) != handle) return nullptr;
    return entry->mType.load(std::memory_order_acquire) >= NI_LISTEN ? entry : nullptr;
}

void NiTabFree(NITAB* entry) noexcept {
    // The type goes first: from here on the handle is stale, and its entry nobody else's yet.
    entry->mType = NI_FREE;
    SiClose(&entry->mConHdl.mSocket);
    const ThrCSGuard guard(hdl_section);
    entry->mNextFree = firstFree;
    firstFree = entry->mHandle / REUSE_COUNT;
}
