/** @file What benchmarks of the containers share: counted allocations, owned handles, descriptions. */
#pragma once

#include <kelzor.h>

#include <cstddef>
#include <memory>
#include <type_traits>

/** Allocations of the whole process, the library's included; the benchmarks run in one thread. */
namespace heap {

size_t allocations();
/** Bytes that are allocated now. */
size_t heldBytes();
/** The most bytes that were allocated at one time since the last restartPeak. */
size_t peakBytes();
void restartPeak();

}  // namespace heap

/** Throws std::runtime_error with the record's message unless a call succeeded. */
void check(ZOR_RC rc, const ZOR_ERROR_INFO& info);

template <class Handle, ZOR_RC (*destroy)(Handle, ZOR_ERROR_INFO*)>
struct Destroy {
    void operator()(Handle handle) const { destroy(handle, nullptr); }
};
template <class Handle, ZOR_RC (*destroy)(Handle, ZOR_ERROR_INFO*)>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Destroy<Handle, destroy>>;

using TypeDesc = Owned<ZOR_TYPE_DESC_HANDLE, ZorDestroyTypeDesc>;
using FunctionDesc = Owned<ZOR_FUNCTION_DESC_HANDLE, ZorDestroyFunctionDesc>;

/** Names of fields and parameters: 20 characters. */
inline constexpr const char* nameFormat = "FIELD_OF_A_RECORD_%02u";

/** Integers from the start on, and bytes that no field takes up to the length. */
TypeDesc makeType(unsigned fields, unsigned length);

/** Parameters that are all alike but for their names. */
FunctionDesc makeFunctionDesc(unsigned count, const ZOR_PARAMETER_DESC& pattern);
