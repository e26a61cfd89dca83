/** Many conversations, many of them one after the other, gateways that come and go, and ways through routers.
 */
#include <fcntl.h>
#include <gtest/gtest.h>
#include <kelzor.h>
#include <malloc.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "devsys/router.h"
#include "devsys/zordev.h"
#include "testpaths.h"

namespace {

using Parameters = std::vector<std::pair<std::string, std::string>>;

constexpr const char* MORE_CONVERSATIONS = "CPIC_MAX_CONV";

// The size of the table of conversations is read when the library starts: this program starts again with
// another one before it has done anything.
[[maybe_unused]] const bool restarted = [] {
    if (std::getenv(MORE_CONVERSATIONS) != nullptr) return true;
    setenv(MORE_CONVERSATIONS, "1100", 1);
    std::ifstream file("/proc/self/cmdline");
    std::vector<std::string> arguments;
    for (std::string argument; std::getline(file, argument, '\0');)
        arguments.push_back(argument);
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    execv("/proc/self/exe", argv.data());
    return false;
}();

ZOR_CONNECTION_HANDLE open(const std::string& service, ZOR_ERROR_INFO& error,
                           const std::string& router = {}) {
    Parameters parameters = {{"gwhost", "127.0.0.1"}, {"gwserv", service},   {"client", "100"},
                             {"user", "DEMO"},        {"passwd", "welcome"}, {"lang", "EN"}};
    if (!router.empty()) parameters.emplace_back("kelrouter", router);
    std::vector<ZOR_CONNECTION_PARAMETER> pairs;
    for (const auto& [name, value] : parameters)
        pairs.push_back({name.c_str(), value.c_str()});
    return ZorOpenConnection(pairs.data(), static_cast<unsigned>(pairs.size()), &error);
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator folder("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
}

// A development system of its own process, so that its threads and descriptors aren't ours. Small stacks
// keep a thousand threads in the address space of 32 bits.
class OwnProcess {
  public:
    OwnProcess() : program_(popen("ulimit -s 256; ulimit -n 8192; exec " KELZOR_ZORDEV, "r")) {
        std::array<char, 200> line = {};
        if (program_ == nullptr || std::fgets(line.data(), line.size(), program_) == nullptr) return;
        service = after(line.data(), "\"gwserv\":\"");
        pid_ = std::atoi(after(line.data(), "\"pid\":").c_str());
    }
    ~OwnProcess() { end(); }
    OwnProcess(const OwnProcess&) = delete;
    OwnProcess& operator=(const OwnProcess&) = delete;

    /** Ends it; 0 when clients kept to the protocol. */
    int end() {
        if (program_ == nullptr) return -1;
        if (pid_ > 0) kill(pid_, SIGTERM);
        return pclose(std::exchange(program_, nullptr));
    }

    std::string service;

  private:
    static std::string after(const std::string& line, const std::string& key) {
        const std::size_t start = line.find(key) + key.size();
        return line.substr(start, line.find_first_of("\",}", start) - start);
    }

    FILE* program_;
    int pid_ = 0;
};

TEST(Load, AThousandConversationsInOneProcess) {
    constexpr unsigned count = 1000;
    constexpr unsigned threads = 4;
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < 8192) GTEST_SKIP() << "the machine allows " << limit.rlim_max << " descriptors";
    limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, 8192);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    OwnProcess system;
    ASSERT_NE(system.service, "");
    ZOR_ERROR_INFO error = {};
    std::vector<ZOR_CONNECTION_HANDLE> connections;
    for (unsigned i = 0; i < count; ++i) {
        connections.push_back(open(system.service, error));
        ASSERT_NE(connections.back(), nullptr) << i << ' ' << error.message;
    }
    // All are alive, and work from several threads at once.
    std::array<unsigned, threads> good = {};
    std::vector<std::thread> workers;
    for (unsigned t = 0; t < threads; ++t) {
        workers.emplace_back([&connections, &good, t] {
            for (std::size_t i = t; i < connections.size(); i += threads)
                good[t] += ZorPing(connections[i], nullptr) == ZOR_OK ? 1 : 0;
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    for (const unsigned part : good)
        EXPECT_EQ(part, count / threads);
    for (const ZOR_CONNECTION_HANDLE connection : connections)
        EXPECT_EQ(ZorCloseConnection(connection, nullptr), ZOR_OK);
    EXPECT_EQ(system.end(), 0);
}

// KELZOR_LOAD_ROUNDS makes it longer, 100000 for the whole proof.
TEST(Load, ConversationsThatEndLeaveNothingBehind) {
    const char* const text = std::getenv("KELZOR_LOAD_ROUNDS");
    const unsigned rounds = text != nullptr ? static_cast<unsigned>(std::atoi(text)) : 3000;
    constexpr unsigned warmUp = 50;
    OwnProcess system;
    ASSERT_NE(system.service, "");
    ZOR_ERROR_INFO error = {};
    std::size_t descriptors = 0;
    std::size_t memory = 0;
    for (unsigned i = 0; i < rounds + warmUp; ++i) {
        if (i == warmUp) {
            descriptors = openDescriptors();
            memory = mallinfo2().uordblks;
        }
        const ZOR_CONNECTION_HANDLE connection = open(system.service, error);
        ASSERT_NE(connection, nullptr) << i << ' ' << error.message;
        ASSERT_EQ(ZorCloseConnection(connection, &error), ZOR_OK) << i << ' ' << error.message;
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    // Less than a byte for each of them in the long run; caches may still settle.
    const std::size_t now = mallinfo2().uordblks;
    EXPECT_LE(now, memory + 32768);
    RecordProperty("heapGrowth", std::to_string(static_cast<long>(now - memory)));
    EXPECT_EQ(system.end(), 0);
}

TEST(Load, TheGatewayGoesAndComesBack) {
    zordev::DevSystem system;
    ZOR_ERROR_INFO error = {};
    using Go = void (zordev::DevSystem::*)();
    for (const Go go : {&zordev::DevSystem::vanish, &zordev::DevSystem::shutDown}) {
        for (int round = 0; round < 5; ++round) {
            const ZOR_CONNECTION_HANDLE connection = open(system.gatewayService(), error);
            ASSERT_NE(connection, nullptr) << error.message;
            (system.*go)();
            EXPECT_EQ(ZorPing(connection, &error), ZOR_COMMUNICATION_FAILURE) << error.message;
            EXPECT_EQ(ZorCloseConnection(connection, &error), ZOR_INVALID_HANDLE);
            EXPECT_EQ(open(system.gatewayService(), error), nullptr);
            EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE);
            system.comeBack();
        }
    }
    EXPECT_EQ(system.violationText(), "");
}

TEST(Routes, LeadThroughOneRouterOrTwo) {
    zordev::DevSystem system;
    zordev::RouterOptions options;
    options.password = "secret";
    zordev::Router first(options);
    zordev::Router second;
    ZOR_ERROR_INFO error = {};
    for (const std::string& route :
         {first.hop() + "/P/secret", first.hop() + "/W/secret", first.hop() + "/P/secret" + second.hop()}) {
        const ZOR_CONNECTION_HANDLE connection = open(system.gatewayService(), error, route);
        ASSERT_NE(connection, nullptr) << route << ' ' << error.message;
        EXPECT_EQ(ZorPing(connection, &error), ZOR_OK) << error.message;
        EXPECT_EQ(ZorCloseConnection(connection, nullptr), ZOR_OK);
    }
    EXPECT_EQ(first.routes().size(), 3U);
    EXPECT_EQ(second.routes().size(), 1U);
    EXPECT_EQ(first.violationText() + second.violationText() + system.violationText(), "");
}

TEST(Routes, FailWithTheRoutersReason) {
    zordev::DevSystem system;
    zordev::RouterOptions options;
    options.password = "secret";
    options.deniedHosts = {"127.0.0.9"};
    zordev::Router router(options);
    ZOR_ERROR_INFO error = {};
    const struct {
        std::string route;
        const char* text;
    } cases[] = {
        {router.hop() + "/P/guess", "route permission denied"},
        {router.hop() + "/P/secret/H/nobody.invalid", "hostname 'nobody.invalid' unknown"},
        {router.hop() + "/P/secret/H/127.0.0.1/S/1", "not reached"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(open(system.gatewayService(), error, row.route), nullptr) << row.route;
        EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE) << row.route;
        EXPECT_NE(std::string(error.message).find(row.text), std::string::npos) << error.message;
        EXPECT_EQ(std::string(error.message).find("guess"), std::string::npos);
        EXPECT_EQ(std::string(error.message).find("secret"), std::string::npos);
    }
    // A router that ends tells its clients why.
    const ZOR_CONNECTION_HANDLE connection = open(system.gatewayService(), error, router.hop() + "/P/secret");
    ASSERT_NE(connection, nullptr) << error.message;
    router.shutDown();
    EXPECT_EQ(ZorPing(connection, &error), ZOR_COMMUNICATION_FAILURE);
    EXPECT_EQ(router.violationText(), "");
}

}  // namespace
