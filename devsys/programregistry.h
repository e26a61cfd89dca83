/**
 * @file
 * The registered programs of a gateway: instances that wait for partners, partners that wait for
 * instances, and who gets whom.
 */
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "devsys/bridge.h"

namespace zordev {

/** What has come for an instance. */
struct ProgramOffer {
    std::optional<BridgeEnd> partner; /**< A partner to serve. */
    int cancelCode = 0;               /**< `kel_rc` with which the registration is cancelled; 0 is none. */
};

/** The instances registered under one program id, or under all. */
struct ProgramCounts {
    unsigned instances = 0; /**< Registrations. */
    unsigned ready = 0;     /**< Those that would take a partner at once. */
    unsigned waiting = 0;   /**< Partners that wait for one. */
};

/** All registrations of a gateway. Thread-safe. */
class ProgramRegistry {
  public:
    /** One registration. Its owner's thread polls `wakeUp` and takes what came. */
    class Instance {
      public:
        /** Throws std::system_error when the process is out of descriptors. */
        Instance(ProgramRegistry& registry, std::string programId);
        /** A partner that wasn't taken goes to another instance, or sees its bridge close. */
        ~Instance();
        Instance(const Instance&) = delete;
        Instance& operator=(const Instance&) = delete;

        /** Waits for a partner from now on. */
        void ready();
        /** The program was heard of while it waits: those that said nothing since come first. */
        void keptAlive();
        /** Becomes readable when there is something to take. */
        int wakeUp() const { return wakeUp_; }
        ProgramOffer take();
        const std::string& programId() const { return programId_; }

      private:
        friend class ProgramRegistry;
        void offer();

        ProgramRegistry& registry_;
        const std::string programId_;
        const int wakeUp_;
        // Under the registry's lock:
        bool ready_ = false;
        std::uint64_t since_ = 0;  // place in the queue of the ready ones
        ProgramOffer offer_;
    };

    /** How a request for a program came out; a partner that waits has a number above 0. */
    struct Request {
        enum { assigned, waiting, busy, unknown } outcome;
        std::uint64_t number = 0;
    };

    /**
     * Gives `bridge` to an instance of `programId`, or lets it wait for one if it may. An instance that takes
     * it sends BridgeMark::accepted. A refused bridge is closed.
     */
    Request request(const std::string& programId, BridgeEnd bridge, bool mayWait);
    /** A partner waits no longer. Without effect when it has been given to an instance. */
    void withdraw(std::uint64_t number);
    /** Cancels all instances of `programId`, or all of all, with this `kel_rc`. Returns how many. */
    unsigned cancel(const std::string& programId, int kelRc);
    /** Counts those of `programId`, or all for an empty one. */
    ProgramCounts counts(const std::string& programId) const;
    /** Waits until so many instances of `programId` are ready; false when the time runs out before. */
    bool awaitReady(const std::string& programId, unsigned count, std::chrono::milliseconds timeout) const;

  private:
    struct Waiting {
        std::uint64_t number;
        std::string programId;
        BridgeEnd bridge;
    };

    Instance* firstReady(const std::string& programId) const;
    void assign(Instance& instance, BridgeEnd bridge);
    ProgramCounts countLocked(const std::string& programId) const;

    mutable std::mutex mutex_;                    // guards all of this and the instances' states
    mutable std::condition_variable readyEvent_;  // an instance became ready
    std::vector<Instance*> instances_;
    std::deque<Waiting> waiting_;
    std::uint64_t nextNumber_ = 1;
};

}  // namespace zordev
