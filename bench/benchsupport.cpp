#include "benchsupport.h"

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace {

size_t allocationCount = 0;
size_t held = 0;
size_t peak = 0;

}  // namespace

// The library's allocations come here too. Out of line, since a compiler that sees both sides warns of the
// mixture.
[[gnu::noinline]] void* operator new(size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    ++allocationCount;
    held += malloc_usable_size(block);
    peak = std::max(peak, held);
    return block;
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    held -= malloc_usable_size(block);
    std::free(block);
}

void operator delete(void* block, size_t) noexcept {
    operator delete(block);
}

size_t heap::allocations() {
    return allocationCount;
}

size_t heap::heldBytes() {
    return held;
}

size_t heap::peakBytes() {
    return peak;
}

void heap::restartPeak() {
    peak = held;
}

void check(ZOR_RC rc, const ZOR_ERROR_INFO& info) {
    if (rc != ZOR_OK) throw std::runtime_error(info.message);
}

TypeDesc makeType(unsigned fields, unsigned length) {
    ZOR_ERROR_INFO info;
    TypeDesc type(ZorCreateTypeDesc("BENCH", &info));
    for (unsigned i = 0; i < fields; i++) {
        ZOR_FIELD_DESC field{};
        std::snprintf(field.name, sizeof field.name, nameFormat, i);
        field.type = ZORTYPE_INT;
        field.nucLength = sizeof(ZOR_INT);
        field.nucOffset = i * sizeof(ZOR_INT);
        check(ZorAddTypeField(type.get(), &field, &info), info);
    }
    check(ZorSetTypeLength(type.get(), length, 0, &info), info);
    return type;
}

FunctionDesc makeFunctionDesc(unsigned count, const ZOR_PARAMETER_DESC& pattern) {
    ZOR_ERROR_INFO info;
    FunctionDesc desc(ZorCreateFunctionDesc("BENCH", &info));
    for (unsigned i = 0; i < count; i++) {
        ZOR_PARAMETER_DESC parameter = pattern;
        std::snprintf(parameter.name, sizeof parameter.name, nameFormat, i);
        check(ZorAddParameter(desc.get(), &parameter, &info), info);
    }
    return desc;
}
