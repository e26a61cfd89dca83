#include "base/keldecf/decflibrary.h"

#include <dlfcn.h>
#include <limits.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* libraryName = "libicudecnumber.so";
constexpr int requiredMajor = 3;
constexpr int requiredMinor = 32;

/** Entries that the library must have, so that it is what its name says, though nothing here calls them. */
constexpr const char* uncalledEntries[] = {
    "decPackedFromNumber",
    "decPackedToNumber",
    "decContextDefault",
    "decContextSetStatus",
    "decContextStatusToString",
    "decNumberToString",
    "decNumberCopy",
    "decNumberTrim",
    "decNumberZero",
    "decNumberAbs",
    "decNumberAdd",
    "decNumberCompare",
    "decNumberDivide",
    "decNumberDivideInteger",
    "decNumberExp",
    "decNumberLn",
    "decNumberLog10",
    "decNumberMax",
    "decNumberMin",
    "decNumberMinus",
    "decNumberMultiply",
    "decNumberPlus",
    "decNumberPower",
    "decNumberQuantize",
    "decNumberRemainder",
    "decNumberRemainderNear",
    "decNumberRescale",
    "decNumberSameQuantum",
    "decNumberSquareRoot",
    "decNumberSubtract",
    "decNumberToIntegralValue",
    "decNumberNextMinus",
    "decNumberNextPlus",
};

using Sink = void (*)(const KEL_CHAR*) noexcept;

[[gnu::format(printf, 2, 3)]] void report(Sink sink, const char* format, ...) noexcept {
    if (sink == nullptr) return;
    char text[PATH_MAX + 256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    sink(text);
}

void* openBesideThisLibrary(const char* name) noexcept {
    Dl_info own;
    if (dladdr(&decfLibrary, &own) == 0 || own.dli_fname == nullptr) return nullptr;
    const char* const slash = std::strrchr(own.dli_fname, '/');
    if (slash == nullptr) return nullptr;
    char path[PATH_MAX];
    const int folder = static_cast<int>(slash - own.dli_fname);
    const int length = std::snprintf(path, sizeof path, "%.*s/%s", folder, own.dli_fname, name);
    return length < PATH_MAX ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

/** An entry as a pointer of its type; true if the library has it. */
template <class Entry>
bool find(void* library, const char* libraryName, const char* name, Entry& entry,
          const DecfTrace& trace) noexcept {
    entry = reinterpret_cast<Entry>(dlsym(library, name));
    if (entry == nullptr)
        report(trace.error, "Could not load %s from decimal floating point library %s.\n", name, libraryName);
    else
        report(trace.detail,
               "Function %s successfully loaded from decimal floating point shared library %s.\n", name,
               libraryName);
    return entry != nullptr;
}

}  // namespace

constinit DecfLibrary decfLibrary(libraryName);

DECF_RETURN InitDecFloatLib(const DecfTrace& trace) noexcept {
    return decfLibrary.init(trace);
}

DECF_RETURN DecfLibrary::init(const DecfTrace& trace) noexcept {
    if (isLoaded) return DECF_OK;
    if (!load(trace)) return DECF_NOT_SUPPORTED;
    isLoaded = true;
    return checkVersion(trace);
}

bool DecfLibrary::load(const DecfTrace& trace) noexcept {
    void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) library = openBesideThisLibrary(name);
    if (library == nullptr) {
        report(trace.error, "Could not load decimal floating point shared library %s.\n", name);
        return false;
    }
    report(trace.detail, "Decimal floating point shared library %s successfully loaded.\n", name);
    if (findEntries(library, trace)) return true;
    dlclose(library);
    return false;
}

bool DecfLibrary::findEntries(void* library, const DecfTrace& trace) noexcept {
    DecfEntries found{};
    const auto has = [&](const char* entryName, auto& entry) {
        return find(library, name, entryName, entry, trace);
    };
#define DECF_HAS(entry) has(#entry, found.entry)
    const bool called =
        DECF_HAS(decNumberVersion) && DECF_HAS(decimal64FromString) && DECF_HAS(decimal64ToString) &&
        DECF_HAS(decimal64FromNumber) && DECF_HAS(decimal64ToNumber) && DECF_HAS(decimal128FromString) &&
        DECF_HAS(decimal128ToString) && DECF_HAS(decimal128FromNumber) && DECF_HAS(decimal128ToNumber) &&
        DECF_HAS(decNumberFromString) && DECF_HAS(decNumberNormalize) && DECF_HAS(decInteger32FromNumber2) &&
        DECF_HAS(decInteger32ToNumber) && DECF_HAS(decDoubleFromNumber3);
#undef DECF_HAS
    if (!called) return false;
    for (const char* entryName : uncalledEntries)
        if (void* entry = nullptr; !has(entryName, entry)) return false;
    entries = found;
    return true;
}

DECF_RETURN DecfLibrary::checkVersion(const DecfTrace& trace) const noexcept {
    const char* const text = entries.decNumberVersion();
    const char* const digits = text != nullptr ? std::strpbrk(text, "0123456789") : nullptr;
    const char* const point = digits != nullptr ? std::strchr(digits, '.') : nullptr;
    const int major = point != nullptr ? std::atoi(digits) : 0;
    const int minor = point != nullptr ? std::atoi(point + 1) : 0;
    if (major < requiredMajor || minor < requiredMinor) {
        report(
            trace.error,
            "Wrong version of libdecnumber library: required version is %d.%d but version of loaded library "
            "is %d.%d",
            requiredMajor, requiredMinor, major, minor);
        return DECF_WRONG_VERSION;
    }
    report(trace.detail, "Version of libdecnumber library: %d.%d .\n", major, minor);
    return DECF_OK;
}
