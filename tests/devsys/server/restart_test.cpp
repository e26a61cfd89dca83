// Automated servers that have lost their gateway: when they try again, by a clock that nobody waits for.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelzor.h>

#include <thread>
#include <vector>

#include "devsys/zordev.h"
#include "server/zorautomatedserver.h"
#include "server/zorserverclock.h"

namespace {

using testing::ElementsAre;

/** Lets as many sleeps pass at once as it is told; the next one lasts. */
class LeapingClock final : public ZorServerClock {
  public:
    LeapingClock() { set(this); }
    ~LeapingClock() override { set(nullptr); }

    std::time_t now() const override { return time; }
    void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
              std::time_t until) override {
        {
            const std::lock_guard guard(mutex);
            if (!sleeping) slept.push_back(static_cast<int>(until - time));
            sleeping = leaps == 0;
            if (!sleeping) {
                --leaps;
                time = until;
                return;
            }
        }
        changed.wait_for(lock, std::chrono::milliseconds(5));
    }
    void allow(unsigned count) {
        const std::lock_guard guard(mutex);
        leaps += count;
    }
    /** Lets sleeps pass until one lasts; the lengths of all so far. */
    std::vector<int> leap(unsigned count) {
        allow(count);
        for (int i = 0; i < 6000; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
            const std::lock_guard guard(mutex);
            if (leaps == 0 && sleeping) return slept;
        }
        return {};
    }

  private:
    std::atomic<std::time_t> time{1000000};
    std::mutex mutex;
    std::vector<int> slept;
    unsigned leaps = 0;
    bool sleeping = false;
};

class RestartTest : public testing::Test {
  protected:
    RestartTest() {
        ZorInit();
        const std::string service = system.gatewayService();
        const ZOR_CONNECTION_PARAMETER parameters[] = {{"TPNAME", "restarted"},
                                                       {"GWHOST", "127.0.0.1"},
                                                       {"GWSERV", service.c_str()},
                                                       {"REG_COUNT", "2"}};
        server = ZorAutomatedServer::createZorServer(parameters, 4);
    }
    ~RestartTest() override { server->shutdown(10); }

    bool await(ZOR_SERVER_STATE state) {
        for (int i = 0; i < 6000; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(10)))
            if (server->events.getState() == state) return true;
        return false;
    }
    unsigned registrations() {
        ZOR_SERVER_ATTRIBUTES attributes;
        server->getAttributes(attributes);
        return attributes.registrationCount;
    }

    LeapingClock clock;
    zordev::DevSystem system;
    std::shared_ptr<ZorAutomatedServer> server;
};

TEST_F(RestartTest, theDelayDoublesUpToAMinuteAndBeginsAnew) {
    system.vanish();
    EXPECT_THROW(server->launchServer(), ZorBaseException);
    EXPECT_EQ(server->events.getState(), ZOR_SERVER_BROKEN);
    EXPECT_THAT(clock.leap(8), ElementsAre(1, 2, 4, 8, 16, 32, 60, 60, 60));
    system.comeBack();
    clock.allow(1);
    ASSERT_TRUE(await(ZOR_SERVER_RUNNING));
    EXPECT_EQ(registrations(), 2u);
    system.vanish();
    ASSERT_TRUE(await(ZOR_SERVER_BROKEN));
    EXPECT_THAT(clock.leap(1), ElementsAre(1, 2, 4, 8, 16, 32, 60, 60, 60, 1, 2));
}

TEST_F(RestartTest, aShutdownEndsTheTrying) {
    system.vanish();
    EXPECT_THROW(server->launchServer(), ZorBaseException);
    clock.leap(2);
    server->shutdown(0);
    EXPECT_EQ(server->events.getState(), ZOR_SERVER_STOPPED);
    system.comeBack();
    server->launchServer();
    EXPECT_EQ(server->events.getState(), ZOR_SERVER_RUNNING);
    EXPECT_EQ(registrations(), 2u);
}

}  // namespace
