/** @file Names and addresses of hosts by the system; private to the layer. */
#pragma once

#include <span>
#include <vector>

#include "base/ni/ni.h"
#include "base/thr/deadline.h"

/** The system's lookups. Both return 0 or a code of the system's resolver, and may throw std::bad_alloc. */
struct NI_RESOLVER {
    /** The addresses of a host; `family` as the system numbers it, AF_UNSPEC for all. */
    int (*forward)(const KEL_CHAR* host, int family, std::vector<NI_NODEADDR>& found);
    /** The name of an address. */
    int (*reverse)(const NI_NODEADDR& address, std::span<KEL_CHAR> name);
};

/** Puts lookups in place of the system's; NULL puts back the system's. For tests. */
void NiISetResolver(const NI_RESOLVER* resolver) noexcept;

/**
 * NiHostToAddr for some protocols, 0 for all, within a time limit. A lookup that takes longer is left to
 * itself; its result isn't kept, and it counts as NIEHOST_UNKNOWN.
 */
KELRETURN NiIHostToAddr(const KEL_CHAR* host, KEL_UINT protocol, const Deadline& deadline,
                        NI_NODEADDR* address) noexcept;

/** Forgets an address: a connection to it failed. */
void NiISetHostInvalid(const NI_NODEADDR& address) noexcept;

/** Empties the caches; whether they keep anything is read from the settings. */
void NiIResetCaches() noexcept;
