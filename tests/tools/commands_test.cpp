// The program as a user has it: command lines, what they print, and their exit status.

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "program.h"
#include "testpaths.h"

namespace {

using nlohmann::json;
using testing::Test;

// Whether each of the pieces, which are separated by "|", stands in the text, in their order.
bool hasInOrder(const std::string& text, const std::string& pieces) {
    std::size_t at = 0;
    for (std::size_t start = 0; start <= pieces.size();) {
        const std::size_t end = std::min(pieces.find('|', start), pieces.size());
        at = text.find(pieces.substr(start, end - start), at);
        if (at == std::string::npos) return false;
        at += end - start;
        start = end + 1;
    }
    return true;
}

struct CommandCase {
    const char* line;
    int status;
    const char* out;
    const char* err;
    const char* input = "";
};

void expectOutcome(const CommandCase& c, const Outcome& outcome) {
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_TRUE(hasInOrder(outcome.out, c.out)) << outcome.out;
    EXPECT_TRUE(hasInOrder(outcome.err, c.err)) << outcome.err;
    if (*c.err == '\0') {
        EXPECT_EQ(outcome.err, "");
    }
}

class CommandsTest : public ToolTest {
  protected:
    void run(const std::vector<CommandCase>& cases) {
        for (const CommandCase& c : cases) {
            SCOPED_TRACE(c.line);
            expectOutcome(c, zorLine(c.line, c.input));
        }
    }
};

TEST_F(CommandsTest, resultsAreShown) {
    run({
        {"ping --dest DEV --count 2", 0, "answer of ZDV in|(connection and logon took|answer of ZDV", ""},
        {"--format json ping --dest DEV", 0, "\"system\": \"ZDV\"|\"answeredMs\": [", ""},
        {"info --dest DEV --user DEMO", 0,
         "system                         ZDV\n|user                           DEMO\n", ""},
        {"info --DEST DEV --format json", 0, "\"sysId\": \"ZDV\"|\"client\": \"100\"", ""},
        {"describe --dest DEV COUNTRY_GET_LIST", 0,
         "function COUNTRY_GET_LIST\n  DIRECTION  PARAMETER  TYPE|import     LANGUAGE   CHAR            2|"
         "EXCEPTION         TEXT\n  LANGUAGE_UNKNOWN|type COUNTRY_ROW, 188 bytes|OFFICIAL  CHAR     120      "
         "68\n",
         ""},
        {"describe --dest DEV COUNTRY_ROW --kind type", 0, "type COUNTRY_ROW, 188 bytes (376|ALPHA2", ""},
        {"describe --dest DEV ECHO_STRUCTURE --template", 0, "{\n  \"I_FLAT\": {\n    \"ID\": 0,", ""},
        {"call --dest DEV COUNTRY_GET_LIST LANGUAGE=DE --rows 2", 0,
         "COUNT            249\n|INFO.LANGU_ISO   DE\n|COUNTRIES: 249 rows\n  ALPHA2  ALPHA3|  ... and 247 "
         "more\n",
         ""},
        {"call --dest DEV ECHO_STRUCTURE --json - I_FLAT.ID=7 --format json", 0,
         "\"E_FLAT\": {\n    \"ID\": 7,\n    \"CODE\": \"abc\"", "",
         R"({"I_FLAT": {"ID": 5, "CODE": "abc"}})"},
        {"call --dest DEV ECHO_CHANGING C_CHAR=Zürich --all", 0, "C_CHAR     Zürich\n", ""},
        {"call --dest DEV ZOR_PING", 0, "done; the function has no results\n", ""},
        {"search --dest DEV *_GET_LIST", 0,
         "FUNCTIONS: 3 rows\n  FUNCNAME\n  COUNTRY_GET_LIST\n  CURRENCY_GET_LIST\n  LANGUAGE_GET_LIST\n", ""},
        {"search --dest DEV *O*_*DEE*L*E", 0, "FUNCTIONS: 1 row\n  FUNCNAME\n  ECHO_DEEP_TABLE\n", ""},
        {"search --dest DEV NO_SUCH*", 0, "no function is called so", ""},
        {"call --dest DEV ECHO_DEEP --json - --format json", 0,
         "\"E_ORDER\": {|\"TEXT\": \"süß\"|\"WORDS\": [\n      \"one\",\n      \"two\"\n    ]", "",
         R"({"I_ORDER": {"TEXT": "süß", "WORDS": ["one", "two"], "ITEMS": [{"QUANTITY": 2, "NOTES": [{"TEXT": "x"}]}]}})"},
        {"describe --dest DEV ZDEV_NODE", 0, "type ZDEV_NODE,", ""},
        {"describe --dest DEV ZCL_DEV_ORDER", 0,
         "class ZCL_DEV_ORDER\n  parents: ZCL_DEV_BASE\n  interfaces: ZIF_DEV_THING, ZIF_DEV_OTHER\n  "
         "ATTRIBUTE  KIND|BUYER      instance  UBIXOBJECT|ZCL_DEV_PERSON|COUNT      class|Orders so far|type "
         "ZDEV_ITEM_T,",
         ""},
        {"describe --dest DEV ZCL_DEV_ORDER --kind class --format json", 0,
         "\"kind\": \"class\",\n  \"name\": \"ZCL_DEV_ORDER\"|\"class\": \"ZCL_DEV_PERSON\"", ""},
        {"keys", 0, "Where to:\n|--gwhost|GWHOST|--vsl-partner-names", ""},
        {"--version", 0, "zor with 753 Patch Level", ""},
        {"call --help", 0, "--json FILE|--parallel NUMBER", ""},
    });
    EXPECT_EQ(system.violationText(), "");
}

TEST_F(CommandsTest, failuresHaveTheNumberOfTheirGroupAndSayWhatToTry) {
    run({
        {"call --dest DEV COUNTRY_GET_LIST LANGUAGE=?", 1, "",
         "zor: calling COUNTRY_GET_LIST failed: LANGUAGE_UNKNOWN|where    destination DEV, 127.0.0.1, "
         "service|client 100, "
         "user DEMO|code     ZOR_UBIX_EXCEPTION (5), group UBIX_APPLICATION_FAILURE (1)|try      "
         "LANGUAGE_UNKNOWN means: "
         "No such language"},
        {"call --dest DEV country_get_list", 1, "",
         "FU_NOT_FOUND|try      Names are in capitals as a rule: COUNTRY_GET_LIST?"},
        {"call --dest DEV SHORT_DUMP KEY=BOOM TEXT=crash", 2, "", "crash|key      BOOM|short dumps"},
        {"call --dest DEV RAISE_MESSAGE TEXT=no MSGID=ZZ MSGTY=E MSGNO=12 MSGV1=one", 2, "",
         "failed: no|message  ZZ E 012 one"},
        {"ping --dest DEV --user LOCKED", 3, "", "logging on failed: User is locked|try      Check --client"},
        {"ping --dest OPEN", 3, "",
         "logging on failed: Name or password|try      No password was given: --passwd prompt"},
        {"--format json ping --dest OPEN", 3, "",
         "\"exitStatus\": 3|\"code\": \"ZOR_LOGON_FAILURE\"|\"where\": \"destination OPEN"},
        {"ping --gwhost 127.0.0.1 --gwserv 1x", 4, "",
         "opening the connection failed: |where    127.0.0.1, service 1x|try      Check host"},
        {"ping --dest DEV --lang QQ", 5, "", "Invalid logon language QQ.|try      `zor keys`"},
        {"describe --dest DEV NO_SUCH_THING", 5, "", "knows no function, type or class NO_SUCH_THING"},
    });
}

TEST_F(CommandsTest, mistakesAreFoundBeforeThePartnerIsAsked) {
    const auto before = system.counts().accepted;
    run({
        {"", 64, "", "no command was given|There are: ping, info"},
        {"pong", 64, "", "there is no command pong|Is it ping?"},
        {"ping --gwhot x", 64, "", "there is no option --gwhot|Is it --gwhost?"},
        {"ping more --dest DEV", 64, "", "'more' is one word too many"},
        {"ping", 64, "", "nothing says where to connect|--gwhost"},
        {"ping --dest NONE", 64, "", "has no destination NONE|It has: DEV, OPEN."},
        {"ping --dest DEV --ini nowhere/kelzor.ini", 66, "", "nowhere/kelzor.ini can't be read"},
        {"ping --dest DEV --ini input", 64, "", "input isn't called kelzor.ini"},
        {"ping --dest DEV --trace 9", 64, "", "--trace takes a level from 0 to 3"},
        {"ping --dest DEV --trace-dir nowhere", 64, "", "no trace can be written to nowhere"},
        {"ping --dest DEV --passwd geheim", 64, "", "a secret isn't taken from the command line"},
        {"ping --dest DEV --passwd fd:99", 66, "", "file descriptor 99 can't be read"},
        {"ping --dest DEV --passwd file:nowhere", 66, "", "nowhere can't be read"},
        {"ping --dest DEV --passwd env:NOT_THERE", 66, "", "the environment has no variable NOT_THERE"},
        {"ping --dest DEV --passwd prompt", 66, "", "there is no terminal to ask"},
        {"ping --dest DEV --format xml", 64, "", "--format"},
        {"call --dest DEV", 64, "", "name is required"},
        {"call --dest DEV F PARAMETER", 64, "", "'PARAMETER' is no parameter: NAME=VALUE"},
        {"call --dest DEV F --json nowhere", 66, "", "nowhere can't be read"},
        {"call --dest DEV F --json -", 65, "", "the standard input is no JSON at line 1, column 6",
         "{\"A\" 1}"},
        {"call --dest DEV F --repeat 0", 64, "", "--repeat"},
        {"call --dest DEV F --parallel 2", 64, "", "--parallel requires --repeat"},
        {"completion tcsh", 64, "", "tcsh"},
    });
    EXPECT_EQ(system.counts().accepted, before);
    run({
        {"call --dest DEV ECHO_SCALARS I_INTT=1", 65, "", "there is no parameter I_INTT|Is it I_INT?"},
        {"call --dest DEV ECHO_SCALARS I_INT=99999999999999999999", 65, "",
         "I_INT: 99999999999999999999 is beyond all integers"},
        {"call --dest DEV ECHO_STRUCTURE I_FLAT=1", 65, "",
         "I_FLAT: type STRUCTURE takes an object, not a text|zor describe ECHO_STRUCTURE"},
    });
}

TEST_F(CommandsTest, passwordsComeFromWhereTheUserSays) {
    write("secret", "welcome\nsecond line\n");
    const std::vector<std::string> base = {"ping", "--dest", "OPEN", "--passwd"};
    const auto with = [&](const std::string& source) {
        std::vector<std::string> arguments = base;
        arguments.push_back(source);
        return arguments;
    };
    EXPECT_EQ(zor(with("file:secret")).status, 0);
    EXPECT_EQ(zor(with("fd:0"), "welcome\n").status, 0);
    EXPECT_EQ(zor(with("env:MY_SECRET"), "", {"MY_SECRET=welcome"}).status, 0);
    EXPECT_EQ(zor(with("fd:0"), "wrong\n").status, 3);
    EXPECT_EQ(zor(with("fd:0"), "\n").err.substr(0, 24), "zor: the secret is empty");
    // With a user and nothing to log on with, a terminal is asked, and shows nothing of the answer.
    const Outcome asked = zorAtTerminal({"ping", "--dest", "OPEN"}, "Password of DEMO: ", "welcome\n");
    EXPECT_EQ(asked.status, 0) << asked.out;
    EXPECT_NE(asked.out.find("answer of ZDV"), std::string::npos) << asked.out;
    EXPECT_EQ(asked.out.find("welcome"), std::string::npos) << asked.out;
    EXPECT_EQ(zorAtTerminal({"ping", "--dest", "OPEN", "--batch"}, "Password", "welcome\n").status, 3);
    const Outcome interrupted = zorAtTerminal({"ping", "--dest", "OPEN"}, "Password of DEMO: ", "\x03");
    EXPECT_EQ(interrupted.status, 130) << interrupted.out;
}

TEST_F(CommandsTest, tracesAreWrittenWithoutThePassword) {
    std::filesystem::create_directory(path("traces"));
    EXPECT_EQ(zorLine("ping --dest DEV --trace 3 --trace-dir traces").status, 0);
    std::string all;
    for (const auto& file : std::filesystem::directory_iterator(path("traces")))
        all += contentOf(file.path());
    EXPECT_NE(all.find("ZorPing"), std::string::npos);
    EXPECT_EQ(all.find("welcome"), std::string::npos);
}

TEST_F(CommandsTest, aLoadTrialCountsItsCalls) {
    const Outcome outcome =
        zorLine("call --dest DEV ECHO_CHANGING C_INT=1 --repeat 40 --parallel 3 --format json");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const json summary = json::parse(outcome.out);
    EXPECT_EQ(summary["calls"], 40);
    EXPECT_EQ(summary["failed"], 0);
    EXPECT_EQ(summary["connections"], 3);
    EXPECT_LE(summary["latencyMs"]["min"], summary["latencyMs"]["p50"]);
    EXPECT_LE(summary["latencyMs"]["p99"], summary["latencyMs"]["max"]);
    unsigned calls = 0;
    for (const zordev::RecordedRequest& request : system.requests())
        if (request.function == "ECHO_CHANGING") calls++;
    EXPECT_EQ(calls, 40u);
    run({
        {"call --dest DEV COUNTRY_GET_LIST LANGUAGE=? --repeat 10 --keep-going", 1,
         "calls       10 in|failed      10\n|failure     10 x ZOR_UBIX_EXCEPTION LANGUAGE_UNKNOWN\n",
         "LANGUAGE_UNKNOWN"},
        {"call --dest DEV SHORT_DUMP KEY=BOOM --repeat 4 --keep-going", 2, "calls       4 in|failed      4\n",
         "BOOM"},
        {"call --dest DEV SHORT_DUMP KEY=BOOM --repeat 4", 2, "calls       1 in|failed      1\n", "BOOM"},
        {"call --dest OPEN ECHO_CHANGING --repeat 4 --parallel 2", 3, "", "logging on failed"},
    });
}

TEST_F(CommandsTest, anInterruptCancelsTheCall) {
    for (const char* more : {"--all", "--repeat=5"}) {
        SCOPED_TRACE(more);
        system.clearRequests();
        const pid_t child = start({"call", "--dest", "DEV", "SLEEP", "MILLISECONDS=60000", more});
        const auto calling = [&] {
            const auto requests = system.requests();
            return !requests.empty() && requests.back().function == "SLEEP";
        };
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!calling() && std::chrono::steady_clock::now() < limit)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_TRUE(calling());
        kill(child, SIGINT);
        EXPECT_EQ(finish(child).status, 130);
    }
}

TEST_F(CommandsTest, whatCannotBeWrittenIsAFailure) {
    EXPECT_EQ(std::system(("cd " + folder.string() + " && " KELZOR_ZOR " keys > /dev/full 2> err").c_str()),
              74 << 8);
    EXPECT_NE(contentOf(path("err")).find("the result can't be written"), std::string::npos);
}

TEST_F(CommandsTest, theDevelopmentSystemIsBesideTheTool) {
    const Outcome help = zorLine("dev --help");
    EXPECT_EQ(help.status, 0) << help.err;
    EXPECT_NE(help.out.find("--end-with-input"), std::string::npos);
    EXPECT_NE(zorLine("dev --port 0 --end-with-input").out.find("\"gwserv\":"), std::string::npos);
}

TEST_F(CommandsTest, bashCompletesCommandsOptionsAndDestinations) {
    write("zor.bash", zorLine("completion bash").out);
    const struct {
        const char* words;
        const char* completions;
    } cases[] = {
        {"zor ca", "call"},
        {"zor --gwh", "--gwhost"},
        {"zor call --keep-", "--keep-going"},
        {"zor ping --format js", "json"},
        {"zor ping --dest O", "OPEN"},
        {"zor describe --kind c", "class"},
        {"zor ping --passwd pr", "prompt"},
    };
    for (const auto& c : cases) {
        const std::string script = std::string("source zor.bash; COMP_WORDS=(") + c.words +
                                   "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _zor; echo \"${COMPREPLY[*]}\"";
        const std::string command = "cd " + folder.string() + " && bash -c '" + script + "' > completed";
        EXPECT_EQ(std::system(command.c_str()), 0);
        EXPECT_EQ(contentOf(path("completed")), std::string(c.completions) + "\n") << c.words;
    }
}

}  // namespace
