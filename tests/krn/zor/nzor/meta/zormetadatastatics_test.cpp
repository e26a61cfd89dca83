#include "meta/zormetadatastatics.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>
#include <vector>

#include "metafixture.h"

namespace {

/** Tells when it dies, and tries to come back to life then. */
class Mortal : public ZorRecordMetaData {
  public:
    using ZorRecordMetaData::ZorRecordMetaData;
    ~Mortal() override {
        lastWords = failure([this] { ZorMetaDataStatics::createReference(this); });
        ++deaths;
    }
    static inline int deaths = 0;
    static inline std::string lastWords;
};

ZorMetaDataRef<Mortal> makeMortal(bool pending = false) {
    return ZorMetaDataStatics::createMetaData<Mortal>("M", "custom", 1, pending);
}

std::string removedText(const char* kind, const void* handle) {
    char text[100];
    std::snprintf(text, sizeof text, "20 %s handle  %p was already removed", kind, handle);
    return text;
}

TEST(MetaDataStatics, ADescriptionLivesAsLongAsItsReferences) {
    const int before = Mortal::deaths;
    {
        const RecordRef parent = makeRecord();
        auto nested = makeMortal();
        parent->add("A", ZORTYPE_STRUCTURE, 8, 0, 8, 0, 0, nested.get());
        const auto second = nested;
        nested = {};
        EXPECT_EQ(Mortal::deaths, before);
    }
    EXPECT_EQ(Mortal::deaths, before + 1);
    EXPECT_EQ(Mortal::lastWords,
              "20 The instance is removed. Unable to create a reference to a removed metadata instance.");
    EXPECT_EQ(failure([] { ZorMetaDataStatics::createReference(nullptr); }),
              "20 The instance is 0. Unable to create a reference to 0.");
}

TEST(MetaDataStatics, AFailedFieldTakesNoReference) {
    const int before = Mortal::deaths;
    const RecordRef parent = makeRecord();
    parent->add("A", ZORTYPE_CHAR, 2, 0, 4, 0, 0);
    {
        const auto nested = makeMortal();
        EXPECT_NE(failure([&] { parent->add("B", ZORTYPE_STRUCTURE, 8, 1, 8, 4, 0, nested.get()); }), "none");
    }
    EXPECT_EQ(Mortal::deaths, before + 1);
}

TEST(MetaDataStatics, PendingBelongsToACallerOnce) {
    const RecordRef record = makeRecord("R", true);
    EXPECT_EQ(failure([&] { ZorMetaDataStatics::addPending(record.get()); }),
              "20 The reference is already registered. Unable to register the reference twice.");
    EXPECT_TRUE(ZorMetaDataStatics::removePending(record.get()));
    EXPECT_FALSE(ZorMetaDataStatics::removePending(record.get()));
    EXPECT_EQ(failure([&] { ZorMetaDataStatics::destroyPending(*record, "not yours"); }), "19 not yours");
    ZorMetaDataStatics::addPending(record.get());
    const RecordRef mine = record;  // outlives the caller's reference
    (void)RecordRef(mine).release();
    ZorMetaDataStatics::destroyPending(*record, "not yours");
    EXPECT_EQ(record->getName(), "R");
}

TEST(MetaDataStatics, HandlesOfTheDeadAreToldApartWithoutReadingThem) {
    RecordRef record = makeRecord();
    const ZOR_TYPE_DESC_HANDLE handle = ZorMetaDataStatics::toHandle(record.get());
    EXPECT_EQ(ZorMetaDataStatics::recordMetaDataFromHandle(handle).get(), record.get());
    record = {};
    EXPECT_EQ(failure([&] { ZorMetaDataStatics::getZorRecordMetaData(handle); }),
              removedText("ZOR_TYPE_DESC_HANDLE", handle));

    FunctionRef function = makeFunction();
    const ZOR_FUNCTION_DESC_HANDLE funcHandle = ZorMetaDataStatics::toHandle(function.get());
    EXPECT_EQ(ZorMetaDataStatics::functionMetaDataFromHandle(funcHandle).get(), function.get());
    const std::string refused = "13 An invalid handle was passed to the API call";
    const auto asType = reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(funcHandle);
    EXPECT_EQ(failure([&] { ZorMetaDataStatics::getZorRecordMetaData(asType); }), refused);
    EXPECT_EQ(failure([&] { ZorMetaDataStatics::typeDescFromHandle(asType); }), refused);
    function = {};
    EXPECT_EQ(failure([&] { ZorMetaDataStatics::getZorFunctionMetaData(funcHandle); }),
              removedText("ZOR_FUNCTION_DESC_HANDLE", funcHandle));
}

TEST(MetaDataStatics, SentinelsStandForNoDescription) {
    const auto byteRows = reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(uintptr_t{4});
    EXPECT_EQ(ZorMetaDataStatics::getZorRecordMetaData(nullptr).raw(), nullptr);
    EXPECT_EQ(static_cast<void*>(ZorMetaDataStatics::getZorRecordMetaData(byteRows).raw()),
              static_cast<void*>(byteRows));
    EXPECT_EQ(failure([&] { ZorMetaDataStatics::recordMetaDataFromHandle(byteRows); }),
              "13 An invalid handle was passed to the API call");
    const FunctionRef function = makeFunction();
    function->add("T", ZORTYPE_TABLE, ZOR_TABLES, 1, 1, 0,
                  ZorMetaDataStatics::typeDescFromHandle(byteRows).raw());
    EXPECT_EQ(function->getMetaData(0), nullptr);
    EXPECT_EQ(function->getRecordMetaData(0), nullptr);
    EXPECT_EQ((*function)[0].typeDesc.raw(), ZorMetaDataStatics::ZOR_METADATA_ZORTYPE_BYTE);
    function->lock();
}

TEST(MetaDataStatics, ADescriptionMayHaveAnyNumberOfReferences) {
    const RecordRef record = makeRecord();
    const std::vector<RecordRef> references(70000, record);
    EXPECT_EQ(failure([&] { (void)RecordRef(record); }), "none");
}

TEST(MetaDataStatics, WhatAHandleGaveOutLivesOn) {
    const int before = Mortal::deaths;
    auto mortal = makeMortal();
    auto held = ZorMetaDataStatics::recordMetaDataFromHandle(ZorMetaDataStatics::toHandle(mortal.get()));
    mortal = {};
    EXPECT_EQ(Mortal::deaths, before);
    held = {};
    EXPECT_EQ(Mortal::deaths, before + 1);
}

TEST(MetaDataStatics, ReferencesAreCountedAcrossThreads) {
    const int before = Mortal::deaths;
    {
        const auto shared = makeMortal();
        const auto work = [&] {
            for (int i = 0; i < 1000; ++i)
                const auto copy = shared;
        };
        std::thread other(work);
        work();
        other.join();
        EXPECT_EQ(Mortal::deaths, before);
    }
    EXPECT_EQ(Mortal::deaths, before + 1);
}

}  // namespace
