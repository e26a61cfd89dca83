/** @file Waiting on a socket with a time limit; private to the layer. */
#pragma once

#include "base/ni/nitab.h"
#include "base/thr/deadline.h"

/** Waits for an event; signals don't prolong the wait. SI_ETIMEOUT when the time is up. */
inline SI_RC NiIWait(SI_SOCK& sock, SI_EVENT event, const Deadline& deadline) {
    for (;;) {
        const SI_RC rc = SiPoll(&sock, event, deadline.left());
        if (rc != SI_EINTR) return rc;
    }
}

inline constexpr std::size_t NI_PEER_TEXT_MAX = NI_ADDR_TEXT_MAX + 8;
/** The peer as "address:port". */
void NiPeerText(const NI_CON& con, KEL_CHAR (&text)[NI_PEER_TEXT_MAX]) noexcept;
