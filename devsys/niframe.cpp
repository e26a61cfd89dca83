#include "devsys/niframe.h"

#include <sys/socket.h>

#include <cerrno>

namespace zordev {

bool FrameReader::buffered() const {
    if (end_ - begin_ < NI_LENGTH_BYTES) return false;
    return end_ - begin_ - NI_LENGTH_BYTES >= loadBe32(buffer_, begin_);
}

bool FrameReader::fill() {
    if (begin_ != 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    ssize_t got;
    do {
        got = recv(socket_, buffer_.data() + end_, buffer_.size() - end_, 0);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) return false;
    end_ += static_cast<std::size_t>(got);
    return true;
}

FrameResult FrameReader::next(ByteSpan& message) {
    if (begin_ == end_) begin_ = end_ = 0;
    for (;;) {
        if (end_ - begin_ >= NI_LENGTH_BYTES) {
            announced_ = loadBe32(buffer_, begin_);
            if (announced_ > NI_MAX_MESSAGE) return FrameResult::badLength;
            if (end_ - begin_ - NI_LENGTH_BYTES >= announced_) break;
        }
        if (!fill()) return begin_ == end_ ? FrameResult::closed : FrameResult::truncated;
    }
    message = ByteSpan(buffer_).subspan(begin_ + NI_LENGTH_BYTES, announced_);
    begin_ += NI_LENGTH_BYTES + announced_;
    return FrameResult::message;
}

bool sendAll(int socket, ByteSpan bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(sent));
    }
    return true;
}

}  // namespace zordev
