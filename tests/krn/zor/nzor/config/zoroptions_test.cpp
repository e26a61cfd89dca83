#include "config/zoroptions.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "krn/zor/nzor/config/process_fixture.h"

namespace {

using Pairs = std::vector<ZOR_CONNECTION_PARAMETER>;

class ZorOptionsTest : public ProcessFixture {
  protected:
    /** With a host, so that only what a test is about can be missing. */
    static ZorOptions parsed(Pairs pairs) {
        pairs.push_back({"ASHOST", "somewhere"});
        return parsedAlone(pairs);
    }

    static ZorOptions parsedAlone(const Pairs& pairs, int argc = 0, KEL_UC** argv = nullptr) {
        ZorOptions options;
        options.parseConnString(pairs.data(), static_cast<unsigned>(pairs.size()), argc, argv);
        return options;
    }

    static KEL_string refusal(const Pairs& pairs) {
        try {
            (void)parsedAlone(pairs);
        } catch (const ZorInvalidParameterException& failure) {
            EXPECT_EQ(failure.getCode(), ZOR_INVALID_PARAMETER);
            return failure.getMessage();
        }
        return "accepted";
    }
};

struct TextCase {
    Pairs pairs;
    KEL_string ZorOptions::*member;
    const char* value;
};

TEST_F(ZorOptionsTest, Texts) {
    const TextCase cases[] = {
        {{{"ashost", "h"}}, &ZorOptions::ashost, "h"},
        {{{" \tAsHost ", " h "}}, &ZorOptions::ashost, "h"},
        {{{"ASHOST", "/H/router/H/host/H/"}}, &ZorOptions::ashost, "/H/router/H/host"},
        {{{"GWHOST", "g/H/"}}, &ZorOptions::gwhost, "g"},
        {{{"MSHOST", "m/H/H/"}}, &ZorOptions::mshost, "m/H"},
        {{{"KELROUTER", "/H/r/H/"}}, &ZorOptions::kelrouter, "/H/r"},
        {{{"PROGRAM_ID", "B"}, {"TPNAME", "A"}}, &ZorOptions::tpname, "B"},
        {{{"SYSID", "B"}, {"Q7NAME", "A"}}, &ZorOptions::q7name, "A"},
        {{{"SYSID", "B"}}, &ZorOptions::q7name, "B"},
        {{{"USER", "a"}, {"user", "b"}}, &ZorOptions::user, "a"},
        {{{"USER", "  "}, {"USER", "b"}}, &ZorOptions::user, "b"},
        {{{"USER", nullptr}, {nullptr, "x"}, {"", "y"}}, &ZorOptions::user, ""},
        {{}, &ZorOptions::client, "000"},
        {{{"CLIENT", "100"}}, &ZorOptions::client, "100"},
        {{{"LANG", "de"}}, &ZorOptions::lang, "D"},
        {{{"LANG", "ZF"}}, &ZorOptions::lang, "M"},
        {{{"LANG", "d"}}, &ZorOptions::lang, "d"},
        {{}, &ZorOptions::codepage, "1100"},
        {{{"COMM_CP", "123"}}, &ZorOptions::codepage, "1100"},
        {{{"CODEPAGE", "4103"}, {"COMM_CP", "1101"}}, &ZorOptions::codepage, "4103"},
        {{{"MSHOST", "m"}}, &ZorOptions::group, "PUBLIC"},
        {{{"MSHOST", "m"}, {"GROUP", "G"}}, &ZorOptions::group, "G"},
        {{{"MSHOST", "m"}, {"TPNAME", "t"}}, &ZorOptions::group, ""},
        {{{"MSHOST", "m"}, {"DEST", "PRD"}}, &ZorOptions::q7name, "PRD"},
        {{{"MSHOST", "m"}, {"DEST", "PRD"}, {"KELLOGON_ID", "PAD"}}, &ZorOptions::q7name, "PAD"},
        {{{"DEST", "PRD"}}, &ZorOptions::q7name, ""},
        {{{"BIND_ADDRESS", "b"}, {"SERVER_HOST", "s"}}, &ZorOptions::serverHost, "b"},
        {{{"BIND_ADDRESS", "b"}}, &ZorOptions::bindAddr, "b"},
        {{{"UNKNOWN", "x"}}, &ZorOptions::user, ""},
    };
    for (const auto& test : cases)
        EXPECT_EQ(parsed(test.pairs).*test.member, test.value) << (&test - cases);
}

TEST_F(ZorOptionsTest, Numbers) {
    const struct {
        Pairs pairs;
        std::function<long(const ZorOptions&)> get;
        long value;
    } cases[] = {
        {{{"CODEPAGE", "4102"}, {"PCS", "1"}}, [](const auto& o) { return o.pcs; }, 2},
        {{{"PCS", "2"}}, [](const auto& o) { return o.pcs; }, 2},
        {{{"PCS", "3"}}, [](const auto& o) { return o.pcs; }, 1},
        {{{"ON_CCE", "2"}}, [](const auto& o) { return o.ignoreConvErr; }, 2},
        {{{"ON_CCE", "3"}}, [](const auto& o) { return o.ignoreConvErr; }, 0},
        {{{"CFIT", "23"}}, [](const auto& o) { return o.substitute; }, 0x23},
        {{{"REG_COUNT", "0x10"}}, [](const auto& o) { return o.reg_count; }, 16},
        {{{"MAX_REG_COUNT", "010"}}, [](const auto& o) { return o.max_reg_count; }, 8},
        {{{"LCHECK", "no"}}, [](const auto& o) { return o.lcheck; }, 0},
        {{{"VSL_PARTNERNAME", "p:CN=x"}}, [](const auto& o) { return o.vsl_mode; }, 1},
        {{{"VSL_MODE", "0"}, {"VSL_PARTNERNAME", "p:CN=x"}}, [](const auto& o) { return o.vsl_mode; }, 0},
        {{{"UBIX_DEBUG", "1"}}, [](const auto& o) { return o.use_kelgui; }, 1},
        {{{"UBIX_DEBUG", "1"}, {"USE_KELGUI", "2"}}, [](const auto& o) { return o.use_kelgui; }, 2},
        {{{"DELTA", "0"}}, [](const auto& o) { return o.delta; }, 0},
        {{{"DELTA", "-1"}}, [](const auto& o) { return o.delta; }, 0},
        {{{"NO_LUMX", "1"}}, [](const auto& o) { return o.no_lumXml; }, 1},
        {{{"NO_COMPRESSION", "1"}}, [](const auto& o) { return o.compression; }, NO_COMPRESSION},
        {{{"COMPRESSION_TYPE", "wan"}}, [](const auto& o) { return o.compression; }, ZLIB_COMPRESSION},
        {{{"COMPRESSION_TYPE", "xyz"}}, [](const auto& o) { return o.compression; }, LZ4_COMPRESSION},
        {{{"SERIALIZATION_FORMAT", "fast_serialization"}},
         [](const auto& o) { return o.serializationFormat; },
         0x61D1},
        {{{"SERIALIZATION_FORMAT", "FAST_SERIALIZATION"}, {"COMPRESSION_TYPE", "WAN"}},
         [](const auto& o) { return o.serializationFormat; },
         0xA3D1},
        {{{"SERIALIZATION_FORMAT", "fast_serialization"}, {"COMPRESSION_TYPE", "OFF"}},
         [](const auto& o) { return o.serializationFormat; },
         0x21D1},
        {{{"SERIALIZATION_FORMAT", "columnar"}}, [](const auto& o) { return o.serializationFormat; }, 0},
        {{{"USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION", "1"}},
         [](const auto& o) { return o.isZorMetadataGetAvailable; },
         1},
        {{{"PASSWORD_CHANGE_ENFORCED", "yes"}}, [](const auto& o) { return o.password_change_enforced; }, 0},
        {{{"USE_SYMBOLIC_NAMES", "1"}}, [](const auto& o) { return o.use_symbolic_names; }, 1},
    };
    for (const auto& test : cases)
        EXPECT_EQ(test.get(parsed(test.pairs)), test.value) << (&test - cases);
}

TEST_F(ZorOptionsTest, Refusals) {
    const struct {
        Pairs pairs;
        const char* message;
    } cases[] = {
        {{{"ASHOST", "h"}, {"CODEPAGE", "123"}},
         "123 can't be a valid codepage as its length is not 4 characters"},
        {{{"ASHOST", "h"}, {"LANG", "XX"}}, "Invalid logon language XX."},
        {{{"ASHOST", "h"}, {"LANG", "DEU"}}, "Invalid logon language DEU."},
        {{{"USER", "u"}, {"ASHOST", " "}}, "Parameter ASHOST, GWHOST, MSHOST or SERVER_PORT is missing."},
        {{{"DEST", "UNKNOWN"}}, "Parameter ASHOST, GWHOST, MSHOST or SERVER_PORT is missing."},
    };
    for (const auto& test : cases)
        EXPECT_EQ(refusal(test.pairs), test.message);
}

TEST_F(ZorOptionsTest, ArgumentVectorStandsForAHost) {
    KEL_UC name[] = "program";
    KEL_UC* argv[] = {name, name, nullptr};
    const ZorOptions options = parsedAlone({}, 2, argv);
    EXPECT_EQ(options.argc, 2);
    EXPECT_EQ(options.argv, argv);
    EXPECT_THROW(parsedAlone({}, 1, argv), ZorInvalidParameterException);
}

TEST_F(ZorOptionsTest, DestinationIsTheBase) {
    configure(
        "DEFAULT\nZOR_TRACE=1\n"
        "DEST=FILED\nMSHOST=ms\nUSER=filed\nTRACE=3\nUSE_REPOSITORY_ROUNDTRIP_OPTIMIZATION=1\n");
    const ZorOptions options = parsedAlone({{"USER", "given"}, {"DEST", "FILED"}});
    EXPECT_EQ(options.mshost, "ms");
    EXPECT_EQ(options.user, "given");
    EXPECT_EQ(options.q7name, "FILED");
    EXPECT_EQ(options.group, "PUBLIC");
    EXPECT_EQ(options.trace, 1u) << "the global level goes over that of a destination";
    EXPECT_FALSE(options.isZorMetadataGetAvailable) << "holds only where the call itself asks for it";
    EXPECT_EQ(parsedAlone({{"TRACE", "2"}, {"DEST", "FILED"}}).trace, 2u);
}

TEST_F(ZorOptionsTest, EnvironmentNamesTheCodepage) {
    if (ranAlone()) return;
    ::setenv("KEL_CODEPAGE", "1101xy", 1);
    EXPECT_EQ(ZorOptions().codepage, "1101");
}

TEST_F(ZorOptionsTest, TraceShowsNoSecret) {
    const ZorOptions options = parsed({{"PASSWD", "Hidden1"},
                                       {"MYKELSSO2", "Hidden2"},
                                       {"X509CERT", "Hidden3"},
                                       {"EXTIDDATA", "Hidden4"},
                                       {"KELROUTER", "/H/router/P/Hidden5"},
                                       {"USER", "shown"}});
    KEL_ofstream stream;
    stream.open("options.trc");
    options.writeTraceEntry(&stream);
    ZorOptions().writeTraceEntry(&stream);
    stream.close();
    const std::string text = readFile("options.trc");
    EXPECT_EQ(text.rfind(">> ZorOptions\n\tPartner Char Size: 1\n\tClient: 000\n\tUser: shown\n\tAlias: \n"
                         "\tPasswd: (- secret -)\n\tLanguage: \n\tMyKELSSO2: (- secret -)\n",
                         0),
              0u)
        << text;
    EXPECT_NE(text.find("\tPasswd: (- null -)\n"), text.npos);
    EXPECT_NE(text.find("\tSO Keepalive: 0\n<< ZorOptions\n\n"), text.npos);
    EXPECT_NE(text.find("\tKELRouter: /H/router/P/<pass>\n"), text.npos);
    EXPECT_EQ(text.find("Hidden"), text.npos);
}

}  // namespace
