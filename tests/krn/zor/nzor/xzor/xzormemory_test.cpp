// What documents allocate, and what happens when an allocation fails.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "data/zorstructure.h"
#include "xzorfixture.h"

namespace {

/** Allocations until the one that fails; negative: none fails. */
thread_local long failAfter = -1;
thread_local long allocations = 0;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    if (failAfter == 0) throw std::bad_alloc();
    if (failAfter > 0) --failAfter;
    ++allocations;
    void* const block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
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
using namespace xzortest;

constexpr unsigned pointer = sizeof(void*);

/** Drops a document. */
struct NoXmlOs final : XmlOs {
    void close() override { flush(); }
    void send(std::span<const KEL_RAW> piece) override { bytes += piece.size(); }
    size_t bytes = 0;
};

/** Rows with a field of each kind of text and a table below each. */
std::unique_ptr<ZorTable> manyRows(unsigned count) {
    auto note = makeType({{"NO", ZORTYPE_INT, 4}}, "NOTE");
    auto type = makeType({{"NAME", ZORTYPE_CHAR, 20},
                          {"DAY", ZORTYPE_DATE, 8},
                          {"PRICE", ZORTYPE_BCD, 8, 2},
                          {"RATIO", ZORTYPE_FLOAT, 8},
                          {"RAW", ZORTYPE_BYTE, 100},
                          {"TEXT", ZORTYPE_STRING, pointer},
                          {"NOTES", ZORTYPE_TABLE, pointer, 0, note.get()}});
    auto table = std::make_unique<ZorTable>(type.get());
    for (unsigned i = 0; i < count; ++i) {
        ZorStructure& row = table->appendNewRow();
        setText(row, 0, "N\xE4me");
        setText(row, 5, std::string(100, '\xE4'));
        ZorTable* notes = nullptr;
        row.getValue(6, &notes, true);
        notes->createNewRows(2);
    }
    return table;
}

TEST(XZorMemory, RenderingAllocatesNothingForAFieldOrARow) {
    const auto allocated = [](unsigned rows) {
        const auto table = manyRows(rows);
        NoXmlOs os;
        XZorRenderer renderer(os, converter("1100", "4110"));
        const long before = allocations;
        renderer.encode(*table, "P");
        EXPECT_GT(os.bytes, rows * 100u);
        return allocations - before;
    };
    const long few = allocated(1);
    EXPECT_LE(few, 20) << "the names of two descriptions";
    EXPECT_EQ(allocated(1000), few);
}

TEST(XZorMemory, AParseThatFailsLeavesARecordThatCanBeUsed) {
    auto note = makeType({{"TEXT", ZORTYPE_STRING, pointer}}, "NOTE");
    auto type = makeType({{"TEXT", ZORTYPE_STRING, pointer},
                          {"DATA", ZORTYPE_XSTRING, pointer},
                          {"NOTE", ZORTYPE_STRUCTURE, 16, 0, note.get()},
                          {"NOTES", ZORTYPE_TABLE, pointer, 0, note.get()}},
                         "SAMPLE");
    const std::string longText(100, 'x');
    std::string document = "<P><TEXT>&#60;\xC3\xA4" + longText + "</TEXT><DATA>" + std::string(100, 'A') +
                           "</DATA><NOTE><TEXT>" + longText + "</TEXT></NOTE><NOTES>";
    for (int i = 0; i < 150; ++i)
        document += "<item><TEXT>" + longText + "</TEXT></item>";
    document += "</NOTES></P>";
    ZorStructure record(type.get());
    parse(record, document, 20);
    const std::string content = rendered(record);
    long failures = 0;
    for (bool failed = true; failed; failures += failed) {
        ASSERT_LT(failures, 2000);
        ZorStructure target(type.get());
        failed = false;
        failAfter = failures;
        try {
            parse(target, document, 20);
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        failAfter = -1;
        parse(target, document);
        ASSERT_EQ(rendered(target), content) << failures;
    }
    EXPECT_GT(failures, 150);
}

}  // namespace
