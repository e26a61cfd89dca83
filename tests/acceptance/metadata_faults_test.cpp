// Answers of the partner that contradict themselves, and threads that share a repository.

#include <atomic>
#include <thread>

#include "metadatafixture.h"

namespace {

using std::string;
using zordev::DictionaryFault;

const struct FaultRow {
    DictionaryFault fault;
    const char* type;  ///< What is asked for: a type, or else a function.
    const char* function;
    const char* classic;    ///< Code, key and message; null where nothing is wrong on that road.
    const char* roundTrip;  ///< The same in one round trip.
} faults[] = {
    {DictionaryFault::overlappingOffsets, "ECHO_MIXED", nullptr,
     "20 ZOR_INVALID_PARAMETER: non-unicode offset overlaps with the existing elements", nullptr},
    {DictionaryFault::shortRecord, "ECHO_MIXED", nullptr,
     "20 ZOR_INVALID_PARAMETER: inconsistence in description detected: non-unicode length is too small",
     "20 ZOR_INVALID_PARAMETER: inconsistence in description detected: non-unicode length is too small"},
    {DictionaryFault::longRecord, "ECHO_MIXED", nullptr,
     "20 ZOR_INVALID_PARAMETER: record length is out of range", nullptr},
    {DictionaryFault::narrowerWide, "ECHO_MIXED", nullptr,
     "20 ZOR_INVALID_PARAMETER: non-unicode length is greater than unicode length",
     "20 ZOR_INVALID_PARAMETER: non-unicode length is greater than unicode length"},
    {DictionaryFault::doubleName, "ECHO_MIXED", nullptr,
     "20 ZOR_INVALID_PARAMETER: Field with name ID already exists. All field names have to be unique",
     "20 ZOR_INVALID_PARAMETER: Field with name ID already exists. All field names have to be unique"},
    {DictionaryFault::unknownLineType, "ZDEV_ORDER", nullptr,
     "28 INTERNAL_ERROR: Type ZDEV_ITEM_T used by ZDEV_ORDER could not be resolved",
     "28 EXTERNAL_RUNTIME_FAILURE: Incomplete metadata returned by ZOR_METADATA_GET"},
    {DictionaryFault::unknownLineType, nullptr, "ECHO_DEEP_TABLE",
     "28 INTERNAL_ERROR: Type DEEP_ITEM used by DEEP_ITEM_T could not be resolved",
     "28 EXTERNAL_RUNTIME_FAILURE: Incomplete metadata returned by ZOR_METADATA_GET"},
    {DictionaryFault::circularLines, "ZDEV_ORDER", nullptr,
     "28 INTERNAL_ERROR: Type ZDEV_ITEM_T used by ZDEV_ORDER could not be resolved", nullptr},
    {DictionaryFault::circularStructure, "ECHO_MIXED", nullptr,
     "20 ZOR_INVALID_PARAMETER: Type ECHO_MIXED contains itself",
     "20 ZOR_INVALID_PARAMETER: Type ECHO_MIXED contains itself"},
    {DictionaryFault::bottomless, "ZDEV_PERSON", nullptr,
     "20 ZOR_INVALID_PARAMETER: structures are nested too deeply", nullptr},
    {DictionaryFault::negativeLength, nullptr, "ECHO_SCALARS",
     "20 ZOR_INVALID_PARAMETER: record length is out of range",
     "20 ZOR_INVALID_PARAMETER: record length is out of range"},
    {DictionaryFault::unknownLetter, "ECHO_MIXED", nullptr, nullptr,
     "28 EXTERNAL_RUNTIME_FAILURE: undefined comptype returned by ZOR_METADTA_GET"},
    {DictionaryFault::brokenDigits, "ECHO_MIXED", nullptr,
     "20 ZOR_INVALID_PARAMETER: non-unicode offset overlaps with the existing elements", nullptr},
    {DictionaryFault::doubleName, nullptr, "ECHO_SCALARS",
     "20 ZOR_INVALID_PARAMETER: Field with name TWICE already exists and can not be regarded as CHANGING "
     "parameter",
     "20 ZOR_INVALID_PARAMETER: Field with name TWICE already exists and can not be regarded as CHANGING "
     "parameter"},
};

class MetadataFaultTest : public MetadataTest {
  protected:
    bool asks(ZOR_CONNECTION_HANDLE connection, const FaultRow& row) {
        return row.type != nullptr ? ZorGetTypeDesc(connection, row.type, &error) != nullptr
                                   : ZorGetFunctionDesc(connection, row.function, &error) != nullptr;
    }

    /** The fault is told, nothing is cached, and the next question is answered. */
    void expectFailure(ZOR_CONNECTION_HANDLE connection, const FaultRow& row, const char* expected) {
        if (expected == nullptr) return;
        SCOPED_TRACE(expected);
        system.setDictionaryFault(row.fault);
        EXPECT_FALSE(asks(connection, row));
        EXPECT_EQ(failure(), expected);
        for (const char* name : {"ECHO_MIXED", "ZDEV_ORDER", "ZDEV_PERSON", "ZDEV_CITY", "DEEP_ITEM_T",
                                 "DEEP_NOTE_T", "ZDEV_LEVEL_1"})
            EXPECT_EQ(ZorGetCachedTypeDesc("MTD", name, nullptr), nullptr) << name;
        system.setDictionaryFault(DictionaryFault::none);
        EXPECT_TRUE(asks(connection, row)) << failure();
        ZorClearRepository("MTD", nullptr);
    }
};

TEST_F(MetadataFaultTest, areToldAndLeaveTheRepositoryAsItWas) {
    const ZOR_CONNECTION_HANDLE classic = connect();
    const ZOR_CONNECTION_HANDLE roundTrip = connect({{"USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION", "1"}});
    for (const FaultRow& row : faults) {
        expectFailure(classic, row, row.classic);
        expectFailure(roundTrip, row, row.roundTrip);
    }
}

TEST_F(MetadataFaultTest, anAnswerThatEndsEarlyCachesNothing) {
    // The logon takes some 900 bytes of the gateway's answers, the lookup many thousands.
    for (std::size_t cut = 1500; cut < 60000; cut += 1777) {
        zordev::Faults cutting;
        system.setFaults(cutting);
        const ZOR_CONNECTION_HANDLE connection = connect();
        cutting.cutAfterBytes = cut;
        system.setFaults(cutting);
        if (ZorGetFunctionDesc(connection, "ECHO_DEEP", &error) != nullptr) break;
        EXPECT_EQ(error.code, ZOR_COMMUNICATION_FAILURE) << cut << failure();
        EXPECT_FALSE(isValid(connection));
        for (const char* name : {"DEEP_ORDER", "DEEP_ITEM_T", "DEEP_PLACE"})
            EXPECT_EQ(ZorGetCachedTypeDesc("MTD", name, nullptr), nullptr) << name << cut;
    }
    clientMayBreakRules = true;
}

TEST_F(MetadataFaultTest, threadsShareARepositoryThatIsClearedMeanwhile) {
    constexpr int rounds = 60;
    std::atomic<bool> done = false;
    std::atomic<unsigned> good = 0;
    const auto look = [&](ZOR_CONNECTION_HANDLE connection) {
        ZOR_ERROR_INFO info{};
        for (int i = 0; i < rounds; ++i)
            for (const char* name : {"ECHO_DEEP", "ECHO_STRUCTURE", "ZDEV_GENERIC"}) {
                const ZOR_FUNCTION_DESC_HANDLE desc = ZorGetFunctionDesc(connection, name, &info);
                ASSERT_NE(desc, nullptr) << info.message;
                // Cleared in the meantime, the handle is refused and no more.
                const ZOR_FUNCTION_HANDLE container = ZorCreateFunction(desc, &info);
                if (container == nullptr) {
                    ASSERT_EQ(info.code, ZOR_INVALID_PARAMETER) << info.message;
                    continue;
                }
                ++good;
                ZorDestroyFunction(container, nullptr);
            }
    };
    const ZOR_CONNECTION_HANDLE first = connect();
    const ZOR_CONNECTION_HANDLE second = connect({{"USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION", "1"}});
    std::thread clearer([&] {
        while (!done) {
            ZorClearRepository("MTD", nullptr);
            std::this_thread::yield();
        }
    });
    std::thread one([&] { look(first); });
    std::thread other([&] { look(second); });
    one.join();
    other.join();
    done = true;
    clearer.join();
    EXPECT_GT(good, 0u);
}

}  // namespace
