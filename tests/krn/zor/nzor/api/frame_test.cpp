#include "api/frame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "error/zorexception.h"

using namespace zorapi;

namespace {

/** A level that is given, so that no configuration takes part. */
struct FixedLevel {
    static constexpr unsigned threshold = callThreshold;
    unsigned level = 0;
    unsigned operator()() const noexcept { return level; }
};

/** A record in which every member tells whether it was touched. */
ZOR_ERROR_INFO usedRecord() {
    ZOR_ERROR_INFO info;
    std::memset(&info, 0, sizeof info);
    info.code = ZOR_TIMEOUT;
    info.group = LOGON_FAILURE;
    std::strcpy(info.key, "old key");
    std::strcpy(info.message, "old message");
    std::strcpy(info.ubixMsgV1, "old V1");
    return info;
}

template <class Checks, class Work>
ZOR_RC call(ZOR_ERROR_INFO* info, const Checks& all, Work&& work) {
    return guarded("ZorTest", info, FixedLevel{}, all, work);
}

TEST(Frame, SuccessTouchesTheCodeAlone) {
    ZOR_ERROR_INFO info = usedRecord();
    EXPECT_EQ(call(&info, checks(), [] {}), ZOR_OK);
    EXPECT_EQ(info.code, ZOR_OK);
    EXPECT_EQ(info.group, LOGON_FAILURE);
    EXPECT_STREQ(info.key, "old key");
    EXPECT_STREQ(info.message, "old message");
    // A code that the work returns is passed on and put nowhere else.
    EXPECT_EQ(call(&info, checks(), [] { return ZOR_TABLE_MOVE_EOF; }), ZOR_TABLE_MOVE_EOF);
    EXPECT_STREQ(info.message, "old message");
}

TEST(Frame, FirstFailedCheckDecidesAndNoWorkIsDone) {
    const int something = 0;
    const struct {
        const void* handle;
        const void* name;
        unsigned number;
        ZOR_RC rc;
        const char* message;
    } rows[] = {
        {nullptr, nullptr, 0, ZOR_INVALID_PARAMETER, "Invalid parameter 'NAME' was passed to the API call"},
        {nullptr, &something, 0, ZOR_INVALID_HANDLE, "An invalid handle was passed to the API call"},
        {&something, &something, 0, ZOR_INVALID_PARAMETER,
         "Invalid parameter 'unsigned' was passed to the API call"},
    };
    for (const auto& row : rows) {
        ZOR_ERROR_INFO info = usedRecord();
        bool worked = false;
        const auto all =
            checks(Required{row.name, "NAME"}, Handle{row.handle}, NonZero{row.number, "unsigned"});
        EXPECT_EQ(call(&info, all, [&] { worked = true; }), row.rc);
        EXPECT_FALSE(worked);
        EXPECT_EQ(info.code, row.rc);
        EXPECT_EQ(info.group, EXTERNAL_RUNTIME_FAILURE);
        EXPECT_STREQ(info.key, row.rc == ZOR_INVALID_HANDLE ? "ZOR_INVALID_HANDLE" : "ZOR_INVALID_PARAMETER");
        EXPECT_STREQ(info.message, row.message);
        EXPECT_STREQ(info.ubixMsgV1, "old V1");  // a failed check leaves the rest
        EXPECT_EQ(call(nullptr, all, [] {}), row.rc);
    }
    // A label that fills the record is cut.
    ZOR_ERROR_INFO info = usedRecord();
    const std::string label(600, 'x');
    call(&info, checks(Required{nullptr, label.c_str()}), [] {});
    EXPECT_EQ(std::string(info.message).size(), sizeof info.message - 1);
}

TEST(Frame, WhateverIsThrownBecomesACode) {
    ZOR_ERROR_INFO info = usedRecord();
    EXPECT_EQ(call(&info, checks(), [] { throw ZorIllegalStateException("m"); }), ZOR_ILLEGAL_STATE);
    EXPECT_STREQ(info.message, "m");
    EXPECT_STREQ(info.ubixMsgV1, "");  // the exception fills the whole record

    info = usedRecord();
    EXPECT_EQ(call(&info, checks(), [] { throw std::bad_alloc(); }), ZOR_MEMORY_INSUFFICIENT);
    EXPECT_EQ(info.group, EXTERNAL_RUNTIME_FAILURE);
    EXPECT_STREQ(info.key, "ZOR_MEMORY_INSUFFICIENT");
    EXPECT_STREQ(info.message, "Out of memory error");
    EXPECT_STREQ(info.ubixMsgV1, "old V1");

    const auto throwInt = [] { throw 7; };
    const auto throwForeign = [] { throw std::runtime_error("foreign"); };
    for (const bool foreign : {false, true}) {
        info = usedRecord();
        const ZOR_RC rc = foreign ? call(&info, checks(), throwForeign) : call(&info, checks(), throwInt);
        EXPECT_EQ(rc, ZOR_UNKNOWN_ERROR);
        EXPECT_EQ(info.code, ZOR_UNKNOWN_ERROR);
        EXPECT_EQ(info.group, EXTERNAL_RUNTIME_FAILURE);
        EXPECT_STREQ(info.key, "old key");
        EXPECT_STREQ(info.message, "Unknown error in lower level library");
    }
    EXPECT_EQ(call(nullptr, checks(), throwInt), ZOR_UNKNOWN_ERROR);
    EXPECT_EQ(call(nullptr, checks(), [] { throw std::bad_alloc(); }), ZOR_MEMORY_INSUFFICIENT);
}

TEST(Frame, HandlesAreNullOnFailure) {
    static int object;
    ZOR_ERROR_INFO info = usedRecord();
    const auto create = [&](bool fail, const void* argument) {
        return guarded("ZorTest", &info, FixedLevel{}, checks(Required{argument, "A"}), [&]() -> void* {
            if (fail) throw ZorOutOfMemoryException("m");
            return &object;
        });
    };
    EXPECT_EQ(create(false, &object), &object);
    EXPECT_EQ(info.code, ZOR_OK);
    EXPECT_EQ(create(true, &object), nullptr);
    EXPECT_EQ(info.code, ZOR_MEMORY_INSUFFICIENT);
    EXPECT_EQ(create(false, nullptr), nullptr);
    EXPECT_EQ(info.code, ZOR_INVALID_PARAMETER);
}

}  // namespace
