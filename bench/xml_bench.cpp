/**
 * @file
 * Structures and tables as XML: a table of 10,000 rows with a table of two rows in each, written and read,
 * against a copy of the same document. The shared library exports none of this by itself, so this benchmark
 * looks inside.
 */
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "convert/zorconverter.h"
#include "data/zorstructure.h"
#include "data/zortable.h"
#include "xzor/xzorparser.h"
#include "xzor/xzorrenderer.h"

namespace {

constexpr unsigned rowCount = 10000;
constexpr unsigned pointer = sizeof(void*);

/** Keeps a document in memory that was made before. */
struct Document final : XmlOs {
    void close() override { flush(); }
    void send(std::span<const KEL_RAW> piece) override {
        if (used + piece.size() > text.size()) text.resize(used + piece.size());
        std::memcpy(text.data() + used, piece.data(), piece.size());
        used += piece.size();
    }
    std::string text;
    size_t used = 0;
};

struct Root final : XZorRoots {
    explicit Root(ZorRecord& record) : record(record) {}
    ZorRecord* recordOf(std::string_view) override { return &record; }
    ZorRecord& record;
};

ZorMetaDataRef<ZorRecordMetaData> rowType() {
    auto note = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("NOTE", "bench", 2, false);
    note->add("POSITION", ZORTYPE_INT, 4, 0, 0, 0, 0);
    note->add("TEXT", ZORTYPE_STRING, pointer, 8, 0, 0, 0);
    note->setRecordLength(16, 0);
    auto row = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("ROW", "bench", 6, false);
    row->add("MATERIAL", ZORTYPE_CHAR, 18, 0, 0, 0, 0);
    row->add("QUANTITY", ZORTYPE_BCD, 7, 18, 0, 0, 3);
    row->add("DUE_DATE", ZORTYPE_DATE, 8, 25, 0, 0, 0);
    row->add("NUMBER", ZORTYPE_INT, 4, 36, 0, 0, 0);
    row->add("NOTES", ZORTYPE_TABLE, pointer, 40, 0, 0, 0, note.get());
    row->setRecordLength(48, 0);
    return row;
}

void setText(ZorRecord& record, unsigned index, std::string_view text) {
    record.setValue(index, text.data(), static_cast<unsigned>(text.size()), ZORTYPE_CHAR);
}

std::unique_ptr<ZorTable> nestedTable() {
    auto table = std::make_unique<ZorTable>(rowType().get());
    for (unsigned i = 0; i < rowCount; ++i) {
        table->createNewRows(1);
        setText(*table, 0, "MATERIAL-" + std::to_string(i));
        setText(*table, 1, "12.5");
        setText(*table, 2, "20261123");
        ZorTable* notes = nullptr;
        table->getValue(4, &notes, true);
        for (const char* text : {"a note of the usual length", "short"}) {
            notes->createNewRows(1);
            setText(*notes, 1, text);
        }
    }
    return table;
}

void render(ZorTable& table, Document& document) {
    document.used = 0;
    XZorRenderer(document, *ZorConverter::getConverter("1100", "4110", 0, '#')).encode(table, "ROWS");
}

void finish(benchmark::State& state, const Document& document) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(document.used));
    state.SetItemsProcessed(state.iterations() * rowCount);
}

void WriteNestedTable(benchmark::State& state) {
    const auto table = nestedTable();
    Document document;
    render(*table, document);
    for (auto _ : state)
        render(*table, document);
    finish(state, document);
}
BENCHMARK(WriteNestedTable)->Unit(benchmark::kMillisecond);

void ReadNestedTable(benchmark::State& state) {
    const auto table = nestedTable();
    Document document;
    render(*table, document);
    Root root(*table);
    for (auto _ : state) {
        XZorParser parser(root, *ZorConverter::getConverter("4110", "1100", 0, '#'));
        const std::span bytes(reinterpret_cast<const KEL_RAW*>(document.text.data()), document.used);
        for (size_t at = 0; at < bytes.size(); at += XmlOs::bufferSize)
            parser.parse(bytes.subspan(at, std::min<size_t>(XmlOs::bufferSize, bytes.size() - at)));
        parser.setFinished();
    }
    finish(state, document);
}
BENCHMARK(ReadNestedTable)->Unit(benchmark::kMillisecond);

void CopyOfTheDocument(benchmark::State& state) {
    const auto table = nestedTable();
    Document document;
    render(*table, document);
    std::string copy(document.used, '\0');
    for (auto _ : state) {
        std::memcpy(copy.data(), document.text.data(), document.used);
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    finish(state, document);
}
BENCHMARK(CopyOfTheDocument)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
