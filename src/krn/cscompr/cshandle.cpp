// The pool of handles.

#include <array>
#include <memory>
#include <mutex>
#include <new>

#include "krn/cscompr/cscompr.h"
#include "krn/cscompr/cslzhinflater.h"

namespace {

constexpr int firstHandle = 300;
constexpr unsigned handleCount = 1000;

struct Slot {
    std::unique_ptr<CsLzhInflater> inflater;  ///< Made at the first use.
    bool inUse = false;
};

std::mutex cs_handles;  // guards which slots are in use; the state in one belongs to who has its handle
std::array<Slot, handleCount> slots;

Slot* slotOf(int handle) noexcept {
    const auto index = static_cast<unsigned>(handle - firstHandle);
    return handle >= firstHandle && index < handleCount ? &slots[index] : nullptr;
}

CsLzhInflater* inflaterOf(int handle) noexcept {
    Slot* const slot = slotOf(handle);
    return slot != nullptr ? slot->inflater.get() : nullptr;
}

/** Begins a stream by its head; 0 or a failure. */
int begin(CsLzhInflater& inflater, std::span<const KEL_RAW, CS_HEAD_SIZE> head) noexcept {
    const long long length = CsRGetLen(head);
    if (length < 0) return static_cast<int>(length);
    if (CsRGetAlgorithm(head) != CS_ALGORITHM_LZH) return CS_E_UNKNOWN_ALG;
    inflater.start(static_cast<std::uint32_t>(length));
    return 0;
}

}  // namespace

int CsRGetHandle(int* handle) noexcept {
    const std::lock_guard lock(cs_handles);
    for (unsigned index = 0; index < handleCount; ++index) {
        Slot& slot = slots[index];
        if (slot.inUse) continue;
        if (slot.inflater == nullptr) slot.inflater.reset(new (std::nothrow) CsLzhInflater);
        if (slot.inflater == nullptr) return CS_E_OUT_OF_MEMORY;
        slot.inflater->start(0);
        slot.inUse = true;
        *handle = firstHandle + static_cast<int>(index);
        return 0;
    }
    return CS_E_NO_FREE_HANDLE;
}

void CsRCloseHandle(int handle) noexcept {
    const std::lock_guard lock(cs_handles);
    if (Slot* const slot = slotOf(handle)) slot->inUse = false;
}

void CsRCloseAllHandles() noexcept {
    const std::lock_guard lock(cs_handles);
    slots = {};
}

int CsRInitDecompress(int handle, std::span<const KEL_RAW, CS_HEAD_SIZE> head) noexcept {
    CsLzhInflater* const inflater = inflaterOf(handle);
    return inflater != nullptr ? begin(*inflater, head) : CS_E_INVALID_HANDLE;
}

int CsRDecompress(int handle, std::span<const KEL_RAW> input, std::span<KEL_RAW> output, int options,
                  std::size_t* bytesRead, std::size_t* bytesWritten) noexcept {
    *bytesRead = *bytesWritten = 0;
    CsLzhInflater* const inflater = inflaterOf(handle);
    if (inflater == nullptr) return CS_E_INVALID_HANDLE;
    if (input.empty() && output.empty()) return CS_E_BOTH_ZERO_LEN;
    std::span<const KEL_RAW> in = input;
    if ((options & CS_INIT_DECOMPRESS) != 0) {
        if (in.size() < CS_HEAD_SIZE) return CS_E_IN_BUFFER_LEN;
        if (const int rc = begin(*inflater, in.first<CS_HEAD_SIZE>()); rc != 0) return rc;
        in = in.subspan(CS_HEAD_SIZE);
    }
    std::span<KEL_RAW> out = output;
    const int rc = inflater->run(in, out);
    *bytesRead = input.size() - in.size();
    *bytesWritten = output.size() - out.size();
    return rc;
}
