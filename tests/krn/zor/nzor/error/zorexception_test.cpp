#include "error/zorexception.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "api/frame.h"

namespace {

using std::string;

/** One thrown value and what a caller finds in his record. */
struct Row {
    const char* name;
    std::function<void()> raise;
    ZOR_RC code;
    ZOR_ERROR_GROUP group;
    string key;
    string message;
};

const Row rows[] = {
    {"communication", [] { throw ZorCommunicationException("m", 27); }, ZOR_COMMUNICATION_FAILURE,
     COMMUNICATION_FAILURE, "ZOR_COMMUNICATION_FAILURE", "m"},
    {"logon", [] { throw ZorLogonException("m"); }, ZOR_LOGON_FAILURE, LOGON_FAILURE, "ZOR_LOGON_FAILURE",
     "m"},
    {"logon with key", [] { throw ZorLogonException("k", "m"); }, ZOR_LOGON_FAILURE, LOGON_FAILURE, "k", "m"},
    {"serialization", [] { throw ZorSerializationException("m"); }, ZOR_SERIALIZATION_FAILURE,
     EXTERNAL_RUNTIME_FAILURE, "ZOR_SERIALIZATION_FAILURE", "m"},
    {"xml", [] { throw ZorXmlParserException("m"); }, ZOR_SERIALIZATION_FAILURE, EXTERNAL_RUNTIME_FAILURE,
     "ZOR_SERIALIZATION_FAILURE", "m"},
    {"gzip", [] { throw ZorGZIPException("m"); }, ZOR_SERIALIZATION_FAILURE, EXTERNAL_RUNTIME_FAILURE,
     "ZOR_SERIALIZATION_FAILURE", "m"},
    {"lz", [] { throw ZorLZException("m"); }, ZOR_SERIALIZATION_FAILURE, EXTERNAL_RUNTIME_FAILURE,
     "ZOR_SERIALIZATION_FAILURE", "m"},
    {"lumx", [] { throw ZorLumxException("m"); }, ZOR_SERIALIZATION_FAILURE, EXTERNAL_RUNTIME_FAILURE,
     "ZOR_SERIALIZATION_FAILURE", "m"},
    {"ngzor", [] { throw NgZorSerializerException("m"); }, ZOR_SERIALIZATION_FAILURE,
     EXTERNAL_RUNTIME_FAILURE, "ZOR_SERIALIZATION_FAILURE", "m"},
    // Code pages are given in longer texts at times; four characters count.
    {"code page", [] { throw ZorCodepageConversionException("1100xx", "4103"); }, ZOR_CONVERSION_FAILURE,
     EXTERNAL_RUNTIME_FAILURE, "ZOR_CONVERSION_FAILURE",
     "cannot convert from codepage 1100 to codepage 4103"},
    {"code page text", [] { throw ZorCodepageConversionException("m"); }, ZOR_CONVERSION_FAILURE,
     EXTERNAL_RUNTIME_FAILURE, "ZOR_CONVERSION_FAILURE", "m"},
    {"read", [] { throw ZorTypeConversionException("F", ZORTYPE_TABLE, "ZORTYPE_INT"); },
     ZOR_CONVERSION_FAILURE, EXTERNAL_RUNTIME_FAILURE, "ZOR_CONVERSION_FAILURE",
     "F of type ZORTYPE_TABLE cannot be converted to type ZORTYPE_INT"},
    {"read value", [] { throw ZorTypeConversionException("F", ZORTYPE_CHAR, "1x", "ZORTYPE_INT"); },
     ZOR_CONVERSION_FAILURE, EXTERNAL_RUNTIME_FAILURE, "ZOR_CONVERSION_FAILURE",
     "F of type ZORTYPE_CHAR value=1x cannot be converted to type ZORTYPE_INT"},
    {"write, unknown type",
     [] { throw ZorTypeConversionException("F", "ZORTYPE_INT", static_cast<ZORTYPE>(99)); },
     ZOR_CONVERSION_FAILURE, EXTERNAL_RUNTIME_FAILURE, "ZOR_CONVERSION_FAILURE",
     "value with the type ZORTYPE_INT cannot be converted to type ZORTYPE_NULL on the field F"},
    {"buffer", [] { throw ZorBufferTooSmallException("F", "ZORTYPE_CHAR", 3, 4294967295u); },
     ZOR_BUFFER_TOO_SMALL, EXTERNAL_RUNTIME_FAILURE, "ZOR_BUFFER_TOO_SMALL",
     "value with the type ZORTYPE_CHAR does not fit into given buffer with the length 3 required buffer "
     "length 4294967295"},
    {"parameter", [] { throw ZorInvalidParameterException("m"); }, ZOR_INVALID_PARAMETER,
     EXTERNAL_RUNTIME_FAILURE, "ZOR_INVALID_PARAMETER", "m"},
    {"handle", [] { throw ZorInvalidHandleException("m"); }, ZOR_INVALID_HANDLE, EXTERNAL_RUNTIME_FAILURE,
     "ZOR_INVALID_HANDLE", "m"},
    {"state", [] { throw ZorIllegalStateException("m"); }, ZOR_ILLEGAL_STATE, EXTERNAL_RUNTIME_FAILURE,
     "ZOR_ILLEGAL_STATE", "m"},
    {"no server", [] { throw ZorServerNotFoundException("FN"); }, ZOR_NOT_FOUND, EXTERNAL_RUNTIME_FAILURE,
     "ZOR_NOT_FOUND", "Function FN not found"},
    {"memory", [] { throw ZorOutOfMemoryException("m"); }, ZOR_MEMORY_INSUFFICIENT, EXTERNAL_RUNTIME_FAILURE,
     "ZOR_MEMORY_INSUFFICIENT", "m"},
    {"front end", [] { throw ZorStartGUIException("m"); }, ZOR_START_KELGUI_FAILURE, EXTERNAL_RUNTIME_FAILURE,
     "ZOR_START_KELGUI_FAILURE", "m"},
    {"class exception", [] { throw ZorUBIXClassException("CX", "m"); }, ZOR_UBIX_CLASS_EXCEPTION,
     UBIX_APPLICATION_FAILURE, "CX", "m"},
    {"message", [] { throw ZorUBIXMessageException("m"); }, ZOR_UBIX_MESSAGE, UBIX_APPLICATION_FAILURE,
     "ZOR_UBIX_MESSAGE", "m"},
    {"exception", [] { throw ZorUBIXException("k", "m"); }, ZOR_UBIX_EXCEPTION, UBIX_APPLICATION_FAILURE, "k",
     "m"},
    {"system", [] { throw ZorSystemException("m"); }, ZOR_UBIX_RUNTIME_FAILURE, UBIX_RUNTIME_FAILURE,
     "ZOR_UBIX_RUNTIME_FAILURE", "m"},
    {"cancelled", [] { throw ZorSystemException(ZOR_CANCELED, COMMUNICATION_FAILURE, "ZOR_CANCELED", "m"); },
     ZOR_CANCELED, COMMUNICATION_FAILURE, "ZOR_CANCELED", "m"},
    {"plain, nothing said", [] { throw ZorBaseException(ZOR_TIMEOUT, EXTERNAL_RUNTIME_FAILURE, {}, {}); },
     ZOR_TIMEOUT, EXTERNAL_RUNTIME_FAILURE, "", ""},
};

TEST(Exceptions, FillTheRecordByOneClassARow) {
    for (const Row& row : rows) {
        ZOR_ERROR_INFO info;
        std::memset(&info, 'x', sizeof info);
        ZOR_RC rc = ZOR_OK;
        try {
            row.raise();
        } catch (...) {
            rc = zorapi::mapCurrentException(&info);
        }
        SCOPED_TRACE(row.name);
        EXPECT_EQ(rc, row.code);
        EXPECT_EQ(info.code, row.code);
        EXPECT_EQ(info.group, row.group);
        EXPECT_EQ(info.key, row.key);
        EXPECT_EQ(info.message, row.message);
        // Nothing remains of what was there before.
        EXPECT_EQ(string(info.ubixMsgV4, sizeof info.ubixMsgV4), string(sizeof info.ubixMsgV4, '\0'));
    }
}

TEST(Exceptions, WithoutARecordTheCodeIsExact) {
    EXPECT_EQ(ZorIllegalStateException("m").getErrorInfo(nullptr), ZOR_ILLEGAL_STATE);
    EXPECT_EQ(ZorUBIXMessageException("m").getErrorInfo(nullptr), ZOR_UBIX_MESSAGE);
    EXPECT_EQ(ZorCommunicationException("m", 27).getCpicErrorCode(), 27);
    EXPECT_EQ(ZorCommunicationException("m").getCpicErrorCode(), 0);
}

TEST(Exceptions, PlainTextsAreCut) {
    ZOR_ERROR_INFO info;
    const ZorBaseException long_(ZOR_TIMEOUT, COMMUNICATION_FAILURE, string(128, 'k'), string(600, 'm'));
    long_.getErrorInfo(&info);
    EXPECT_EQ(info.key, string(127, 'k'));
    EXPECT_EQ(info.message, string(511, 'm'));
}

TEST(Exceptions, MessageTextsAreWholeOrEmpty) {
    ZOR_ERROR_INFO info;
    const ZorUBIXMessageException fits(UBIX_APPLICATION_FAILURE, string(127, 'k'), string(511, 'm'),
                                       {string(20, 'c'), "EX", "123", string(50, '1'), "2", "3", "4"});
    fits.getErrorInfo(&info);
    EXPECT_EQ(info.key, string(127, 'k'));
    EXPECT_EQ(info.message, string(511, 'm'));
    EXPECT_EQ(info.ubixMsgClass, string(20, 'c'));
    EXPECT_STREQ(info.ubixMsgType, "E");
    EXPECT_STREQ(info.ubixMsgNumber, "123");
    EXPECT_EQ(info.ubixMsgV1, string(50, '1'));
    EXPECT_STREQ(info.ubixMsgV4, "4");

    const ZorUBIXMessageException tooLong(UBIX_APPLICATION_FAILURE, string(128, 'k'), string(512, 'm'),
                                          {string(21, 'c'), "", "1234", string(51, '1'), "2", "3", "4"});
    tooLong.getErrorInfo(&info);
    EXPECT_STREQ(info.key, "");
    EXPECT_STREQ(info.message, "");
    EXPECT_STREQ(info.ubixMsgClass, "");
    EXPECT_STREQ(info.ubixMsgType, "");
    EXPECT_STREQ(info.ubixMsgNumber, "");
    EXPECT_STREQ(info.ubixMsgV1, "");
    EXPECT_STREQ(info.ubixMsgV2, "2");
}

}  // namespace
