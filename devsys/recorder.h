/**
 * @file
 * Records the requests that the back-end got, for tests to assert on. A request is copied as it came
 * and decoded when somebody looks at it.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace zordev {

/** An item of a recorded request. */
struct RecordedItem {
    std::uint16_t id;
    std::vector<std::uint8_t> payload;
};

/** A request as it came: everything that a client sent between two answers. */
struct RecordedRequest {
    std::string conversationId;
    std::string function; /**< As the client wrote it; empty for a callback's answer. */
    std::vector<std::uint8_t>
        bytes; /**< The whole stream, the communication header of a first one included. */

    /** The items up to the end or to the first damaged one. */
    std::vector<RecordedItem> items() const;
    /** Identifiers of the items, in order. */
    std::vector<std::uint16_t> ids() const;
    /** Payload of the first item with this identifier, as text; empty if there is none. */
    std::string text(std::uint16_t id) const;
};

/** The requests of all sessions. Thread-safe. */
class Recorder {
  public:
    explicit Recorder(bool on) : on_(on) {}

    void switchOn(bool on) { on_.store(on, std::memory_order_relaxed); }
    bool on() const { return on_.load(std::memory_order_relaxed); }
    /** Copies a request; what a session does without a look at the content. */
    void record(const std::string& conversationId, std::string_view function, const std::uint8_t* bytes,
                std::size_t length);
    std::vector<RecordedRequest> all() const;
    void clear();

  private:
    std::atomic<bool> on_;
    mutable std::mutex mutex_;  // guards requests_
    std::vector<RecordedRequest> requests_;
};

}  // namespace zordev
