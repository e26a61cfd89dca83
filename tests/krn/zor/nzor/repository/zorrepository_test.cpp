// Caches of descriptions: what goes in with what, whose it is then, and how it ends.

#include "repository/zorrepository.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "krn/zor/nzor/meta/metafixture.h"

namespace {

using std::string;

/** A further reference, for the test, to what a caller made and owns. */
template <class T>
ZorMetaDataRef<T> kept(ZorMetaDataRef<T> creators) {
    ZorMetaDataRef<T> own(creators);
    (void)creators.release();
    return own;
}

/** Whether the caller still owns it; if so, he gives it back. */
bool destroys(const ZorAbstractMetaData& desc) {
    return failure([&] { ZorMetaDataStatics::destroyPending(desc, ""); }) == "none";
}

RecordRef makeRow(const char* name, ZorAbstractMetaData* rows = nullptr) {
    RecordRef record = kept(makeRecord(name, true));
    record->add("A", ZORTYPE_INT, 4, 0, 4, 0, 0);
    if (rows != nullptr) record->add("N", ZORTYPE_TABLE, 8, 8, 8, 8, 0, rows);
    const unsigned length = rows != nullptr ? 16 : 4;
    record->setRecordLength(length, length);
    return record;
}

bool alive(const void* handle) {
    const auto asType = reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(const_cast<void*>(handle));
    return failure([&] { ZorMetaDataStatics::getZorRecordMetaData(asType); }) == "none";
}

TEST(Repository, OneForEachIdentifier) {
    ZorRepository& one = ZorRepository::getRepository("ABC");
    EXPECT_EQ(&ZorRepository::getRepository("ABC"), &one);
    EXPECT_NE(&ZorRepository::getRepository("abc"), &one);
    EXPECT_EQ(ZorRepository::getRepository("").getName(), "");
    EXPECT_EQ(ZorRepository::getRepository().getName(), "$DEFAULT_STATIC_REPOSITORY$");
}

TEST(Repository, WhatADescriptionRefersToGoesInWithIt) {
    ZorRepository cache("R");
    RecordRef inner = makeRow("INNER");
    RecordRef self = makeRow("SELF", inner.get());
    self->add("SELF", ZORTYPE_TABLE, 8, 16, 8, 16, 0, self.get());
    self->setRecordLength(24, 24);
    FunctionRef function = kept(makeFunction("F", true));
    function->add("T", ZORTYPE_TABLE, ZOR_TABLES, 24, 24, 0, self.get());
    function->add("BYTES", ZORTYPE_TABLE, ZOR_TABLES, 1, 1, 0, ZorMetaDataStatics::ZOR_METADATA_ZORTYPE_BYTE);
    EXPECT_EQ(cache.addFunctionDescToCache(*function).get(), function.get());
    EXPECT_EQ(cache.getFunctionDescFromCache("F").get(), function.get());
    EXPECT_EQ(cache.getStructureDescFromCache("SELF").get(), self.get());
    EXPECT_EQ(cache.getStructureDescFromCache("INNER").get(), inner.get());
    EXPECT_EQ(cache.getStructureDescFromCache("inner").get(), nullptr);
    EXPECT_TRUE(function->isLocked() && self->isLocked() && inner->isLocked());
}

TEST(Repository, ClassesBringTheirClassesAndStructures) {
    ZorRepository cache("R");
    RecordRef row = makeRow("ROW");
    const ClassRef one = kept(makeClass("ONE", true));
    const ClassRef other = kept(makeClass("OTHER", true));
    one->add("ONE", "OTHER", *other, ZOR_CLASS_ATTRIBUTE_INSTANCE, false);
    other->add("OTHER", "ROW", ZORTYPE_TABLE, 0, 0, "", row.get(), nullptr, ZOR_CLASS_ATTRIBUTE_INSTANCE,
               false, "");
    EXPECT_EQ(cache.addClassDescToCache(*one).get(), one.get());
    EXPECT_EQ(cache.getClassDescFromCache("OTHER").get(), other.get());
    EXPECT_EQ(cache.getStructureDescFromCache("ROW").get(), row.get());
    EXPECT_EQ(cache.getStructureDescFromCache("ONE").get(), nullptr);
    EXPECT_TRUE(other->isLocked());
    cache.removeClassDescFromCache("OTHER");
    EXPECT_EQ(cache.getClassDescFromCache("OTHER").get(), nullptr);
    cache.clearRepository();
    EXPECT_EQ(cache.getClassDescFromCache("ONE").get(), nullptr);
}

TEST(Repository, ChainsOfClassesMayBeLong) {
    constexpr unsigned length = 50000;
    ZorRepository cache("R");
    ClassRef last = makeClass("0");
    for (unsigned i = 1; i < length; ++i) {
        ClassRef next = makeClass(std::to_string(i).c_str());
        next->add("C", "A", *last, ZOR_CLASS_ATTRIBUTE_INSTANCE, false);
        last = next;
    }
    cache.addClassDescToCache(*last);
    EXPECT_TRUE(cache.getClassDescFromCache("0"));
}

TEST(Repository, TheFirstOfANameStays) {
    ZorRepository cache("R");
    RecordRef first = makeRow("ROW");
    RecordRef below = makeRow("BELOW");
    RecordRef second = makeRow("ROW", below.get());
    RecordRef parent = makeRow("PARENT", second.get());
    EXPECT_EQ(cache.addStructureDescToCache(*first).get(), first.get());
    EXPECT_EQ(cache.addStructureDescToCache(*first).get(), first.get());
    EXPECT_EQ(cache.addStructureDescToCache(*second).get(), first.get());
    EXPECT_EQ(cache.addStructureDescToCache(*parent).get(), parent.get());
    EXPECT_EQ(cache.getStructureDescFromCache("ROW").get(), first.get());
    EXPECT_EQ(cache.getStructureDescFromCache("BELOW").get(), nullptr);
    // Whose they are: the cache's, and still their creator's.
    EXPECT_FALSE(destroys(*first));
    EXPECT_FALSE(destroys(*parent));
    EXPECT_TRUE(destroys(*second));
    EXPECT_TRUE(destroys(*below));
}

TEST(Repository, AFailedAdditionLeavesNothingBehind) {
    ZorRepository cache("R");
    RecordRef fine = makeRow("FINE");
    RecordRef tooShort = makeRow("SHORT");
    tooShort->setRecordLength(3, 3);
    FunctionRef function = kept(makeFunction("F", true));
    function->add("A", ZORTYPE_TABLE, ZOR_TABLES, 4, 4, 0, fine.get());
    function->add("B", ZORTYPE_TABLE, ZOR_TABLES, 4, 4, 0, tooShort.get());
    EXPECT_EQ(failure([&] { cache.addFunctionDescToCache(*function); }),
              "20 inconsistence in description detected: non-unicode length is too small");
    EXPECT_EQ(cache.getFunctionDescFromCache("F").get(), nullptr);
    EXPECT_EQ(cache.getStructureDescFromCache("FINE").get(), nullptr);
    EXPECT_FALSE(function->isLocked());
    EXPECT_TRUE(destroys(*function));
    EXPECT_TRUE(destroys(*fine));
    EXPECT_TRUE(destroys(*tooShort));
}

TEST(Repository, ClearingEndsWhatNothingElseUses) {
    ZorRepository cache("R");
    RecordRef used = makeRow("USED");
    RecordRef outer = makeRow("OUTER", used.get());
    RecordRef removed = makeRow("REMOVED");
    RecordRef shared = makeRow("SHARED");
    const void* const handles[] = {outer.get(), used.get(), removed.get(), shared.get()};
    ZorRepository other("S");
    cache.addStructureDescToCache(*outer);
    cache.addStructureDescToCache(*removed);
    cache.addStructureDescToCache(*shared);
    other.addStructureDescToCache(*shared);
    outer = removed = shared = {};
    cache.removeStructureDescFromCache("REMOVED");
    cache.removeStructureDescFromCache("UNKNOWN");
    EXPECT_EQ(cache.getStructureDescFromCache("REMOVED").get(), nullptr);
    for (const void* handle : handles)
        EXPECT_TRUE(alive(handle));
    cache.clearRepository();
    EXPECT_FALSE(alive(handles[0]));
    EXPECT_TRUE(alive(handles[1]));  // by the reference of this test
    EXPECT_TRUE(alive(handles[2]));  // by its removal
    EXPECT_TRUE(alive(handles[3]));  // by the other repository
    used = {};
    other.clearRepository();
    EXPECT_FALSE(alive(handles[1]));
    EXPECT_FALSE(alive(handles[3]));
}

/** Adds two functions in turn and clears every now and then, until enough was found by others. */
void addAndClear(ZorRepository& cache, const std::atomic<unsigned>& found) {
    constexpr unsigned enough = 1000;
    for (unsigned round = 0; round < enough || found < enough; ++round) {
        RecordRef inner = makeRow("INNER");
        FunctionRef function = kept(makeFunction(round % 2 == 0 ? "EVEN" : "ODD", true));
        function->add("T", ZORTYPE_TABLE, ZOR_TABLES, 4, 4, 0, inner.get());
        const FunctionRef cached = cache.addFunctionDescToCache(*function);
        EXPECT_EQ(cached->getName(), function->getName());
        (void)destroys(*function);
        (void)destroys(*inner);
        if (round % 16 == 0) cache.clearRepository();
        if (round % 16 == 8) cache.removeFunctionDescFromCache("ODD");
    }
}

/** Looks functions up and reads them, also by a handle that may have ended by then, as callers do. */
void read(const ZorRepository& cache, const std::atomic<bool>& stop, std::atomic<unsigned>& found) {
    while (!stop)
        for (const char* name : {"EVEN", "ODD"}) {
            const FunctionRef function = cache.getFunctionDescFromCache(name);
            if (!function) continue;
            EXPECT_EQ(function->getRecordMetaData(0)->getName(), "INNER");
            const auto handle = ZorMetaDataStatics::toHandle(cache.getStructureDescFromCache("INNER").get());
            try {
                const RecordRef row = ZorMetaDataStatics::getZorRecordMetaData(handle);
                EXPECT_TRUE(!row || row->getFieldCount() == 1);
            } catch (const ZorInvalidParameterException&) {
            }
            ++found;
        }
}

TEST(Repository, ManyThreadsReadAddAndClear) {
    ZorRepository cache("R");
    std::atomic<unsigned> found{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i)
        readers.emplace_back([&] { read(cache, stop, found); });
    std::thread adder([&] { addAndClear(cache, found); });
    addAndClear(cache, found);
    adder.join();
    stop = true;
    for (std::thread& reader : readers)
        reader.join();
    cache.addFunctionDescToCache(*makeFunction("LAST"));
    EXPECT_NE(cache.getFunctionDescFromCache("LAST").get(), nullptr);
}

}  // namespace
