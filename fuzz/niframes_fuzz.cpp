// Network frames and control messages, as a peer may send them: whatever comes, reading ends, and no read
// gives more than it has room for. The first byte chooses the size of the reader's buffer.

#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "base/ni/ni.h"

namespace {

constexpr KEL_INT LIMIT = 34048;
constexpr std::size_t INPUT_MAX = 60000;  // what the socket takes at once

void readAll(NI_HDL handle, KEL_INT size) {
    KEL_RAW buffer[256];
    for (;;) {
        KEL_INT length = -1;
        const KELRETURN rc = NiRead(handle, buffer, size, 0, &length);
        if (length < 0 || length > size) std::abort();
        if (rc == NIETOO_SMALL && length != size) std::abort();
        if (rc == NIETOO_SMALL && size == 0) return;
        if (rc != NI_OK && rc != NIETOO_SMALL && rc != NIEPING && !(rc <= NIEROUT_HOST_UNKNOWN)) return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || size > INPUT_MAX) return 0;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) std::abort();
    NI_HDL handle;
    if (NiSockToHdl(ends[0], &handle) != NI_OK) std::abort();
    NiHdlSetMaxValidPacketLen(handle, LIMIT);
    if (write(ends[1], data + 1, size - 1) != static_cast<ssize_t>(size - 1)) std::abort();
    shutdown(ends[1], SHUT_WR);
    readAll(handle, data[0]);
    NiCloseHandle(handle);
    close(ends[1]);
    return 0;
}
