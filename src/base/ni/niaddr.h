/** @file Addresses of the system and of this layer; private to the layer. */
#pragma once

#include <netinet/in.h>
#include <sys/un.h>

#include "base/ni/ni.h"
#include "base/ni/niparam.h"
#include "base/si/si.h"

/** Whether IPv6 is used. */
bool NiIPv6Active() noexcept;

/** The mapped form of an IPv4 address. */
NI_NODEADDR NiTransIPv4ToNode(const in_addr& address) noexcept;

/** Address and port of a socket address; loopback for a family without. */
void NiFromSockaddr(const sockaddr* from, NI_NODEADDR* address, KEL_USHORT* port) noexcept;

/** An address as the system takes it. */
struct NiSockaddr {
    sockaddr_storage storage{};
    socklen_t length = 0;

    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
    int family() const { return storage.ss_family; }
};
NiSockaddr NiToSockaddr(const NI_NODEADDR& address, KEL_USHORT port) noexcept;

/** Reads a numeric address of either family. */
bool NiIReadAddress(const KEL_CHAR* text, NI_NODEADDR* address) noexcept;

/** The loopback address of IPv4, which is there with IPv6 too. */
NI_NODEADDR NiILoopback() noexcept;

/** "Any" of the family. */
NiSockaddr NiAnySockaddr(int family, KEL_USHORT port) noexcept;

/** The Unix domain socket that stands for a port of this host. */
sockaddr_un NiLocalSockaddr(KEL_USHORT port) noexcept;

/** Whether an address is one of this host. */
bool NiILocalCheck(const NI_NODEADDR& address) noexcept;

/** A socket with the buffers that are wished for; one that the system refuses is no reason to fail. */
SI_RC NiIOpenSocket(const NI_SETTINGS& settings, int family, SI_SOCK& sock) noexcept;
