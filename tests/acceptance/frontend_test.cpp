// The attachment of the front end, with a program of the test in its place.

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "session.h"

namespace {

namespace fs = std::filesystem;

/** A program that writes its arguments to a file and a line to its output. */
class FrontEndTest : public SessionTest {
  protected:
    FrontEndTest() {
        char pattern[] = "/tmp/frontendXXXXXX";
        folder = mkdtemp(pattern);
        program = folder / "frontend";
        setenv("KELGUI", program.c_str(), 1);
    }
    ~FrontEndTest() override {
        unsetenv("KELGUI");
        fs::remove_all(folder);
    }

    void says(const std::string& line) {
        std::ofstream(program) << "#!/bin/sh\nprintf '%s' \"$*\" > " << (folder / "arguments").string()
                               << "\nprintf '%b' '" << line << "'\n";
        chmod(program.c_str(), 0755);
    }
    std::string arguments() const {
        std::string line;
        std::getline(std::ifstream(folder / "arguments"), line);
        return line;
    }
    /** A parameter of the call that tells the back-end how the start went. */
    std::string told(const char* parameter) {
        for (const zordev::RecordedRequest& request : system.requests()) {
            if (request.function != "SYSTEM_FINISH_ATTACH_GUI") continue;
            const auto items = request.items();
            for (size_t i = 0; i + 1 < items.size(); ++i)
                if (items[i].id == item::fieldName &&
                    std::string(items[i].payload.begin(), items[i].payload.end()) == parameter) {
                    const std::string text(items[i + 1].payload.begin(), items[i + 1].payload.end());
                    return text.substr(0, text.find_last_not_of(' ') + 1);
                }
        }
        return "(not told)";
    }

    fs::path folder;
    fs::path program;
};

TEST_F(FrontEndTest, isStartedAndItsConnectStringTold) {
    for (const char* line : {"ZOR_OK=/H/desk/S/1\n", "ZOR_OK /H/desk/S/1\r\n", "ZOR_OK=/H/desk/S/1"}) {
        SCOPED_TRACE(line);
        says(line);
        system.clearRequests();
        connect({{"USE_KELGUI", "1"}, {"UBIX_DEBUG", "1"}});
        EXPECT_EQ(arguments(), "/H/127.0.0.1/H/zordev/S/3200 /Zor=GUI1");
        EXPECT_EQ(told("CONNECTSTRING"), "/H/desk/S/1");
        EXPECT_EQ(told("KELGUI_ID"), "GUI1");
        EXPECT_EQ(told("MESSAGE"), "");
    }
}

TEST_F(FrontEndTest, aFailureToStartIsToldToBothSides) {
    const struct {
        const char* line;
        const char* message;
    } cases[] = {
        {"ZOR_ERROR=no display\n", "no display"},
        {"something else\n", "The front end could not be started"},
        {"ZOR_OK\n", "The front end could not be started"},
        {"", "The front end could not be started"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        says(c.line);
        system.clearRequests();
        EXPECT_EQ(open(logon({{"USE_KELGUI", "1"}}), error), nullptr);
        EXPECT_EQ(error.code, ZOR_START_KELGUI_FAILURE);
        EXPECT_STREQ(error.message, c.message);
        EXPECT_EQ(told("MESSAGE"), c.message);
    }
    fs::remove(program);
    EXPECT_EQ(open(logon({{"USE_KELGUI", "1"}}), error), nullptr);
    EXPECT_STREQ(error.message, "The front end could not be started");
}

TEST_F(FrontEndTest, needsACheckedLogonAndHidesAfterEachCallIfAskedTo) {
    says("ZOR_OK=x\n");
    connect({{"USE_KELGUI", "1"}, {"LCHECK", "0"}});
    EXPECT_EQ(told("KELGUI_ID"), "(not told)");
    const ZOR_CONNECTION_HANDLE connection = connect({{"USE_KELGUI", "2"}});
    system.clearRequests();
    Function function("ECHO_TEN_SCALARS");
    ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
    const auto requests = system.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1].function, "SYSTEM_INVISIBLE_GUI");
}

}  // namespace
