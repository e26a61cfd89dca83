// Every allocation of an operation on containers fails once: the operation reports a lack of memory, the
// object is as it was, and nothing is left behind.

#include <gtest/gtest.h>
#include <kelzor/classes.h>
#include <kelzor/data.h>
#include <kelzor/function.h>
#include <kelzor/metadata.h>
#include <kelzor/objects.h>
#include <kelzor/repository.h>
#include <kelzor/table.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <utility>
#include <vector>

#include "krn/zor/nzor/data/datafixture.h"

namespace {

/** Allocations until the one that fails; negative: none fails. */
thread_local long failAfter = -1;
/** Blocks that are allocated and not freed. */
thread_local long liveBlocks = 0;

}  // namespace

void* operator new(std::size_t size) {
    if (failAfter == 0) throw std::bad_alloc();
    if (failAfter > 0) --failAfter;
    void* block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    ++liveBlocks;
    return block;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* block) noexcept {
    if (block != nullptr) --liveBlocks;
    std::free(block);
}
void operator delete[](void* block) noexcept {
    operator delete(block);
}
void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    operator delete(block);
}

namespace {

using namespace datatest;

ZorMetaDataRef<ZorRecordMetaData> deepRow() {
    auto inner = makeType({{"WORD", ZORTYPE_STRING, sizeof(void*)}}, "INNER");
    return makeType({{"NO", ZORTYPE_INT, 4},
                     {"TEXT", ZORTYPE_STRING, sizeof(void*)},
                     {"ROWS", ZORTYPE_TABLE, sizeof(void*), 0, inner.get()},
                     {"BYTES", ZORTYPE_XSTRING, sizeof(void*)},
                     {"INNER", ZORTYPE_STRUCTURE, 2 * sizeof(void*), 0, inner.get()}});
}

constexpr std::string_view longText = "a text that is too long to be kept in a string object itself";

void fillRow(ZorStructure& row, ZOR_INT number) {
    row.setValue(0, number);
    setText(row, 1, longText);
    ZorTable* rows = nullptr;
    row.getValue(2, &rows, true);
    setText(rows->appendNewRow(), 0, longText);
    setText(row, 3, "0102");
    ZorStructure* inner = nullptr;
    row.getValue(4, &inner, true);
    setText(*inner, 0, longText);
}

/** All that a table's rows hold, as one text. */
std::string contentOf(ZorTable& table) {
    std::string text = std::to_string(table.getCurrentIndex());
    for (unsigned index = 0; index < table.getCount(); ++index) {
        ZorStructure& row = table.row(index);
        ZorTable* rows = nullptr;
        row.getValue(2, &rows, true);
        text += "|" + getText(row, 0) + getText(row, 1) + std::to_string(rows->getCount()) + getText(row, 3);
    }
    return text;
}

/**
 * Runs an operation with its first allocation failing, then its second, until none fails. `undone` says
 * what must hold after each failure.
 */
void failEachAllocation(const std::function<ZOR_RC(ZOR_ERROR_INFO&)>& operation,
                        const std::function<void()>& undone) {
    ZOR_ERROR_INFO info;
    for (long at = 0; at < 1000; ++at) {
        const long before = liveBlocks;
        failAfter = at;
        const ZOR_RC rc = operation(info);
        const bool failed = failAfter == 0 && rc != ZOR_OK;
        failAfter = -1;
        if (!failed) {
            EXPECT_EQ(rc, ZOR_OK) << info.message;
            EXPECT_GT(at, 0) << "nothing was allocated";
            return;
        }
        ASSERT_EQ(rc, ZOR_MEMORY_INSUFFICIENT) << "allocation " << at;
        ASSERT_STREQ(info.key, "ZOR_MEMORY_INSUFFICIENT");
        ASSERT_EQ(liveBlocks, before) << "allocation " << at;
        undone();
    }
    FAIL() << "the operation never succeeded";
}

class DataMemory : public testing::Test {
  protected:
    DataMemory() {
        // Full to the last row of its room, so that the next one makes it grow.
        for (unsigned count = 0; count < 100; ++count)
            table.appendNewRow();
        table.moveTo(1);
        fillRow(*table.getRow(), 7);
        fillRow(value, 9);
        content = contentOf(table);
    }

    /** Fails each allocation of an operation that changes the table. */
    void check(const std::function<ZOR_RC(ZOR_ERROR_INFO&)>& operation) {
        failEachAllocation(operation, [&] { ASSERT_EQ(contentOf(table), content); });
        EXPECT_NE(contentOf(table), content);
    }

    /** Fails each allocation of an operation that makes a container. */
    static void checkMaking(const std::function<DATA_CONTAINER_HANDLE(ZOR_ERROR_INFO*)>& make,
                            const std::function<void(DATA_CONTAINER_HANDLE)>& destroy) {
        failEachAllocation(
            [&](ZOR_ERROR_INFO& info) {
                if (const auto made = make(&info)) destroy(made);
                return info.code;
            },
            [] {});
    }

    ZorMetaDataRef<ZorRecordMetaData> type = deepRow();
    ZorTable table{type.get()};
    ZorStructure value{type.get()};
    std::string content;
};

TEST_F(DataMemory, AppendingRows) {
    check([&](ZOR_ERROR_INFO& info) { return ZorAppendRow(table.toHandle(), value.toHandle(), &info); });
}

TEST_F(DataMemory, AppendingARowOfItself) {
    check(
        [&](ZOR_ERROR_INFO& info) { return ZorAppendRow(table.toHandle(), table.row(1).toHandle(), &info); });
}

TEST_F(DataMemory, InsertingRows) {
    check([&](ZOR_ERROR_INFO& info) { return ZorInsertRow(table.toHandle(), value.toHandle(), &info); });
}

TEST_F(DataMemory, AppendingManyNewRows) {
    check([&](ZOR_ERROR_INFO& info) { return ZorAppendNewRows(table.toHandle(), 3, &info); });
}

TEST_F(DataMemory, NewRowsWithTheirHandles) {
    check([&](ZOR_ERROR_INFO& info) {
        return ZorAppendNewRow(table.toHandle(), &info) != nullptr ? ZOR_OK : info.code;
    });
    // The first row handle of a table is an allocation too.
    ZorTable fresh(type.get());
    failEachAllocation(
        [&](ZOR_ERROR_INFO& info) {
            return ZorInsertNewRow(fresh.toHandle(), &info) != nullptr ? ZOR_OK : info.code;
        },
        [&] { ASSERT_EQ(fresh.getCount(), 0u); });
}

TEST_F(DataMemory, SettingATable) {
    ZorStructure owner(makeType({{"ROWS", ZORTYPE_TABLE, sizeof(void*), 0, type.get()}}).get());
    ZorTable* target = nullptr;
    owner.getValue(0, &target, true);
    fillRow(target->appendNewRow(), 3);
    const std::string before = contentOf(*target);
    failEachAllocation(
        [&](ZOR_ERROR_INFO& info) {
            return ZorSetTableByIndex(owner.toHandle(), 0, table.toHandle(), &info);
        },
        [&] { ASSERT_EQ(contentOf(*target), before); });
    EXPECT_EQ(target->getCount(), 100u);
}

TEST_F(DataMemory, SettingAString) {
    const std::string longer(200, 'x');
    failEachAllocation(
        [&](ZOR_ERROR_INFO& info) {
            return ZorSetStringByIndex(value.toHandle(), 1, longer.data(), 200, &info);
        },
        [&] { ASSERT_EQ(getText(value, 1), longText); });
}

TEST_F(DataMemory, CloningAndCreating) {
    const auto destroyStructure = [](auto handle) { ZorDestroyStructure(handle, nullptr); };
    const auto destroyTable = [](auto handle) { ZorDestroyTable(handle, nullptr); };
    checkMaking([&](auto* info) { return ZorCloneTable(table.toHandle(), info); }, destroyTable);
    checkMaking([&](auto* info) { return ZorCloneStructure(value.toHandle(), info); }, destroyStructure);
    const auto typeHandle = ZorMetaDataStatics::toHandle(type.get());
    checkMaking([&](auto* info) { return ZorCreateTable(typeHandle, info); }, destroyTable);
    checkMaking([&](auto* info) { return ZorCreateStructure(typeHandle, info); }, destroyStructure);
    auto function = ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>(
        "A_FUNCTION_WITH_A_RATHER_LONG_NAME", "custom", 5, false);
    for (const char* name : {"A", "B", "C"})
        function->add(name, ZORTYPE_CHAR, ZOR_IMPORT, 10, 20, 0);
    const auto functionHandle = ZorMetaDataStatics::toHandle(function.get());
    checkMaking([&](auto* info) { return ZorCreateFunction(functionHandle, info); },
                [](auto handle) { ZorDestroyFunction(handle, nullptr); });
}

TEST_F(DataMemory, ObjectsAndClassExceptions) {
    const auto desc =
        ZorMetaDataStatics::createMetaData<ZorClassMetaData>("CX_A_CLASS_OF_A_LONG_NAME", "custom", 5, false);
    desc->add("C", "TEXT", ZORTYPE_STRING, 0, ZOR_CLASS_ATTRIBUTE_INSTANCE, false);
    desc->add("C", "NEXT", *desc, ZOR_CLASS_ATTRIBUTE_INSTANCE, false);
    const auto descHandle = ZorMetaDataStatics::toHandle(desc.get());
    checkMaking([&](auto* info) { return ZorCreateUbixObject(descHandle, info); },
                [](auto handle) { ZorDestroyUbixObject(handle, nullptr); });
    ZorUbixObject source(desc.get());
    setText(source, 0, longText);
    source.setValue(1, static_cast<const ZorUbixObject&>(source));
    ZorUbixObject target(desc.get());
    setText(target, 0, "old");
    for (const bool replaced : {false, true}) {
        ZorUbixObject* held = nullptr;
        target.getValue(1, &held, false);
        EXPECT_EQ(held != nullptr, replaced);
        failEachAllocation(
            [&](ZOR_ERROR_INFO& info) {
                return ZorSetUbixObjectByIndex(target.toHandle(), 1, source.toHandle(), &info);
            },
            [&] {
                ZorUbixObject* now = nullptr;
                target.getValue(1, &now, false);
                ASSERT_EQ(now, held);
                ASSERT_TRUE(now == nullptr || getText(*now, 0) == longText);
            });
    }
    const auto functionDesc =
        ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>("F", "custom", 5, false);
    ZorFunction function(*functionDesc);
    function.enableClassException(nullptr);
    const auto exception = source.clone().release()->toHandle();
    const std::string text(longText);
    failEachAllocation(
        [&](ZOR_ERROR_INFO& info) {
            return ZorSetUbixClassException(function.toHandle(), exception, text.c_str(), &info);
        },
        [&] { ASSERT_EQ(function.getClassException(), nullptr); });
    EXPECT_EQ(ZorGetUbixClassException(function.toHandle(), nullptr), exception);
}

TEST_F(DataMemory, DescribingTypesAndFunctions) {
    const auto madeType = ZorCreateTypeDesc("TYPE", nullptr);
    const auto madeFunction = ZorCreateFunctionDesc("FUNCTION", nullptr);
    ZOR_FIELD_DESC field{};
    ZOR_PARAMETER_DESC parameter{};
    ZOR_EXCEPTION_DESC exception{};
    unsigned count = 0;
    for (unsigned number = 0; number < 40; ++number) {
        const std::string name = "A_RATHER_LONG_NAME_" + std::to_string(number);
        std::strcpy(field.name, name.c_str());
        std::strcpy(parameter.name, name.c_str());
        std::strcpy(exception.key, name.c_str());
        field.type = parameter.type = ZORTYPE_CHAR;
        field.nucLength = parameter.nucLength = 4;
        field.nucOffset = 4 * number;
        parameter.direction = ZOR_IMPORT;
        failEachAllocation([&](ZOR_ERROR_INFO& info) { return ZorAddTypeField(madeType, &field, &info); },
                           [&] {
                               ASSERT_EQ(ZorGetFieldCount(madeType, &count, nullptr), ZOR_OK);
                               ASSERT_EQ(count, number);
                           });
        failEachAllocation(
            [&](ZOR_ERROR_INFO& info) { return ZorAddParameter(madeFunction, &parameter, &info); },
            [&] {
                ASSERT_EQ(ZorGetParameterCount(madeFunction, &count, nullptr), ZOR_OK);
                ASSERT_EQ(count, number);
            });
        failEachAllocation(
            [&](ZOR_ERROR_INFO& info) { return ZorAddException(madeFunction, &exception, &info); },
            [&] {
                ASSERT_EQ(ZorGetExceptionCount(madeFunction, &count, nullptr), ZOR_OK);
                ASSERT_EQ(count, number);
            });
    }
    EXPECT_EQ(ZorGetParameterDescByName(madeFunction, "A_RATHER_LONG_NAME_39", &parameter, nullptr), ZOR_OK);
    ZorDestroyTypeDesc(madeType, nullptr);
    ZorDestroyFunctionDesc(madeFunction, nullptr);
}

TEST_F(DataMemory, LockingByTheFirstContainer) {
    // Descriptions of its own for each try, since what a lock has made stays with them.
    const auto lockAndCreate = [](ZOR_ERROR_INFO& info) {
        const long at = std::exchange(failAfter, -1);
        const auto inner = makeType({{"WORD", ZORTYPE_CHAR, 20}, {"NUMBER", ZORTYPE_INT, 4}}, "INNER");
        const auto outer =
            makeType({{"NO", ZORTYPE_INT, 4}, {"INNER", ZORTYPE_STRUCTURE, 24, 0, inner.get()}}, "OUTER");
        const auto handle = ZorMetaDataStatics::toHandle(outer.get());
        failAfter = at;
        const auto made = ZorCreateStructure(handle, &info);
        const ZOR_RC rc = info.code;
        if (made == nullptr) {
            // Nothing of the failure is left: the next try succeeds.
            const long left = std::exchange(failAfter, -1);
            const auto second = ZorCreateStructure(handle, &info);
            EXPECT_NE(second, nullptr) << info.message;
            ZorDestroyStructure(second, nullptr);
            info = {};
            std::strcpy(info.key, "ZOR_MEMORY_INSUFFICIENT");
            failAfter = left;
        } else {
            ZorDestroyStructure(made, nullptr);
        }
        return rc;
    };
    ZOR_ERROR_INFO info;
    EXPECT_EQ(lockAndCreate(info), ZOR_OK);
    failEachAllocation(lockAndCreate, [] {});
}

TEST_F(DataMemory, ChildrenOnFirstUse) {
    ZorStructure fresh(type.get());
    ZOR_TABLE_HANDLE rows = nullptr;
    ZOR_STRUCTURE_HANDLE inner = nullptr;
    ZorTable* noTable = nullptr;
    ZorStructure* noStructure = nullptr;
    failEachAllocation(
        [&](ZOR_ERROR_INFO& info) { return ZorGetTableByIndex(fresh.toHandle(), 2, &rows, &info); },
        [&] {
            fresh.getValue(2, &noTable, false);
            ASSERT_EQ(noTable, nullptr);
        });
    failEachAllocation(
        [&](ZOR_ERROR_INFO& info) { return ZorGetStructureByIndex(fresh.toHandle(), 4, &inner, &info); },
        [&] {
            fresh.getValue(4, &noStructure, false);
            ASSERT_EQ(noStructure, nullptr);
        });
}

TEST_F(DataMemory, SettingBytes) {
    const std::vector<ZOR_BYTE> longer(200, 0xAB);
    failEachAllocation(
        [&](ZOR_ERROR_INFO& info) {
            return ZorSetXStringByIndex(value.toHandle(), 3, longer.data(), 200, &info);
        },
        [&] { ASSERT_EQ(getText(value, 3), "0102"); });
}

TEST_F(DataMemory, SettingAStructure) {
    ZorStructure owner(makeType({{"DEEP", ZORTYPE_STRUCTURE, 64, 0, type.get()}}).get());
    ZorStructure* target = nullptr;
    owner.getValue(0, &target, true);
    fillRow(*target, 3);
    failEachAllocation(
        [&](ZOR_ERROR_INFO& info) {
            return ZorSetStructureByIndex(owner.toHandle(), 0, value.toHandle(), &info);
        },
        [&] {
            owner.getValue(0, &target, false);
            ASSERT_EQ(getInt(*target, 0), 3);
            ASSERT_EQ(getText(*target, 1), longText);
        });
    owner.getValue(0, &target, false);
    EXPECT_EQ(getInt(*target, 0), 9);
}

TEST_F(DataMemory, DescribingClasses) {
    const auto made = ZorCreateClassDesc("CL", nullptr);
    ZOR_CLASS_ATTRIBUTE_DESC attribute{};
    std::memset(attribute.description, 't', 100);
    unsigned count = 0;
    for (char letter = 'A'; letter < 'I'; ++letter) {
        attribute.name[0] = letter;
        std::memset(attribute.name + 1, 'n', 20);
        failEachAllocation(
            [&](ZOR_ERROR_INFO& info) { return ZorAddClassAttribute(made, &attribute, &info); },
            [&] {
                ASSERT_EQ(ZorGetClassAttributesCount(made, &count, nullptr), ZOR_OK);
                ASSERT_EQ(count, static_cast<unsigned>(letter - 'A'));
            });
    }
    EXPECT_EQ(ZorMetaDataStatics::classMetaDataFromHandle(made)->getDescription(7), std::string(100, 't'));
    ZorDestroyClassDesc(made, nullptr);
}

TEST_F(DataMemory, ARepositoryTakesAllOrNothing) {
    const char* const repository = "A_REPOSITORY_OF_A_LONG_NAME";
    const auto row = deepRow();
    const auto desc = ZorCreateFunctionDesc("A_FUNCTION_OF_A_LONG_NAME", nullptr);
    ZOR_PARAMETER_DESC parameter{};
    std::strcpy(parameter.name, "ROWS");
    parameter.type = ZORTYPE_TABLE;
    parameter.direction = ZOR_TABLES;
    parameter.typeDescHandle = ZorMetaDataStatics::toHandle(row.get());
    ZorAddParameter(desc, &parameter, nullptr);
    ZorDestroyFunction(ZorCreateFunction(desc, nullptr), nullptr);  // locks the descriptions
    ZorClearRepository(repository, nullptr);                        // makes the repository
    failEachAllocation(
        [&](ZOR_ERROR_INFO& info) { return ZorAddFunctionDesc(repository, desc, &info); },
        [&] {
            ASSERT_EQ(ZorGetCachedFunctionDesc(repository, "A_FUNCTION_OF_A_LONG_NAME", nullptr), nullptr);
            ASSERT_EQ(ZorGetCachedTypeDesc(repository, "INNER", nullptr), nullptr);
        });
    EXPECT_EQ(ZorGetCachedFunctionDesc(repository, "A_FUNCTION_OF_A_LONG_NAME", nullptr), desc);
    EXPECT_NE(ZorGetCachedTypeDesc(repository, "INNER", nullptr), nullptr);
    ZorClearRepository(repository, nullptr);
}

TEST_F(DataMemory, AQueryResultHasItsOwnWordsForIt) {
    ZOR_ERROR_INFO info{};
    failAfter = 0;
    const auto result = ZorCreateMetadataQueryResult(&info);
    failAfter = -1;
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(info.code, ZOR_MEMORY_INSUFFICIENT);
    EXPECT_EQ(info.group, EXTERNAL_RUNTIME_FAILURE);
    EXPECT_STREQ(info.key, "EXTERNAL_RUNTIME_FAILURE");
    EXPECT_STREQ(info.message, "Not enough memory to allocate a query reqult instance.");
}

}  // namespace
