// A partner that is reached on its own port, without a gateway.

#include <thread>

#include "session.h"

namespace {

class SocketTest : public SessionTest {
  protected:
    SocketTest() : SessionTest(options()) {}

    static zordev::DevOptions options() {
        zordev::DevOptions options;
        options.ownPort = true;
        return options;
    }
    ZOR_CONNECTION_HANDLE connectToSocket(const Parameters& changes = {}) {
        Parameters parameters = {{"GWHOST", ""},
                                 {"GWSERV", ""},
                                 {"SERVER_HOST", "127.0.0.1"},
                                 {"SERVER_PORT", std::to_string(system.ownPort())}};
        parameters.insert(parameters.end(), changes.begin(), changes.end());
        return connect(parameters);
    }
};

TEST_F(SocketTest, callsGoThere) {
    const ZOR_CONNECTION_HANDLE connection = connectToSocket();
    ASSERT_NE(connection, nullptr) << error.message;
    for (int i = 0; i < 3; ++i) {
        Function function("ECHO_SCALARS");
        function.setText("I_CHAR", "hello");
        function.setInt("I_INT", i);
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        EXPECT_EQ(function.text("E_CHAR"), "hello");
        EXPECT_EQ(function.integer("E_INT"), i);
    }
    EXPECT_EQ(system.counts().accepted, 0u);  // by the gateway
    EXPECT_EQ(ZorCloseConnection(connection, &error), ZOR_OK);
}

TEST_F(SocketTest, messagesOfManyBuffers) {
    const ZOR_CONNECTION_HANDLE connection = connectToSocket();
    Function function("ECHO_STRINGS");
    const std::string text(200000, 'x');
    function.setText("I_STRING", text);
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    EXPECT_EQ(function.text("E_STRING", 200001), text);
}

TEST_F(SocketTest, aCancelEndsACall) {
    const ZOR_CONNECTION_HANDLE connection = connectToSocket();
    Function function("SLEEP");
    function.setInt("MILLISECONDS", 60000);
    ZOR_RC cancelled = ZOR_OK;
    std::thread second([&] {
        // Until the call runs there is nothing to cancel.
        ZOR_ERROR_INFO info;
        while ((cancelled = ZorCancel(connection, &info)) == ZOR_ILLEGAL_STATE)
            std::this_thread::yield();
    });
    EXPECT_EQ(invoke(connection, function), ZOR_CANCELED) << error.message;
    second.join();
    EXPECT_EQ(cancelled, ZOR_OK);
    EXPECT_FALSE(isValid(connection));
}

TEST_F(SocketTest, aPartnerThatGoesIsAFailureOfTheCommunication) {
    const ZOR_CONNECTION_HANDLE connection = connectToSocket();
    system.breakOwnPortConnections();
    Function function("ZOR_PING");
    EXPECT_EQ(invoke(connection, function), ZOR_COMMUNICATION_FAILURE);
    EXPECT_EQ(std::string(error.message).substr(0, 14), "NIECONN_BROKEN");
    EXPECT_FALSE(isValid(connection));
}

TEST_F(SocketTest, aPortWhereNobodyListens) {
    Parameters parameters = logon({{"GWHOST", ""}, {"GWSERV", ""}});
    parameters.emplace_back("SERVER_HOST", "127.0.0.1");
    parameters.emplace_back("SERVER_PORT", "1");
    EXPECT_EQ(open(parameters, error), nullptr);
    EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE);
    EXPECT_STREQ(error.message, "NIECONN_REFUSED");
}

}  // namespace
