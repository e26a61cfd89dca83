/** @file Settings of the layer: from the environment, and from NiSetParamEx; private to the layer. */
#pragma once

#include <array>

#include "base/ni/ni.h"

/** A rule of NI_ADDR_POLICY: addresses that begin with the prefix are preferred by this much. */
struct NI_ADDR_RULE {
    NI_NODEADDR prefix{};
    int bits = 0;
    int preference = 0;
};
inline constexpr std::size_t NI_ADDR_RULES = 20;

/** Bits of KEL_NI_HANDLE_LINK_LOCAL_ADDR. Without any, a host's link-local addresses are its last ones. */
inline constexpr int NI_LINK_LOCAL_REFUSE = 1;  ///< They are passed over, as if the host didn't have them.
inline constexpr int NI_LINK_LOCAL_EQUAL = 2;   ///< They are like any other.

/** All settings. The environment counts from the first use of the layer to its end. */
struct NI_SETTINGS {
    bool ipv6 = false;
    bool localOnly = false;
    bool cacheDisabled = false;
    int linkLocal = 0;
    std::array<NI_ADDR_RULE, NI_ADDR_RULES> rules{};
    std::size_t ruleCount = 0;

    KEL_UINT sockBufferSize = 0;
    bool connLocal = true;
    bool autoResolveKelPorts = true;
    bool portRange = false;
    KEL_USHORT minPort = 1;
    KEL_USHORT maxPort = 65535;
    int queueLength = 20;
    NI_NODEADDR localAddr{};  ///< All zero: none.
};

/** A copy of the settings as they are now. */
NI_SETTINGS NiISettings() noexcept;

/** Forgets all settings: the next use reads the environment anew. */
void NiIResetSettings() noexcept;

/** How much an address is preferred by the rules: that of the longest prefix, else 0. */
int NiIPreference(const NI_SETTINGS& settings, const NI_NODEADDR& address) noexcept;

/** Reads rules "prefix/bits,preference;..."; what is no rule is traced and left out. */
void NiIReadAddrPolicy(const KEL_CHAR* text, NI_SETTINGS& settings) noexcept;
