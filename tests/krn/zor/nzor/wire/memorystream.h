/** @file An item stream over memory: what is written can be looked at, what is read is laid in before. */
#pragma once

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "wire/zoritemstream.h"

using Bytes = std::vector<KEL_RAW>;

inline Bytes bytesOf(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

inline Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

/** An item by the rules of the framing, for payloads of less than 65535 bytes. */
inline Bytes item(unsigned id, const Bytes& payload = {}) {
    const auto high = static_cast<KEL_RAW>(id >> 8), low = static_cast<KEL_RAW>(id);
    const auto length = payload.size();
    return joined(
        {{high, low, static_cast<KEL_RAW>(length >> 8), static_cast<KEL_RAW>(length)}, payload, {high, low}});
}

inline Bytes item(unsigned id, std::string_view text) {
    return item(id, bytesOf(text));
}

/** The driver below: reading past the end answers as an ended conversation does. */
class MemoryDriver final : public ZorIOStream {
  public:
    CM_RETCODE readBytes(KEL_RAW* dest, unsigned offset, unsigned count, unsigned& bytesRead) override {
        const auto there = static_cast<unsigned>(std::min<size_t>(count, in.size() - position));
        if (dest != nullptr && there != 0) std::memcpy(dest + offset, in.data() + position, there);
        position += there;
        bytesRead += there;
        return there == count ? 0 : CM_DEALLOCATED_NORMAL;
    }
    CM_RETCODE writeBytes(const KEL_RAW* src, unsigned offset, unsigned count) override {
        out.insert(out.end(), src + offset, src + offset + count);
        return 0;
    }
    CM_RETCODE close() noexcept override {
        closed = true;
        return 0;
    }
    const KEL_string& getErrorMsg() const override { return errorMsg; }

    Bytes in;
    size_t position = 0;
    Bytes out;
    bool closed = false;
    KEL_string errorMsg = "the line is gone";
};

/** A stream whose failures can be told apart: a broken line throws ZorCommunicationException. */
class MemoryItemStream final : public ZorItemStream {
  public:
    MemoryItemStream() : ZorItemStream(std::make_unique<MemoryDriver>()) {}

    MemoryDriver& memory() { return static_cast<MemoryDriver&>(driver()); }
    void layIn(Bytes bytes) {
        memory().in = std::move(bytes);
        memory().position = 0;
    }
    Bytes takeOut() { return std::exchange(memory().out, {}); }
    bool readToEnd() const {
        return static_cast<const MemoryDriver&>(driver()).position ==
               static_cast<const MemoryDriver&>(driver()).in.size();
    }

    bool broken = false;
    using ZorItemStream::classExceptionInfo;
    using ZorItemStream::inAZorMode;
    using ZorItemStream::ubixCallStack;

  private:
    void closeBroken() noexcept override { broken = true; }
    [[noreturn]] void raiseCollectedError() override {
        throw ZorCommunicationException(driver().getErrorMsg());
    }
};
