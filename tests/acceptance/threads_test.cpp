// Many threads on their own connections, and one that cancels whichever handle it sees.

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include "session.h"

namespace {

constexpr unsigned workerCount = 8;
constexpr unsigned enoughCalls = 5000;
constexpr unsigned enoughCancels = 200;

/** What a worker has open, for whoever wants to cancel it. The handle may be stale by the time it is used. */
using Slot = std::atomic<ZOR_CONNECTION_HANDLE>;

struct Tally {
    std::atomic<unsigned> good = 0;
    std::atomic<unsigned> cancelled = 0;
};

class ThreadsTest : public SessionTest {
  protected:
    ThreadsTest() { clientMayBreakRules = true; }  // a cancel cuts what is on its way

    /** Opens, calls a few times, closes. */
    void session(Slot& slot, Tally& tally) {
        ZOR_ERROR_INFO info{};
        const ZOR_CONNECTION_HANDLE connection = open(logon(), info);
        ASSERT_NE(connection, nullptr) << info.message;
        slot = connection;
        Function function("ECHO_TEN_SCALARS");
        bool listed = true;
        for (ZOR_INT call = 0; call < 5 && listed; ++call) {
            function.setInt("I_INT", call);
            const ZOR_RC rc = ZorInvoke(connection, function, &info);
            listed = rc == ZOR_OK;
            if (rc == ZOR_OK) {
                ++tally.good;
                EXPECT_EQ(function.integer("E_INT"), call);
            } else {
                EXPECT_EQ(rc, ZOR_CANCELED) << info.message;
                ++tally.cancelled;
            }
        }
        slot = nullptr;
        // A handle that was cancelled is free for somebody else's connection: it isn't touched again.
        if (listed) {
            EXPECT_EQ(ZorCloseConnection(connection, &info), ZOR_OK) << info.message;
        }
    }
};

TEST_F(ThreadsTest, CallsClosesAndCancelsDoNotMeet) {
    Slot slots[workerCount] = {};
    Tally tally;
    std::atomic<bool> over = false;
    std::vector<std::thread> workers;
    for (Slot& slot : slots)
        workers.emplace_back([&] {
            while (!over)
                session(slot, tally);
        });
    std::thread canceller([&] {
        std::minstd_rand random(42);
        while (!over) {
            const ZOR_CONNECTION_HANDLE handle = slots[random() % workerCount];
            ZOR_ERROR_INFO info{};
            const ZOR_RC rc = handle != nullptr ? ZorCancel(handle, &info) : ZOR_OK;
            EXPECT_TRUE(rc == ZOR_OK || rc == ZOR_ILLEGAL_STATE || rc == ZOR_INVALID_HANDLE) << info.message;
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
        }
    });
    // Until enough of both came about, however quick the machine is.
    while (tally.good < enoughCalls || tally.cancelled < enoughCancels)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    over = true;
    for (std::thread& worker : workers)
        worker.join();
    canceller.join();
    connect();  // the system is as good as before
}

TEST_F(ThreadsTest, ACancelHitsTheCallThatItMeets) {
    constexpr unsigned rounds = 150, longest = 100000;
    std::minstd_rand random(7);
    Function function("ECHO_TEN_SCALARS");
    for (unsigned round = 0; round < rounds; ++round) {
        ZOR_ERROR_INFO info{};
        const ZOR_CONNECTION_HANDLE connection = open(logon(), info);
        ASSERT_NE(connection, nullptr) << info.message;
        std::atomic<unsigned> begun = 0;
        unsigned first = 0, last = 0;
        std::thread canceller([&, wait = random() % 600] {
            ZOR_ERROR_INFO refused{};
            std::this_thread::sleep_for(std::chrono::microseconds(wait));
            do
                first = begun;
            while (ZorCancel(connection, &refused) != ZOR_OK);
            last = begun;
        });
        ZOR_RC rc = ZOR_OK;
        while (rc == ZOR_OK && begun < longest) {
            ++begun;
            rc = ZorInvoke(connection, function, &info);
        }
        canceller.join();
        ASSERT_EQ(rc, ZOR_CANCELED) << info.message;
        EXPECT_LE(first, begun);
        EXPECT_EQ(last, begun);
    }
}

}  // namespace
