#include "api/kellogonentries.h"

#include <cstring>

#include "api/frame.h"

namespace zorapi {

namespace {

KEL_UC* copyOf(const KEL_string& name, Allocate allocate) noexcept {
    const size_t size = name.size() + 1;
    void* const copy = allocate(size);
    return copy != nullptr ? static_cast<KEL_UC*>(std::memcpy(copy, name.c_str(), size)) : nullptr;
}

/** False if memory ran out; `count` tells how far the list got. */
bool copyAll(std::span<const KEL_string> names, KEL_UC**& list, unsigned& count, Allocate allocate) noexcept {
    list = static_cast<KEL_UC**>(allocate(names.size() * sizeof *list));
    if (list == nullptr) return false;
    for (const KEL_string& name : names) {
        list[count] = copyOf(name, allocate);
        if (list[count] == nullptr) return false;
        ++count;
    }
    return true;
}

}  // namespace

ZOR_RC makeKellogonEntries(std::span<const KEL_string> names, KEL_UC**& list, unsigned& count,
                           ZOR_ERROR_INFO* info, Allocate allocate) noexcept {
    list = nullptr;
    count = 0;
    if (names.empty())
        return setErrorInfo(info, ZOR_NOT_FOUND, EXTERNAL_RUNTIME_FAILURE, nullptr,
                            "File kellogon.ini could not be found on this system or is empty.");
    if (copyAll(names, list, count, allocate)) return ZOR_OK;
    freeKellogonEntries(list, count);
    return setErrorInfo(info, ZOR_MEMORY_INSUFFICIENT, EXTERNAL_RUNTIME_FAILURE, nullptr,
                        "Out of memory while allocating space for KELLogon ID list.");
}

void freeKellogonEntries(KEL_UC**& list, unsigned& count) noexcept {
    for (; list != nullptr && count > 0; --count)
        std::free(list[count - 1]);
    count = 0;
    std::free(list);
    list = nullptr;
}

}  // namespace zorapi
