/** @file The decimal arithmetic library: its binary interface, and its loading. */
#pragma once

#include <cstdint>

#include "base/keldecf/keldecf.h"

/** A working context in the library's layout. */
struct DecfContext {
    std::int32_t digits;
    std::int32_t emax;
    std::int32_t emin;
    std::int32_t round;
    std::uint32_t traps;
    std::uint32_t status;
    std::uint8_t clamp;
};

/** Conditions in `DecfContext::status`. */
enum : std::uint32_t {
    DECF_STATUS_CONVERSION_SYNTAX = 0x0001,
    DECF_STATUS_DIVISION_BY_ZERO = 0x0002,
    DECF_STATUS_DIVISION_IMPOSSIBLE = 0x0004,
    DECF_STATUS_DIVISION_UNDEFINED = 0x0008,
    DECF_STATUS_INSUFFICIENT_STORAGE = 0x0010,
    DECF_STATUS_INEXACT = 0x0020,
    DECF_STATUS_INVALID_CONTEXT = 0x0040,
    DECF_STATUS_INVALID_OPERATION = 0x0080,
    DECF_STATUS_OVERFLOW = 0x0200,
    DECF_STATUS_CLAMPED = 0x0400,
    DECF_STATUS_ROUNDED = 0x0800,
    DECF_STATUS_SUBNORMAL = 0x1000,
    DECF_STATUS_UNDERFLOW = 0x2000,
};

/** The rounding mode of all contexts here. */
inline constexpr std::int32_t DECF_ROUND_HALF_UP = 2;

namespace DecFloatEnv {

/** The result that a context's status stands for. The status is cleared unless that is DECF_OK. */
DECF_RETURN getDECFErrCodeFromStatus(DecfContext& context) noexcept;

}  // namespace DecFloatEnv

/** A number as the library keeps it: room for any of its builds, with up to 36 digits. */
struct DecfNumber {
    alignas(8) KEL_RAW room[128];
};

/** The entries that are called, by the names that the library gives them. */
struct DecfEntries {
    const char* (*decNumberVersion)();
    DecFloat16* (*decimal64FromString)(DecFloat16*, const char*, DecfContext*);
    char* (*decimal64ToString)(const DecFloat16*, char*);
    DecFloat16* (*decimal64FromNumber)(DecFloat16*, const DecfNumber*, DecfContext*);
    DecfNumber* (*decimal64ToNumber)(const DecFloat16*, DecfNumber*);
    DecFloat34* (*decimal128FromString)(DecFloat34*, const char*, DecfContext*);
    char* (*decimal128ToString)(const DecFloat34*, char*);
    DecFloat34* (*decimal128FromNumber)(DecFloat34*, const DecfNumber*, DecfContext*);
    DecfNumber* (*decimal128ToNumber)(const DecFloat34*, DecfNumber*);
    DecfNumber* (*decNumberFromString)(DecfNumber*, const char*, DecfContext*);
    DecfNumber* (*decNumberNormalize)(DecfNumber*, const DecfNumber*, DecfContext*);
    std::int32_t (*decInteger32FromNumber2)(const DecfNumber*, DecfContext*);
    DecfNumber* (*decInteger32ToNumber)(std::int32_t, DecfNumber*);
    double (*decDoubleFromNumber3)(const DecfNumber*, DecfContext*);
};

/** A library to be loaded. What it loads stays until the process ends. */
class DecfLibrary {
  public:
    constexpr explicit DecfLibrary(const char* name) : name(name) {}
    DecfLibrary(const DecfLibrary&) = delete;
    DecfLibrary& operator=(const DecfLibrary&) = delete;

    /** As InitDecFloatLib. */
    DECF_RETURN init(const DecfTrace& trace) noexcept;

    /** The entries, once `init` gave DECF_OK or DECF_WRONG_VERSION. */
    const DecfEntries& operator*() const noexcept { return entries; }
    const DecfEntries* operator->() const noexcept { return &entries; }

  private:
    bool load(const DecfTrace& trace) noexcept;
    bool findEntries(void* library, const DecfTrace& trace) noexcept;
    DECF_RETURN checkVersion(const DecfTrace& trace) const noexcept;

    const char* name;  ///< A file name for the loader's usual places, or a path.
    DecfEntries entries{};
    bool isLoaded = false;
};

/** The process's library, which InitDecFloatLib loads. */
extern DecfLibrary decfLibrary;
