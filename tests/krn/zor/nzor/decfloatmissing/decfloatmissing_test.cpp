// Field access where the decimal library is missing: in this program the loader finds none, wherever one
// lies.

#include <gtest/gtest.h>
#include <kelzor/data.h>

#include "krn/zor/nzor/config/process_fixture.h"
#include "krn/zor/nzor/data/datafixture.h"

/** Stands before the loader's own function; nothing else in this program loads a library. */
extern "C" void* dlopen(const char*, int) noexcept {
    return nullptr;
}

namespace {

using namespace datatest;

class WithoutDecimals : public ProcessFixture {
  protected:
    OwnStructure record{{"DECF", ZORTYPE_DECF16, 8}, {"CHAR", ZORTYPE_CHAR, 4}};
};

TEST_F(WithoutDecimals, WhatTouchesADecimalFailsEachTimeAndAllElseWorks) {
    const char* const message = "Decfloat shared library could not be loaded";
    ZOR_ERROR_INFO error;
    ZOR_DECF16 value{};
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(ZorSetDecF16(record.toHandle(), "NOSUCHFIELD", value, &error), ZOR_UBIX_RUNTIME_FAILURE);
        EXPECT_STREQ(error.message, message);
        EXPECT_EQ(error.group, UBIX_RUNTIME_FAILURE);
        EXPECT_EQ(ZorGetDecF16ByIndex(record.toHandle(), 1, &value, &error), ZOR_UBIX_RUNTIME_FAILURE);
    }
    const auto fails = [&](const auto& access) { EXPECT_EQ(messageOf<ZorSystemException>(access), message); };
    fails([&] { setText(record, 0, "1"); });
    fails([&] { getText(record, 0); });
    fails([&] { getInt(record, 0); });
    fails([&] { record.setValue(0, 1.5); });
    fails([&] { record.setValue(1, value); });

    record.setValue(0, value.bytes, 8, ZORTYPE_BYTE);
    setText(record, 1, "1");
    EXPECT_EQ(getText(record, 1), "1");
    EXPECT_NE(readFile(directory / "dev_zor.trc")
                  .find("Could not load decimal floating point shared library libicudecnumber.so."),
              std::string::npos);
}

}  // namespace
