#include "driver/tcpconnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <semaphore>
#include <thread>

#include "config/zoroptions.h"
#include "tests/base/ni/niserver.h"

using testing::HasSubstr;

namespace {

/** A connection that notes what its driver tells it. */
struct SocketOwner final : ZorStreamOwner {
    void setConvId(const KEL_RAW*) noexcept override {}
    bool isLoggedOn() const noexcept override { return true; }
    unsigned connectionTraceLevel() const noexcept override { return 0; }
    KEL_string traceCodepage() const override { return "1100"; }
    void coverDump(Dump, bool, unsigned, std::span<KEL_RAW>) noexcept override {}
    void setHasErrorMsg() noexcept override {}
    void parseErrorMsg(const KEL_RAW*, unsigned, DATA_RECEIVED) override {}
    void throwZorErrorMsg() override {}
    void leaveConnectionList() noexcept override { left = true; }
    void acceptTraceLevel(unsigned level) noexcept override { traceLevel = level; }

    bool left = false;
    unsigned traceLevel = 0;
};

void write(ZorIOStream& stream, const std::string& text) {
    stream.writeBytes(reinterpret_cast<const KEL_RAW*>(text.data()), 0, static_cast<unsigned>(text.size()));
}

/** Text of a failure; empty if there is none. */
std::string failure(const std::function<void()>& action) {
    try {
        action();
        return "";
    } catch (const ZorBaseException& exception) {
        return exception.getMessage();
    }
}

/** A client's stream with a scripted partner. */
class TcpClient : public testing::Test {
  protected:
    void connect() {
        ZorOptions options;
        options.serverHost = "127.0.0.1";
        options.serverPort = server.portText();
        options.keepalive = 1;
        ASSERT_EQ(driver.connectAsClient(options), CM_OK);
        peer = std::make_unique<ni_test::Peer>(server.acceptPlain());
    }
    std::string read(unsigned count, CM_RETCODE expected = CM_OK) {
        std::string text(count, '?');
        unsigned got = 0;
        EXPECT_EQ(driver.readBytes(reinterpret_cast<KEL_RAW*>(text.data()), 0, count, got), expected);
        return text.substr(0, got);
    }

    const ni_test::PlainServer server;
    SocketOwner owner;
    TcpConnection driver{&owner};
    std::unique_ptr<ni_test::Peer> peer;
};

TEST_F(TcpClient, SendsAFullBufferAtOnceAndTheRestWhenFlushed) {
    connect();
    EXPECT_TRUE(driver.connected);
    EXPECT_EQ(driver.zorProgType, ZOR_TCP_SOCKET_CLIENT);
    write(driver, std::string(27999, 'a'));
    EXPECT_EQ(peer->takeWhatIsThere(), "");
    write(driver, "b");
    EXPECT_EQ(peer->take(28000), std::string(27999, 'a') + "b");
    EXPECT_TRUE(driver.isBufferEmpty());
    write(driver, std::string(56001, 'c'));
    EXPECT_EQ(peer->take(56000), std::string(56000, 'c'));
    EXPECT_EQ(peer->takeWhatIsThere(), "");
    EXPECT_EQ(driver.sendFlush(), 0);
    EXPECT_EQ(peer->take(1), "c");
}

TEST_F(TcpClient, ReadsAcrossReceivesAndSkips) {
    connect();
    const std::string text = std::string(30000, 'x') + "tail";
    std::thread sender([&] {
        for (std::size_t at = 0; at < text.size(); at += 7000)
            peer->give(text.substr(at, 7000));
    });
    unsigned skipped = 0;
    EXPECT_EQ(driver.readBytes(nullptr, 0, 30000, skipped), 0);
    EXPECT_EQ(skipped, 30000u);
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(read(4), "tail");
    sender.join();
    EXPECT_EQ(driver.receive(0), CM_KEL_TIMEOUT_RETRY);
    EXPECT_EQ(driver.receive(1), CM_KEL_TIMEOUT_RETRY);
    EXPECT_TRUE(driver.connected);
}

TEST_F(TcpClient, AnEndIsToldOnceThenTheStreamIsEmpty) {
    connect();
    peer->give("last");
    EXPECT_EQ(read(2), "la");
    peer.reset();
    EXPECT_EQ(failure([&] { read(5); }), "NIECONN_BROKEN");
    EXPECT_EQ(driver.getErrorMsg(), "NIECONN_BROKEN");
    EXPECT_EQ(read(1, CM_DEALLOCATED_NORMAL), "");
    EXPECT_EQ(driver.close(), 0);
    EXPECT_FALSE(driver.connected);
    EXPECT_EQ(driver.handle(), NI_INVALID_HDL);
}

TEST_F(TcpClient, ABrokenLineTellsWhatTheNetworkSays) {
    connect();
    peer->give("unread");
    write(driver, "x");
    driver.sendFlush();
    peer->reset();
    peer.reset();
    EXPECT_EQ(read(6), "unread");
    const std::string text = failure([&] { read(1); });
    EXPECT_THAT(text, testing::StartsWith("NIECONN_BROKEN: "));
    EXPECT_THAT(text, HasSubstr("connection to partner '127.0.0.1:"));
    write(driver, "x");
    EXPECT_EQ(failure([&] { driver.sendFlush(); }), "NIECONN_BROKEN");
}

TEST_F(TcpClient, NobodyIsThere) {
    const ni_test::PlainServer silent(-1);
    ZorOptions options;
    options.serverHost = "127.0.0.1";
    options.serverPort = silent.portText();
    EXPECT_EQ(failure([&] { driver.connectAsClient(options); }), "NIECONN_REFUSED");
    EXPECT_FALSE(driver.connected);
    EXPECT_EQ(driver.close(), 0);
}

TEST_F(TcpClient, GoesThroughARouter) {
    ZorOptions options;
    options.kelrouter = "/H/127.0.0.1/S/" + server.portText();
    options.serverHost = "far";
    options.serverPort = "4711";
    std::thread router([this] {
        peer = std::make_unique<ni_test::Peer>(server.acceptPlain());
        const std::string route = peer->takeFrame();
        EXPECT_EQ(route.substr(0, 9), std::string("NI_ROUTE\0", 9));
        EXPECT_EQ(route[12], 1);  // plain bytes, end to end
        EXPECT_THAT(route, testing::EndsWith(std::string("far\0004711\0\0", 10)));
        peer->give(ni_test::frame(ni_test::PONG) + "data");
    });
    EXPECT_EQ(driver.connectAsClient(options), CM_OK);
    router.join();
    EXPECT_EQ(read(4), "data");
}

TEST_F(TcpClient, ACancelEndsAReadAndASendThatNobodyAnswers) {
    for (const bool sending : {false, true}) {
        SCOPED_TRACE(sending);
        SocketOwner mine;
        TcpConnection line(&mine);
        ZorOptions options;
        options.serverHost = "127.0.0.1";
        options.serverPort = server.portText();
        ASSERT_EQ(line.connectAsClient(options), CM_OK);
        const ni_test::Peer silent(server.acceptPlain());
        std::thread other([&line] { line.cancel(); });
        const std::string text = failure([&] {
            unsigned got = 0;
            if (!sending) line.readBytes(nullptr, 0, 1, got);
            for (;;)
                write(line, std::string(28000, 'x'));
        });
        other.join();
        EXPECT_EQ(text, "Connection was canceled.");
        EXPECT_TRUE(mine.left);
        EXPECT_EQ(line.handle(), NI_INVALID_HDL);
    }
}

TEST_F(TcpClient, AFlushDropsWhatIsThere) {
    connect();
    peer->give("abc");
    EXPECT_EQ(read(1), "a");
    EXPECT_EQ(driver.receiveFlush(), 0);
    EXPECT_TRUE(driver.isBufferEmpty());
    peer->give("next");
    EXPECT_EQ(read(4), "next");
    EXPECT_EQ(driver.reListen(nullptr), CM_UNSUCCESSFUL);
}

/** A socket server that sends back what it gets, in the listener's thread. */
class EchoServer final : public TcpServer, public std::enable_shared_from_this<EchoServer> {
  public:
    bool isRunning() const noexcept override { return running; }
    void accepted(NI_HDL handle) noexcept override {
        const std::lock_guard lock(mutex);
        auto line = std::make_unique<TcpConnection>(handle, &owner, shared_from_this(), 0);
        line->reListen(nullptr);
        lines[handle] = std::move(line);
        changed.notify_all();
    }
    void readable(NI_HDL handle) noexcept override {
        const std::lock_guard lock(mutex);
        const auto found = lines.find(handle);
        if (found == lines.end()) return;
        try {
            TcpConnection& line = *found->second;
            line.receive(0);
            std::string text;
            while (const KEL_RAW* byte = line.readInPlace(1))
                text += static_cast<char>(*byte);
            line.resetBuffer();
            write(line, text);
            line.sendFlush();
            line.reListen(nullptr);
        } catch (const ZorCommunicationException& exception) {
            lines.erase(found);
            lastError = exception.getMessage();
            changed.notify_all();
        }
    }
    void acceptFailed(const KEL_string& text) noexcept override {
        const std::lock_guard lock(mutex);
        lastError = text;
        changed.notify_all();
    }
    bool await(const std::function<bool()>& condition) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), condition);
    }

    std::atomic<bool> running{true};
    std::mutex mutex;
    std::condition_variable changed;
    SocketOwner owner;
    std::map<NI_HDL, std::unique_ptr<TcpConnection>> lines;
    std::string lastError;
};

class TcpServers : public testing::Test {
  protected:
    void SetUp() override {
        listening = TcpListener::startTCPServer("0", server);
        NI_NODEADDR address;
        KEL_USHORT number = 0;
        ASSERT_EQ(NiHdlGetName(listening, &address, &number), NI_OK);
        port = std::to_string(number);
    }
    void TearDown() override {
        if (listening != NI_INVALID_HDL) TcpListener::stopTCPServer(listening);
        std::map<NI_HDL, std::unique_ptr<TcpConnection>> closing;
        const std::lock_guard lock(server->mutex);
        closing.swap(server->lines);
    }
    NI_HDL connect() const {
        NI_HDL handle = NI_INVALID_HDL;
        EXPECT_EQ(NiRawHandle("127.0.0.1", port.c_str(), 5000, &handle), NI_OK);
        return handle;
    }
    static std::string echo(NI_HDL handle, const std::string& text) {
        KEL_INT length = 0;
        EXPECT_EQ(NiRawWrite(handle, reinterpret_cast<const KEL_RAW*>(text.data()),
                             static_cast<KEL_INT>(text.size()), 5000, &length),
                  NI_OK);
        return receive(handle);
    }
    static std::string receive(NI_HDL handle) {
        KEL_RAW buffer[100];
        KEL_INT length = 0;
        const KELRETURN rc = NiRawRead(handle, buffer, sizeof buffer, 20000, &length);
        return rc == NI_OK ? std::string(buffer, buffer + length) : NiErrStr(rc);
    }

    std::shared_ptr<EchoServer> server = std::make_shared<EchoServer>();
    NI_HDL listening = NI_INVALID_HDL;
    std::string port;
};

TEST_F(TcpServers, ServesManyPartnersInTurn) {
    std::vector<NI_HDL> partners;
    for (int i = 0; i < 20; ++i)
        partners.push_back(connect());
    for (int round = 0; round < 3; ++round)
        for (std::size_t i = 0; i < partners.size(); ++i)
            EXPECT_EQ(echo(partners[i], "from " + std::to_string(i)), "from " + std::to_string(i));
    for (const NI_HDL partner : partners)
        NiCloseHandle(partner);
    EXPECT_TRUE(server->await([this] { return server->lines.empty(); }));
    EXPECT_EQ(server->lastError, "NIECONN_BROKEN");
}

TEST_F(TcpServers, TheFirstByteMayAskForATrace) {
    for (const char* request : {"T", "\xE3"}) {
        server->owner.traceLevel = 0;
        const NI_HDL partner = connect();
        EXPECT_EQ(echo(partner, request + std::string("data")), "data");
        EXPECT_EQ(server->owner.traceLevel, 2u);
        EXPECT_EQ(echo(partner, "Tail"), "Tail");
        NiCloseHandle(partner);
    }
}

TEST_F(TcpServers, AServerThatStopsTakesNoPartners) {
    const NI_HDL partner = connect();
    EXPECT_EQ(echo(partner, "x"), "x");
    server->running = false;
    const NI_HDL late = connect();
    EXPECT_EQ(receive(late), "NIECONN_BROKEN");
    EXPECT_EQ(echo(partner, "y"), "y");
    TcpListener::stopTCPServer(listening);
    listening = NI_INVALID_HDL;
    NI_HDL refused = 0;
    EXPECT_EQ(NiRawHandle("127.0.0.1", port.c_str(), 5000, &refused), NIECONN_REFUSED);
    EXPECT_EQ(echo(partner, "z"), "z");  // the connections live on
    NiCloseHandle(partner);
    NiCloseHandle(late);
}

TEST_F(TcpServers, AWatchedConnectionCanBeClosedFromAnotherThread) {
    for (int i = 0; i < 20; ++i) {
        const NI_HDL partner = connect();
        EXPECT_EQ(echo(partner, "x"), "x");
        std::unique_ptr<TcpConnection> closing;
        {
            const std::lock_guard lock(server->mutex);
            closing = std::move(server->lines.begin()->second);
            server->lines.clear();
        }
        closing.reset();
        EXPECT_EQ(receive(partner), "NIECONN_BROKEN");
        NiCloseHandle(partner);
    }
}

TEST_F(TcpServers, Refusals) {
    EXPECT_EQ(failure([this] { TcpListener::startTCPServer(port.c_str(), server); }), "NIESERV_USED");
    EXPECT_EQ(failure([this] { TcpListener::startTCPServer("nosuchservice", server); }), "NIESERV_UNKNOWN");
}

}  // namespace
