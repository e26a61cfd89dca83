/**
 * @file
 * The conversation layer and the driver above it against a plain socket: the same messages to the same
 * partner. Each figure has its limit; the lowest of several repetitions counts on either side, since others
 * use the machine too. The program fails when a limit is missed.
 */
#include <cstdio>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "config/zoroptions.h"
#include "driver/cpicconnection.h"
#include "judge.h"
#include "krn/si/cpic/cpic.h"
#include "plaingateway.h"
#include "process.h"
#include "traffic.h"

namespace {

constexpr double addedLimit = 3, rateLimit = 0.8, idleLimit = 1;
constexpr std::size_t pingLength = 500;
constexpr std::size_t bulk = 200000000, block = CpicConnection::BUFFER_SIZE;

void check(CM_RETCODE rc, const char* what) {
    if (rc != CM_OK) die(std::string(what) + ": " + KEL_CMPERR());
}

/** A conversation of the layer itself. */
class Conversation {
  public:
    explicit Conversation(std::uint16_t port) : data_(block, 'x') {
        CPIC_INIT_OPT options;
        KEL_INIT_OPTIONS(&options);
        const std::string service = std::to_string(port);
        check(KEL_STINIT4(id_, "TSLZOR", "partner", "keldp00", "127.0.0.1", service.c_str(), 'I', -1, nullptr,
                          &options, nullptr),
              "KEL_STINIT4");
        const CPIC_INT length = 7;
        check(STSPLN(id_, "partner", &length, nullptr), "STSPLN");
        check(STALLC(id_, nullptr), "STALLC");
    }
    ~Conversation() { STDEAL(id_, nullptr); }
    Conversation(const Conversation&) = delete;

    void exchange(std::size_t length) {
        const auto out = static_cast<CPIC_INT>(length), room = static_cast<CPIC_INT>(block);
        CPIC_INT in = 0;
        DATA_RECEIVED data;
        STATUS_RECEIVED status;
        check(STSEND(id_, data_.data(), &out, nullptr, nullptr), "STSEND");
        check(STRCV(id_, data_.data(), &room, &data, &in, &status, nullptr, nullptr), "STRCV");
        if (in != PONG_LENGTH || status != CM_SEND_RECEIVED) die("another answer");
    }

  private:
    KEL_RAW id_[8]{};
    std::vector<KEL_RAW> data_;
};

void runPingPong() {
    const Child gateway([](int report) { servePlainGateway(report, false); });
    Conversation conversation(gateway.port());
    PlainClient plain(gateway.port());
    conversation.exchange(pingLength);
    const Traffic moved = trafficOf([&] { conversation.exchange(pingLength); });
    std::printf("a request of %zu bytes and its answer of %zu\n", pingLength, PONG_LENGTH);
    judge("sends of a request", static_cast<double>(moved.sends), 1);
    judge("receives of its answer", static_cast<double>(moved.receives), 1);
    judge("waits", static_cast<double>(moved.waits), 1);
    constexpr unsigned count = 1000;
    Cost own, bare;
    for (int round = 0; round < 60; ++round) {
        own.measure([&] {
            for (unsigned i = 0; i < count; ++i)
                conversation.exchange(pingLength);
        });
        bare.measure([&] {
            for (unsigned i = 0; i < count; ++i)
                plain.exchange(moved.bytesOut - 4);  // its frame is counted too
        });
    }
    std::printf("  %.2f us a round, %.2f of them this thread's; bare %.2f and %.2f\n", own.wall * 1e6 / count,
                own.processor * 1e6 / count, bare.wall * 1e6 / count, bare.processor * 1e6 / count);
    judge("microseconds of the processor that the layers add", (own.processor - bare.processor) * 1e6 / count,
          addedLimit);
}

/** The owner of a driver that is logged on and wants nothing. */
struct Owner final : ZorStreamOwner {
    void setConvId(const KEL_RAW*) noexcept override {}
    bool isLoggedOn() const noexcept override { return true; }
    unsigned connectionTraceLevel() const noexcept override { return 0; }
    KEL_string traceCodepage() const override { return {}; }
    void coverDump(Dump, bool, unsigned, std::span<KEL_RAW>) noexcept override {}
    void setHasErrorMsg() noexcept override {}
    void parseErrorMsg(const KEL_RAW*, unsigned, DATA_RECEIVED) override {}
    void throwZorErrorMsg() override {}
    void leaveConnectionList() noexcept override {}
    void acceptTraceLevel(unsigned) noexcept override {}
};

void sendThroughDriver(CpicConnection& driver, const std::vector<KEL_RAW>& data) {
    for (std::size_t sent = 0; sent < bulk; sent += data.size())
        driver.writeBytes(data.data(), 0, static_cast<unsigned>(data.size()));
    driver.sendFlush();
}

void runBulk(bool streaming) {
    const Child gateway([streaming](int report) { servePlainGateway(report, streaming); });
    Owner owner;
    CpicConnection driver(&owner);
    ZorOptions options;
    options.gwhost = "127.0.0.1";
    options.gwserv = std::to_string(gateway.port());
    driver.connectAsClient(options);
    PlainClient plain(gateway.port());
    const std::vector<KEL_RAW> data(block, 'x');
    Cost own, bare;
    for (int round = 0; round < 20; ++round) {
        own.measure([&] { sendThroughDriver(driver, data); });
        bare.measure([&] { plain.sendAway(bulk, block); });
    }
    std::printf("200 MB in blocks of %zu bytes%s: %.0f MB/s through the driver, bare %.0f\n", block,
                streaming ? ", streaming" : "", bulk / own.wall / 1e6, bulk / bare.wall / 1e6);
    judge("rate to that of a plain socket", bare.wall / own.wall, rateLimit, false);
}

void runIdle() {
    constexpr unsigned count = 150;
    const Child gateway([](int report) { servePlainGateway(report, false); });
    const std::string service = std::to_string(gateway.port());
    std::vector<CPIC_INT> handles(count);
    for (unsigned i = 0; i < count; ++i) {
        KEL_RAW id[8];
        check(KEL_CMREGTP3(("idle." + std::to_string(i)).c_str(), "127.0.0.1", service.c_str(), &handles[i],
                           nullptr, nullptr),
              "KEL_CMREGTP3");
        check(KEL_CMACCPTP3(handles[i], CPIC_ACCEPT_BY_LISTEN, id, nullptr, nullptr), "KEL_CMACCPTP3");
    }
    Cost idle;
    constexpr CPIC_INT waitMs = 2000;
    idle.measure([] {
        if (KEL_CMLISTEN(waitMs, nullptr) != CM_KEL_TIMEOUT_RETRY) die("something came");
    });
    std::printf("%u registrations that wait in one select set for %d ms\n", count, waitMs);
    judge("milliseconds of the processor", idle.processor * 1e3, idleLimit);
    for (const CPIC_INT handle : handles)
        KEL_CMUNREGTP3(handle, nullptr);
}

}  // namespace

int main() {
    CpicConnection::init();
    runPingPong();
    runBulk(false);
    runBulk(true);
    runIdle();
    return allKept ? 0 : 1;
}
