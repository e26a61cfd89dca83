/** @file Addresses of the system and of this layer; private to the layer. */
#pragma once

#include <netinet/in.h>

#include "base/ni/ni.h"

/** Whether IPv6 is to be used; read from the environment once. */
bool NiIPv6Active() noexcept;

/** The mapped form of an IPv4 address. */
NI_NODEADDR NiTransIPv4ToNode(const in_addr& address) noexcept;

/** Address and port of a socket address; loopback for a family without. */
void NiFromSockaddr(const sockaddr* from, NI_NODEADDR* address, KEL_USHORT* port) noexcept;
