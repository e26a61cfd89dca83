// What an operator finds in the trace of a connection, and what must never stand there.

#include <dirent.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "session.h"

namespace {

class TraceTest : public SessionTest {
  protected:
    TraceTest() {
        char pattern[] = "kelzor-trace-XXXXXX";
        directory = mkdtemp(pattern);
        EXPECT_EQ(ZorSetTraceDir(directory.data(), &error), ZOR_OK) << error.message;
    }
    ~TraceTest() override { std::filesystem::remove_all(directory); }

    /** All trace files and the log, one behind the other. */
    std::string written() const {
        std::stringstream all;
        for (const auto& entry : std::filesystem::directory_iterator(directory))
            all << std::ifstream(entry.path()).rdbuf();
        return all.str();
    }

    std::string directory;
};

TEST_F(TraceTest, aFailedCallCanBeReadFromTheTrace) {
    const ZOR_CONNECTION_HANDLE connection = connect({{"TRACE", "3"}});
    Function function("RAISE_EXCEPTION");
    function.setText("NAME", "NOT_FOUND");
    EXPECT_EQ(invoke(connection, function), ZOR_UBIX_EXCEPTION);
    const std::string trace = written();
    for (const char* part :
         {">> ZorOpenConnection\n", "<< ZorOpenConnection returned ZOR_OK\n", "\t>> ZorConnection::openNew\n",
          ">> ZorInvoke\n", "Invoking RAISE_EXCEPTION on handle ",
          "<< ZorInvoke returned ZOR_UBIX_EXCEPTION\n", "\tZOR_ERROR_INFO.key: NOT_FOUND\n"})
        EXPECT_NE(trace.find(part), std::string::npos) << part << "\nin\n" << trace;
}

TEST_F(TraceTest, theLevelOfAConnectionIsItsOwn) {
    const ZOR_CONNECTION_HANDLE loud = connect();
    const ZOR_CONNECTION_HANDLE quiet = connect();
    ASSERT_EQ(ZorSetTraceLevel(loud, nullptr, 1, &error), ZOR_OK) << error.message;
    std::string nowhere = "NOWHERE";
    EXPECT_EQ(ZorSetTraceLevel(loud, nowhere.data(), 3, &error), ZOR_INVALID_PARAMETER);
    for (const ZOR_CONNECTION_HANDLE connection : {loud, quiet})
        EXPECT_EQ(ZorPing(connection, &error), ZOR_OK) << error.message;
    const std::string trace = written();
    EXPECT_EQ(trace.find(">> ZorPing\n"), trace.rfind(">> ZorPing\n"));
    EXPECT_NE(trace.find("<< ZorPing returned ZOR_OK\n"), trace.npos);
    EXPECT_EQ(trace.find("HEXDUMP"), trace.npos) << "a failed call left the level at 1";
    EXPECT_NE(trace.find("Changing trace level: handle " + std::to_string(std::uintptr_t(loud)) +
                         " / destination NULL / level 1\n"),
              trace.npos);
}

TEST_F(TraceTest, connectionsAndParametersStandInTheTrace) {
    for (const char* level : {"1", "3"}) {
        const bool values = level[0] == '3';
        const ZOR_CONNECTION_HANDLE connection = connect({{"TRACE", level}});
        Function function("ECHO_TABLE");
        const ZOR_TABLE_HANDLE lines = function.table("LINES");
        for (const char* text : {"one", "two"}) {
            ASSERT_NE(ZorAppendNewRow(lines, &error), nullptr);
            ASSERT_EQ(ZorSetString(lines, "TEXT", text, 3, &error), ZOR_OK);
        }
        ASSERT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        unsigned rows = 0;
        EXPECT_EQ(ZorGetRowCount(lines, &rows, &error), ZOR_OK);
        EXPECT_EQ(rows, 2u);
        ASSERT_EQ(ZorCloseConnection(connection, &error), ZOR_OK);
        const std::string trace = written();
        const std::string parameter =
            ">> LINES, ZORTYPE_TABLE, Length: 100, Active: true, Requested: false\n";
        const std::string number = std::to_string(std::uintptr_t(connection));
        const std::string parts[] = {
            ">> ZorFunctionname=\"ECHO_TABLE\"\n" + parameter,
            ">> ZorConnection\n\tHandle: " + number + "\n\tTrace: " + level + "\n\tRole: C\n",
            "<< ZorConnection\n\n>> CpicConnection\n\tCPIC Handle: ", "\tGateway Host: 127.0.0.1\n",
            "\tAll Received: true\n\tConnected: true\n\tDeallocated: false\n\tAccepted: false\n"
            "\tServer Mode: false\n\tRegistered Mode: false\n\tJust Accepted: false\n<< CpicConnection\n\n"};
        for (const std::string& part : parts)
            EXPECT_NE(trace.find(part), trace.npos) << part << "\nin\n" << trace.substr(0, 6000);
        EXPECT_NE(trace.find(parameter), trace.rfind(parameter)) << "before the call and after it";
        EXPECT_EQ(trace.find(parameter + "\tLINES[0].TEXT: one") != trace.npos, values);
        EXPECT_EQ(trace.find("\tLINES[1].TEXT: two") != trace.npos, values);
    }
}

TEST_F(TraceTest, thePasswordStandsNowhere) {
    const std::string password = "Very-Secret-17";
    error = {};
    EXPECT_EQ(open(logon({{"TRACE", "3"}, {"PASSWD", password}}), error), nullptr);
    EXPECT_EQ(error.code, ZOR_LOGON_FAILURE);
    const std::string trace = written();
    EXPECT_NE(trace.find("ZorOpenConnection"), std::string::npos);
    EXPECT_NE(trace.find("(- secret -)"), std::string::npos);
    EXPECT_EQ(trace.find(password), std::string::npos);
    EXPECT_EQ(trace.find("Very-Secret"), std::string::npos);
    // Neither does its scrambled form: the bytes are known from what the partner got.
    const auto requests = system.requests();
    ASSERT_FALSE(requests.empty());
    const std::string scrambled = requests[0].text(item::scrambledPassword);
    std::string hex;
    for (const char c : scrambled.substr(0, 4)) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(c));
        hex += digits;
    }
    EXPECT_EQ(trace.find(hex), std::string::npos);
}

/** The text columns of all dumps, joined. */
std::string dumpedText(const std::string& trace) {
    std::string text;
    std::istringstream lines(trace);
    constexpr std::size_t column = 46, width = 16;
    for (std::string line; std::getline(lines, line);)
        if (line.size() == column + width + 1 && line[7] == '|' && line[column - 1] == '|')
            text += line.substr(column, width);
    return text;
}

TEST_F(TraceTest, aSecretParameterIsCoveredInWhatIsSent) {
    const ZOR_TYPE_DESC_HANDLE inner = ZorCreateTypeDesc("LOGON_DATA", &error);
    ZOR_FIELD_DESC field{};
    std::snprintf(field.name, sizeof field.name, "PASSWORD");
    field.type = ZORTYPE_CHAR;
    field.nucLength = 20;
    field.ucLength = 40;
    ASSERT_EQ(ZorAddTypeField(inner, &field, &error), ZOR_OK) << error.message;
    ASSERT_EQ(ZorSetTypeLength(inner, 20, 40, &error), ZOR_OK) << error.message;
    const ZOR_FUNCTION_DESC_HANDLE description = ZorCreateFunctionDesc("NOBODY_HAS_IT", &error);
    for (const char* name : {"REMARK", "OLD_PASSWORD", "LOGON"}) {
        ZOR_PARAMETER_DESC parameter{};
        std::snprintf(parameter.name, sizeof parameter.name, "%s", name);
        const bool structure = std::string_view(name) == "LOGON";
        parameter.type = structure ? ZORTYPE_STRUCTURE : ZORTYPE_CHAR;
        parameter.direction = ZOR_IMPORT;
        parameter.nucLength = 20;
        parameter.ucLength = 40;
        parameter.typeDescHandle = structure ? inner : nullptr;
        ASSERT_EQ(ZorAddParameter(description, &parameter, &error), ZOR_OK) << error.message;
    }
    const ZOR_FUNCTION_HANDLE call = ZorCreateFunction(description, &error);
    ZOR_STRUCTURE_HANDLE data = nullptr;
    ASSERT_EQ(ZorGetStructure(call, "LOGON", &data, &error), ZOR_OK) << error.message;
    EXPECT_EQ(ZorSetString(call, "REMARK", "seen-by-everybody", 17, &error), ZOR_OK);
    EXPECT_EQ(ZorSetString(call, "OLD_PASSWORD", "Very-Secret-17", 14, &error), ZOR_OK);
    EXPECT_EQ(ZorSetString(data, "PASSWORD", "Very-Secret-18", 14, &error), ZOR_OK);
    EXPECT_NE(invoke(connect({{"TRACE", "3"}}), call), ZOR_OK);
    ZorDestroyFunction(call, nullptr);
    ZorDestroyTypeDesc(inner, nullptr);
    const std::string trace = written(), dumped = dumpedText(trace);
    EXPECT_NE(dumped.find("seen-by-everybody"), dumped.npos) << trace;
    EXPECT_NE(dumped.find("OLD_PASSWORD"), dumped.npos);
    EXPECT_NE(dumped.find("*******************"), dumped.npos);
    for (const std::string& all : {trace, dumped})
        EXPECT_EQ(all.find("-Secret-"), all.npos) << all;
}

TEST_F(TraceTest, theTransportTellsWhatFailed) {
    ASSERT_EQ(ZorSetCpicTraceLevel(1, &error), ZOR_OK);
    const std::string password = "Very-Secret-17";
    EXPECT_EQ(open(logon({{"GWSERV", "01"}, {"PASSWD", password}}), error), nullptr);
    EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE);
    EXPECT_EQ(ZorSetCpicTraceLevel(0, &error), ZOR_OK);
    const std::string trace = written();
    for (const char* part :
         {"] ***LOG Q0I=> NiIConnect", "(111: Connection refused) [ni", "\n*  ERROR       partner '"})
        EXPECT_NE(trace.find(part), std::string::npos) << part << "\nin\n" << trace;
    EXPECT_EQ(trace.find("Very-Secret"), std::string::npos);
}

TEST_F(TraceTest, withoutATraceLevelNothingIsWritten) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("ECHO_TEN_SCALARS");
    ASSERT_EQ(invoke(connection, function), ZOR_OK);
    EXPECT_EQ(written(), "");
}

}  // namespace
