// Many calls on automated servers while connections die at random: none is lost silently, none is answered
// twice. KELZOR_SOAK_CALLS makes it longer.

#include <atomic>
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>

#include "serving.h"

namespace {

using namespace std::chrono_literals;

constexpr unsigned callers = 6;

unsigned callsWanted() {
    const char* const wanted = std::getenv("KELZOR_SOAK_CALLS");
    return wanted != nullptr ? static_cast<unsigned>(std::atoi(wanted)) : 3000;
}

/** Every call has a number; what became of it. */
class Ledger {
  public:
    explicit Ledger(unsigned calls) : calls(calls), served(std::make_unique<std::atomic<int>[]>(calls)) {}

    /** The next number; false when there is none left. */
    bool next(unsigned& number) { return (number = begun++) < calls; }
    void serve(unsigned number) { ++served[number]; }
    void answered(unsigned number, const std::string& result) {
        EXPECT_EQ(result, "answer " + std::to_string(number));
        EXPECT_EQ(served[number].load(), 1);
        ++answers;
    }
    void failed() { ++failures; }
    void check() const {
        EXPECT_EQ(answers + failures, calls);
        EXPECT_GT(answers.load(), calls / 2);
        EXPECT_GT(failures.load(), 0u);
        for (unsigned i = 0; i < calls; ++i)
            EXPECT_LE(served[i].load(), 1) << "call " << i;
    }

    const unsigned calls;
    std::atomic<unsigned> begun = 0, answers = 0, failures = 0;

  private:
    std::unique_ptr<std::atomic<int>[]> served;
};

class SoakTest : public ServingTest {
  protected:
    SoakTest()
        : ledger(callsWanted()),
          function("SOAK", [this](ZOR_CONNECTION_HANDLE own, ZOR_FUNCTION_HANDLE call, auto) -> ZOR_RC {
              const std::string number = textOf(call, "TEXT");
              const auto n = static_cast<unsigned>(std::stoul(number));
              ledger.serve(n);
              if (n % 97 == 13) throw std::runtime_error("broken");
              if (n % 101 == 17) ZorCloseConnection(own, nullptr);
              return reply(call, "answer " + number);
          }) {
        system.recordRequests(false);
        clientMayBreakRules = true;
    }
    template <class Work>
    void onAllCallers(Work work) {
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < callers; ++i)
            threads.emplace_back(work);
        for (std::thread& thread : threads)
            thread.join();
    }

    Ledger ledger;
    ServedFunction function;
};

TEST_F(SoakTest, socketPartners) {
    std::string port;
    const ZOR_SERVER_HANDLE server = launchOnFreePort("3", port, [](const auto& parameters) {
        return ZorCreateServer(parameters.data(), static_cast<unsigned>(parameters.size()), nullptr);
    });
    ASSERT_NE(server, nullptr);
    onAllCallers([&] {
        TextCall calling("SOAK");
        ZOR_CONNECTION_HANDLE client = nullptr;
        for (unsigned number; ledger.next(number);) {
            ZOR_ERROR_INFO info;
            while (client == nullptr)
                client = openSocket(port, info);
            const std::string result = calling(client, std::to_string(number));
            if (calling.rc == ZOR_OK)
                ledger.answered(number, result);
            else
                ledger.failed();
            if (!isValid(client)) client = nullptr;
            if (number % 53 == 5 && client != nullptr)
                ZorCloseConnection(std::exchange(client, nullptr), nullptr);
        }
        if (client != nullptr) ZorCloseConnection(client, nullptr);
    });
    ledger.check();
    EXPECT_EQ(ZorDestroyServer(server, nullptr), ZOR_OK);
}

TEST_F(SoakTest, registeredPrograms) {
    const auto parameters = registration({{"REG_COUNT", "3"}, {"MAX_REG_COUNT", "5"}});
    const ZOR_SERVER_HANDLE server =
        ZorCreateServer(parameters.data(), static_cast<unsigned>(parameters.size()), nullptr);
    ASSERT_EQ(ZorLaunchServer(server, &error), ZOR_OK) << error.message;
    std::atomic<bool> over = false;
    std::thread killer([&] {
        std::minstd_rand random(4711);
        for (unsigned kills = 0; !over; ++kills) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20 + random() % 100));
            if (kills % 16 != 15) {
                system.cancelPrograms(program);
                continue;
            }
            system.vanish();
            system.comeBack();
        }
    });
    onAllCallers([&] {
        for (unsigned number; ledger.next(number);) {
            const auto answer = call("SOAK", std::to_string(number));
            if (answer.failure.empty() && answer.field("RESULT"))
                ledger.answered(number, resultOf(answer));
            else
                ledger.failed();
        }
    });
    over = true;
    killer.join();
    ledger.check();
    ZOR_SERVER_ATTRIBUTES attributes;
    EXPECT_EQ(ZorGetServerAttributes(server, &attributes, nullptr), ZOR_OK);
    EXPECT_EQ(attributes.currentBusyCount, 0u);
    EXPECT_LE(attributes.registrationCount, 5u);
    EXPECT_EQ(ZorDestroyServer(server, nullptr), ZOR_OK);
    EXPECT_TRUE(awaitUnregistered());
}

}  // namespace
