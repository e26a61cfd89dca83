// Functions that the tool serves: programs are run for the calls of a back-end, and of another tool's
// library.

#include <arpa/inet.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <kelzor.hpp>
#include <thread>

#include "program.h"

namespace {

constexpr unsigned exceptionItem = 1025, messageItem = 1026;

// Programs without files of their own: the streams editor, the shell, and whatever else is everywhere.
constexpr const char* functionFile = R"json({
  "types": [{"name": "LINE", "fields": [{"name": "TEXT", "type": "CHAR", "length": 8},
                                        {"name": "NUMBER", "type": "INT"}]}],
  "functions": [
    {"name": "GREET", "run": ["sed", "s/.*\"NAME\":\"\\([^\"]*\\)\".*/{\"GREETING\":\"Hello, \\1\"}/"],
     "parameters": [{"direction": "import", "name": "NAME", "type": "CHAR", "length": 10},
                    {"direction": "export", "name": "GREETING", "type": "CHAR", "length": 20},
                    {"direction": "export", "name": "UNASKED", "type": "CHAR", "length": 1}]},
    {"name": "MIRROR", "run": ["cat"],
     "parameters": [{"direction": "changing", "name": "NUMBER", "type": "INT"},
                    {"direction": "tables", "name": "LINES", "of": "LINE"}]},
    {"name": "WHO", "run": ["sh", "-c",
       "echo \"{\\\"GREETING\\\": \\\"$ZOR_FUNCTION $ZOR_PARTNER_SYSTEM $ZOR_PARTNER_USER\\\", \\\"UNASKED\\\": 1}\""],
     "parameters": [{"direction": "export", "name": "GREETING", "type": "CHAR", "length": 20},
                    {"direction": "export", "name": "UNASKED", "type": "CHAR", "length": 1}]},
    {"name": "REFUSE", "run": ["sh", "-c", "echo NO_NAME: nobody is there >&2; exit 3"],
     "exceptions": [{"key": "NO_NAME"}]},
    {"name": "COMPLAIN", "run": ["sh", "-c", "echo the disk is full >&2; exit 1"]},
    {"name": "SILENT", "run": ["false"]},
    {"name": "KILLED", "run": ["sh", "-c", "kill -9 $$"]},
    {"name": "SLOW", "run": ["sh", "-c", "sleep 60 & sleep 60"], "seconds": 1},
    {"name": "ENDLESS", "run": ["sleep", "60"]},
    {"name": "ABSENT", "run": ["./nowhere"]},
    {"name": "BABBLE", "run": ["echo", "no json"]},
    {"name": "WRONG", "run": ["echo", "{\"NUMBER\": \"many\"}"],
     "parameters": [{"direction": "export", "name": "NUMBER", "type": "INT"}]},
    {"name": "DEAF", "run": ["sh", "-c", "exec <&-; echo {}"],
     "parameters": [{"direction": "import", "name": "BLOB", "type": "XSTRING"}]}
  ]})json";

class ServeTest : public ToolTest {
  protected:
    ServeTest() { write("functions.json", functionFile); }
    ~ServeTest() override {
        if (child <= 0) return;
        kill(child, SIGKILL);
        finish(child);
    }

    /** Starts the tool and waits until it serves. */
    void serve(std::vector<std::string> where) {
        std::vector<std::string> words = {"serve", "functions.json"};
        words.insert(words.end(), where.begin(), where.end());
        child = start(words);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (contentOf(path("out")).find("serving ") == std::string::npos) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << contentOf(path("err"));
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    void serveRegistered() {
        serve({"--dest", "DEV", "--tpname", "tool.program", "--reg-count", "3"});
        ASSERT_TRUE(system.awaitPrograms("tool.program", 3)) << contentOf(path("err"));
    }
    zordev::ProgramAnswer ask(const char* function,
                              const std::vector<zordev::ProgramParameter>& parameters = {}) {
        return system.callRegistered("tool.program", function, parameters);
    }
    Outcome end() {
        kill(child, SIGTERM);
        return finish(std::exchange(child, 0));
    }

    pid_t child = 0;
};

TEST_F(ServeTest, programsGetTheParametersAndGiveTheResults) {
    serveRegistered();
    const auto greeting =
        ask("GREET", {zordev::textParameter("NAME", "Zo\xEB", 10), zordev::wantedParameter("GREETING")});
    EXPECT_EQ(greeting.field("GREETING"), "Hello, Zo\xEB          ");
    const std::string row = std::string("one     \x07\0\0\0", 12);
    const auto mirrored =
        ask("MIRROR", {zordev::wantedParameter("NUMBER"), zordev::intParameter("NUMBER", -5),
                       zordev::tableParameter("LINES", 12, {row, row})});
    EXPECT_EQ(mirrored.field("NUMBER"), "\xFB\xFF\xFF\xFF");
    EXPECT_EQ(mirrored.table("LINES"), std::vector<std::string>({row, row}));
    const auto who = ask("WHO", {zordev::wantedParameter("GREETING")});
    EXPECT_EQ(who.field("GREETING"), "WHO ZDV DEMO        ");
    EXPECT_EQ(who.field("UNASKED"), std::nullopt);
    const auto deaf = ask("DEAF", {zordev::stringParameter("BLOB", std::string(1000000, 'x'))});
    EXPECT_EQ(deaf.failure, "");
    const Outcome outcome = end();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(system.violationText(), "");
}

TEST_F(ServeTest, statusAndErrorsOfAProgramBecomeFailures) {
    serveRegistered();
    const struct {
        const char* function;
        unsigned item;
        const char* text;
    } cases[] = {
        {"REFUSE", exceptionItem, "NO_NAME"},
        {"COMPLAIN", messageItem, "the disk is full"},
        {"SILENT", messageItem, "false ended with status 1"},
        {"KILLED", messageItem, "sh was ended by signal 9"},
        {"SLOW", messageItem, "sh took more than 1 s"},
        {"ABSENT", messageItem, "./nowhere can't be run: No such file or directory"},
        {"BABBLE", messageItem, "the output of echo is no JSON at line 1, column 2"},
        {"WRONG", messageItem, "NUMBER: "},
        {"GREET", 0, ""},
    };
    for (const auto& c : cases) {
        const auto answer = ask(c.function, {zordev::wantedParameter("NUMBER")});
        EXPECT_EQ(answer.failure, "") << c.function;
        EXPECT_EQ(answer.text(c.item).substr(0, std::string(c.text).size()), c.text) << c.function;
    }
    EXPECT_NE(end().err.find("zor: REFUSE for ZDV DEMO failed: NO_NAME: nobody is there\n"),
              std::string::npos);
}

TEST_F(ServeTest, callsRunAtTheSameTimeAndOutliveTheEndOnlyForAWhile) {
    serve({"--dest", "DEV", "--tpname", "tool.program", "--reg-count", "3", "--patience", "1"});
    ASSERT_TRUE(system.awaitPrograms("tool.program", 3)) << contentOf(path("err"));
    std::vector<std::thread> endless;
    for (int i = 0; i < 2; ++i)
        endless.emplace_back([this] { ask("ENDLESS"); });
    while (system.awaitPrograms("tool.program", 2, std::chrono::milliseconds(0)))
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(ask("COMPLAIN").text(messageItem), "the disk is full");
    EXPECT_EQ(end().status, 0);
    for (std::thread& thread : endless)
        thread.join();
}

TEST_F(ServeTest, aPortServesOtherPrograms) {
    const int probe = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(probe, reinterpret_cast<sockaddr*>(&address), length), 0);
    getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length);
    close(probe);
    const std::string port = std::to_string(ntohs(address.sin_port));
    serve({"--server-host", "127.0.0.1", "--server-port", port, "--reg-count", "2"});
    kelzor::FunctionBuilder greet("GREET");
    greet.add("NAME", ZOR_IMPORT, ZORTYPE_CHAR, 10).add("GREETING", ZOR_EXPORT, ZORTYPE_CHAR, 20);
    auto connection = kelzor::Connection::open({{"SERVER_HOST", "127.0.0.1"}, {"SERVER_PORT", port}});
    kelzor::Function call{greet};
    call.set("NAME", "port");
    connection.invoke(call);
    EXPECT_EQ(call.text("GREETING"), "Hello, port");
    connection.close();
    EXPECT_EQ(end().status, 0);
}

TEST_F(ServeTest, mistakesInTheFileAreToldWithTheirPlace) {
    const struct {
        const char* file;
        const char* text;
    } cases[] = {
        {"{", "no JSON"},
        {"{}", "functions has to hold at least one"},
        {R"({"function": []})", "there is no function here"},
        {R"({"functions": [{"name": "F"}]})", "the file.functions[0]: run has to name a program"},
        {R"({"functions": [{"name": "F", "run": ["x"], "seconds": 0}]})", "seconds have to be at least 1"},
        {R"({"functions": [{"name": "F", "run": ["x"], "parameters": [{"direction": "in"}]}]})",
         "the file.functions[0].parameters[0]: there is no direction in"},
        {R"({"functions": [{"name": "F", "run": ["x"], "parameters": [
             {"direction": "import", "name": "P", "type": "CHAR"}]}]})",
         "a length is missing"},
        {R"({"functions": [{"name": "F", "run": ["x"], "parameters": [
             {"direction": "tables", "name": "P", "of": "NONE"}]}]})",
         "no type NONE is described"},
        {R"({"types": [{"name": "T", "fields": [{"name": "A", "type": "TABLE", "of": "T"}]}],
             "functions": [{"name": "F", "run": ["x"], "parameters": [
             {"direction": "tables", "name": "P", "of": "T"}]}]})",
         "the file.types[0]: type T contains itself"},
    };
    for (const auto& c : cases) {
        write("functions.json", c.file);
        const Outcome outcome = zorLine("serve functions.json --server-port 1");
        EXPECT_EQ(outcome.status, 65) << c.file;
        EXPECT_NE(outcome.err.find(c.text), std::string::npos) << outcome.err;
    }
    write("functions.json", functionFile);
    EXPECT_EQ(zorLine("serve functions.json --gwhost 127.0.0.1").status, 64);
    EXPECT_EQ(zorLine("serve nowhere --server-port 1").status, 66);
    EXPECT_EQ(zorLine("serve functions.json --gwhost 127.0.0.1 --gwserv 1 --tpname x --reg-count 1").status,
              4);
}

// What one back-end tells about a function is enough to serve it, but for the program.
TEST_F(ServeTest, aDescriptionIsADefinition) {
    const Outcome described = zorLine("describe --dest DEV ECHO_STRUCTURE --format json");
    std::string function = described.out;
    function.replace(function.find("{"), 1, R"({"run": ["cat"],)");
    write("functions.json", "{\"functions\": [" + function + "]}");
    serve({"--dest", "DEV", "--tpname", "tool.program", "--reg-count", "1"});
    ASSERT_TRUE(system.awaitPrograms("tool.program", 1)) << contentOf(path("err"));
    zordev::ProgramParameter nested{.name = "C_NESTED", .requested = true};
    nested.value = std::string("\x05\0\0\0Ghent          90000\x07\0\0\0", 28);
    // The program gives back what it got; the imports among it are no results.
    EXPECT_EQ(ask("ECHO_STRUCTURE", {nested}).text(messageItem), "I_FLAT is no result of the function");
}

}  // namespace
