// Descriptions from partners on other machines: they are the same whatever the partner's numbers look like.

#include "metadatafixture.h"

namespace {

using std::string;

struct Machine {
    const char* name;
    bool bigEndian = false;
    bool hexFloat = false;
    const char* codePage = "1100";
    zordev::Byte characterClass = 1;
};

constexpr Machine plain{"Plain"};

zordev::DevOptions optionsOf(const Band& band, const Machine& machine) {
    zordev::DevOptions options = optionsOf(band);
    options.profile.bigEndian = machine.bigEndian;
    options.profile.hexFloat = machine.hexFloat;
    options.profile.codePage = options.profile.systemCodePage = machine.codePage;
    options.profile.characterClass = machine.characterClass;
    return options;
}

/** All that a partner tells about some functions, types and a class; failures stand in their places. */
class Told {
  public:
    Told(const Band& band, const Machine& machine, const char* roundTrips)
        : system(optionsOf(band, machine)) {
        ZorClearRepository("MTD", nullptr);
        const ZOR_CONNECTION_HANDLE connection = open({{"GWHOST", "127.0.0.1"},
                                                       {"GWSERV", system.gatewayService()},
                                                       {"CLIENT", "100"},
                                                       {"USER", "DEMO"},
                                                       {"PASSWD", "welcome"},
                                                       {"USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION", roundTrips}},
                                                      error);
        EXPECT_NE(connection, nullptr) << error.message;
        for (const char* name : {"ECHO_SCALARS", "ECHO_STRUCTURE", "ECHO_TABLE", "ZDEV_GENERIC"}) {
            const ZOR_FUNCTION_DESC_HANDLE found = ZorGetFunctionDesc(connection, name, &error);
            add(name, found != nullptr ? parametersOf(found) : "");
        }
        for (const char* name : {"ECHO_MIXED", "ZDEV_PERSON", "ZDEV_ORDER"}) {
            const ZOR_TYPE_DESC_HANDLE found = ZorGetTypeDesc(connection, name, &error);
            add(name, found != nullptr ? shapeOf(found) + " " + fieldsOf(found) : "");
        }
        addClass(connection);
        ZorCloseConnection(connection, nullptr);
        EXPECT_EQ(system.violationText(), "");
    }

    string text;

  private:
    void add(const char* name, const string& description) {
        text += name + (": " + description);
        if (description.empty()) text += std::to_string(error.code) + " " + error.message;
        text += "\n";
    }
    void addClass(ZOR_CONNECTION_HANDLE connection) {
        const ZOR_CLASS_DESC_HANDLE found = ZorGetClassDesc(connection, "ZCL_DEV_ORDER", &error);
        ZOR_CLASS_ATTRIBUTE_DESC count{};
        if (found != nullptr) ZorGetClassAttributeDescByName(found, "COUNT", &count, &error);
        add("ZCL_DEV_ORDER",
            found != nullptr ? string(count.description) + std::to_string(count.nucLength) : "");
    }

    zordev::DevSystem system;
    ZOR_ERROR_INFO error{};
};

class PartnerBandTest : public testing::TestWithParam<Band> {};

TEST_P(PartnerBandTest, theFormatOfNumbersMakesNoDifference) {
    for (const char* roundTrips : {"0", "1"}) {
        if (*roundTrips == '1' && *GetParam().release < '6') continue;  // the partner has no such function
        const string expected = Told(GetParam(), plain, roundTrips).text;
        EXPECT_NE(expected.find("QUANTITY:INT2@8+2"), string::npos) << expected;
        for (const Machine& machine : {Machine{"Big", true}, Machine{"Hexadecimal", true, true}})
            EXPECT_EQ(Told(GetParam(), machine, roundTrips).text, expected) << machine.name << roundTrips;
    }
}

INSTANTIATE_TEST_SUITE_P(Releases, PartnerBandTest,
                         testing::Values(Band{"31H"}, Band{"45B"}, Band{"46B"}, Band{"46C"}, Band{"46D"},
                                         Band{"470"}, Band{"500"}, Band{"620"}, Band{"701"}, Band{"702"},
                                         Band{"753"}),
                         [](const auto& info) { return string(info.param.release); });

/** A partner whose characters have two bytes: in its own memory, and maybe on the way as well. */
class WidePartnerTest : public SessionTest {
  protected:
    explicit WidePartnerTest(const Machine& machine = {"TwoBytes", false, false, "4103", 5})
        : SessionTest(optionsOf({"753"}, machine)) {
        ZorClearRepository("MTD", nullptr);
    }
};

TEST_F(WidePartnerTest, lengthsAreThoseOfBothLayoutsAllTheSame) {
    const Machine wideSystem{"Wide", false, false, "4103"};
    for (const char* roundTrips : {"0", "1"})
        EXPECT_EQ(Told({"753"}, wideSystem, roundTrips).text, Told({"753"}, plain, roundTrips).text);
    // Where it can't be asked for one of the layouts, what it tells stands for both.
    EXPECT_NE(Told({"46D"}, wideSystem, "0").text.find("CODE:CHAR@4+3/4+3 FLAG:INT1@7+1/7+1"), string::npos);
}

// The answers are records without an image in that layout: they can't come, and nothing is asked.
TEST_F(WidePartnerTest, charactersOfTwoBytesOnTheWayLeaveNothingToAsk) {
    for (const char* roundTrips : {"0", "1"}) {
        const ZOR_CONNECTION_HANDLE connection =
            connect({{"PCS", "2"}, {"USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION", roundTrips}});
        const size_t before = system.requests().size();
        EXPECT_EQ(ZorGetFunctionDesc(connection, "ECHO_SCALARS", &error), nullptr);
        EXPECT_EQ(error.code, ZOR_SERIALIZATION_FAILURE) << error.message;
        EXPECT_EQ(ZorGetTypeDesc(connection, "ECHO_MIXED", &error), nullptr);
        EXPECT_EQ(error.code, ZOR_SERIALIZATION_FAILURE) << error.message;
        EXPECT_EQ(system.requests().size(), before);
        EXPECT_EQ(ZorPing(connection, &error), ZOR_OK) << error.message;
    }
}

}  // namespace
