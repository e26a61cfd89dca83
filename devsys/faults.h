/**
 * @file
 * Faults that the gateway side produces on demand, so that failures are as easy to get as successes.
 * A default-made Faults is a well-behaved gateway.
 */
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

namespace zordev {

/** The faults to produce. Those marked (a) apply to answers after the first `afterAnswers` ones. */
struct Faults {
    /** Answers of a conversation, the connect answer among them, that stay free of the faults marked (a). */
    unsigned afterAnswers = 0;

    /** The connection closes when this many bytes were sent to the client, counted over the conversation. */
    std::optional<std::size_t> cutAfterBytes;
    /** Every message to the client is written in pieces of this many bytes; 0 writes it whole. */
    std::size_t pieceBytes = 0;
    /** Milliseconds of waiting before each answer (a). */
    unsigned delayMs = 0;
    /** Requests are read and never answered (a). */
    bool silent = false;
    /** Header version to claim in answers, in place of 6 (a). */
    std::optional<std::uint8_t> headerVersion;
    /** `kel_rc` of a refusal with an error block in place of each data answer; 0 is off (a). */
    int dataError = 0;
    /** Data answers announce a length above the largest valid message (a). */
    bool oversizeLength = false;
    /** Data answers announce a length with the top bit set (a). */
    bool negativeLength = false;

    /** Connections are closed as soon as they were accepted. */
    bool refuseConnect = false;
    /** `rc` of a connect answer with an error block behind it; 0 is off. */
    int connectError = 0;
    /** The connect answer is one byte shorter than its record. */
    bool shortConnectAnswer = false;
    /** The connect answer asks for its echo. That is no fault, but no gateway needs it. */
    bool connectEcho = false;

    /** `rc` of the connect answer to a program that registers, with an error block; 0 is off. */
    int registrationError = 0;
    /** `kel_rc` with which a registration is cancelled as soon as its program is ready; 0 is off. */
    int registrationCancel = 0;
    /** A ready program gets a request that doesn't belong there in place of its partner's call. */
    bool registrationWrongRequest = false;
    /** The call of a registered program announces a trace record that isn't there. */
    bool shortProgramCall = false;
    /** Number that all conversations get as their id, in place of one each; 0 is off. */
    unsigned conversationNumber = 0;

    /** Gateway pings sent before each data answer. */
    unsigned gatewayPings = 0;
    /** Network pings sent before each data answer; the client answers each. */
    unsigned networkPings = 0;
    /** Answers to sends ask the sender for KEL_SYNC. That is no fault, but no gateway needs it. */
    bool askForSync = false;
    /** `appc_rc` of the answer to a cancel: 18 ends the conversation, 0 leaves that to the client. */
    int cancelAnswer = 18;

    bool operator==(const Faults&) const = default;
};

/** The current faults, shared by all conversations. Thread-safe; reading costs one atomic load. */
class FaultSwitch {
  public:
    void set(const Faults& faults);
    /** Copies the faults into `faults` if they changed since `generation`, and moves that on. */
    void refresh(Faults& faults, unsigned& generation) const {
        if (generation_.load(std::memory_order_acquire) != generation) copy(faults, generation);
    }

  private:
    void copy(Faults& faults, unsigned& generation) const;

    mutable std::mutex mutex_;  // guards faults_
    Faults faults_;
    std::atomic<unsigned> generation_{0};
};

}  // namespace zordev
