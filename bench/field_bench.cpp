// What field access costs: setting and getting an integer by index and by name, in each kind of container,
// against the least that a checked call across a library boundary could do; and what a large table costs in
// memory and in time, against a plain growing array. The ratios tell more than the nanoseconds, since they
// hardly depend on the machine.

#include <benchmark/benchmark.h>
#include <kelzor.h>
#include <malloc.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// Of the whole process; the benchmarks run in one thread.
size_t allocations = 0;
size_t heldBytes = 0;

}  // namespace

// The library's allocations come here too. Out of line, since a compiler that sees both sides warns of the
// mixture.
[[gnu::noinline]] void* operator new(size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    ++allocations;
    heldBytes += malloc_usable_size(block);
    return block;
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    heldBytes -= malloc_usable_size(block);
    std::free(block);
}

void operator delete(void* block, size_t) noexcept {
    operator delete(block);
}

namespace {

constexpr unsigned fieldCount = 30;
constexpr unsigned lastField = fieldCount - 1;
constexpr const char* nameFormat = "FIELD_OF_A_RECORD_%02u";
constexpr const char* lastName = "FIELD_OF_A_RECORD_29";  // 20 characters

constexpr unsigned rowLength = 100;
constexpr unsigned rowFields = 8;
constexpr unsigned rowsPerTable = 1000000;

void check(ZOR_RC rc, const ZOR_ERROR_INFO& info) {
    if (rc != ZOR_OK) throw std::runtime_error(info.message);
}

template <class Handle, ZOR_RC (*destroy)(Handle, ZOR_ERROR_INFO*)>
struct Destroy {
    void operator()(Handle handle) const { destroy(handle, nullptr); }
};
template <class Handle, ZOR_RC (*destroy)(Handle, ZOR_ERROR_INFO*)>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Destroy<Handle, destroy>>;

using TypeDesc = Owned<ZOR_TYPE_DESC_HANDLE, ZorDestroyTypeDesc>;
using FunctionDesc = Owned<ZOR_FUNCTION_DESC_HANDLE, ZorDestroyFunctionDesc>;

/** Integers from the start on, and bytes that no field takes up to the length. */
TypeDesc makeType(unsigned fields, unsigned length) {
    ZOR_ERROR_INFO info;
    TypeDesc type(ZorCreateTypeDesc("BENCH", &info));
    for (unsigned i = 0; i < fields; i++) {
        ZOR_FIELD_DESC field{};
        std::snprintf(field.name, sizeof field.name, nameFormat, i);
        field.type = ZORTYPE_INT;
        field.nucLength = sizeof(ZOR_INT);
        field.nucOffset = i * sizeof(ZOR_INT);
        check(ZorAddTypeField(type.get(), &field, &info), info);
    }
    check(ZorSetTypeLength(type.get(), length, 0, &info), info);
    return type;
}

TypeDesc makeType() {
    return makeType(fieldCount, fieldCount * sizeof(ZOR_INT));
}

FunctionDesc makeFunctionDesc() {
    ZOR_ERROR_INFO info;
    FunctionDesc desc(ZorCreateFunctionDesc("BENCH", &info));
    for (unsigned i = 0; i < fieldCount; i++) {
        ZOR_PARAMETER_DESC parameter{};
        std::snprintf(parameter.name, sizeof parameter.name, nameFormat, i);
        parameter.type = ZORTYPE_INT;
        parameter.direction = ZOR_IMPORT;
        parameter.nucLength = sizeof(ZOR_INT);
        check(ZorAddParameter(desc.get(), &parameter, &info), info);
    }
    return desc;
}

// The kinds of container that hold the fields.

struct Structure {
    Owned<ZOR_STRUCTURE_HANDLE, ZorDestroyStructure> owner{ZorCreateStructure(makeType().get(), nullptr)};
    DATA_CONTAINER_HANDLE handle = owner.get();
};

struct Table {
    Owned<ZOR_TABLE_HANDLE, ZorDestroyTable> owner{ZorCreateTable(makeType().get(), nullptr)};
    DATA_CONTAINER_HANDLE row = ZorAppendNewRow(owner.get(), nullptr);
    DATA_CONTAINER_HANDLE handle = owner.get();
};

struct Row : Table {
    DATA_CONTAINER_HANDLE handle = row;
};

struct Function {
    Owned<ZOR_FUNCTION_HANDLE, ZorDestroyFunction> owner{
        ZorCreateFunction(makeFunctionDesc().get(), nullptr)};
    DATA_CONTAINER_HANDLE handle = owner.get();
};

// The reference: a record with a mark, a count and one type a field, reached through a function that the
// compiler can't see through, with the same checks.
struct Reference {
    unsigned short mark = 0xCDAB;
    unsigned count = fieldCount;
    int types[fieldCount];
    int values[fieldCount] = {};
    Reference() {
        for (int& type : types)
            type = ZORTYPE_INT;
    }
};

[[gnu::noinline]] ZOR_RC referenceGet(const Reference* record, unsigned index, ZOR_INT* value,
                                      ZOR_ERROR_INFO* info) {
    if (info != nullptr) info->code = ZOR_OK;
    if (record == nullptr || record->mark != 0xCDAB) return ZOR_INVALID_HANDLE;
    if (value == nullptr || index >= record->count) return ZOR_INVALID_PARAMETER;
    if (record->types[index] != ZORTYPE_INT) return ZOR_CONVERSION_FAILURE;
    std::memcpy(value, &record->values[index], sizeof *value);
    return ZOR_OK;
}

[[gnu::noinline]] ZOR_RC referenceSet(Reference* record, unsigned index, ZOR_INT value,
                                      ZOR_ERROR_INFO* info) {
    if (info != nullptr) info->code = ZOR_OK;
    if (record == nullptr || record->mark != 0xCDAB) return ZOR_INVALID_HANDLE;
    if (index >= record->count) return ZOR_INVALID_PARAMETER;
    if (record->types[index] != ZORTYPE_INT) return ZOR_CONVERSION_FAILURE;
    std::memcpy(&record->values[index], &value, sizeof value);
    return ZOR_OK;
}

// Calls `access` with a value and a record until the benchmark has seen enough; stops at a failure. An
// allocation on the way would be one too many, so they are counted.
template <class Access>
void repeat(benchmark::State& state, Access access) {
    ZOR_ERROR_INFO info;
    ZOR_INT value = 0;
    const size_t before = allocations;
    for (auto step : state) {
        (void)step;
        if (access(value, &info) != ZOR_OK) {
            state.SkipWithError("the access failed");
            return;
        }
        benchmark::DoNotOptimize(value);
        benchmark::ClobberMemory();
    }
    if (allocations != before) state.SkipWithError("the access allocated memory");
}

void getReference(benchmark::State& state) {
    const Reference record;
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return referenceGet(&record, lastField, &value, info);
    });
}

void setReference(benchmark::State& state) {
    Reference record;
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return referenceSet(&record, lastField, ++value, info);
    });
}

template <class Container>
void getByIndex(benchmark::State& state) {
    const Container container;
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return ZorGetIntByIndex(container.handle, lastField, &value, info);
    });
}

template <class Container>
void setByIndex(benchmark::State& state) {
    const Container container;
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return ZorSetIntByIndex(container.handle, lastField, ++value, info);
    });
}

template <class Container>
void getByName(benchmark::State& state) {
    const Container container;
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return ZorGetInt(container.handle, lastName, &value, info);
    });
}

template <class Container>
void setByName(benchmark::State& state) {
    const Container container;
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return ZorSetInt(container.handle, lastName, ++value, info);
    });
}

BENCHMARK(getReference);
BENCHMARK_TEMPLATE(getByIndex, Structure);
BENCHMARK_TEMPLATE(getByIndex, Row);
BENCHMARK_TEMPLATE(getByIndex, Table);
BENCHMARK_TEMPLATE(getByIndex, Function);
BENCHMARK_TEMPLATE(getByName, Structure);
BENCHMARK_TEMPLATE(getByName, Function);
BENCHMARK(setReference);
BENCHMARK_TEMPLATE(setByIndex, Structure);
BENCHMARK_TEMPLATE(setByIndex, Row);
BENCHMARK_TEMPLATE(setByIndex, Table);
BENCHMARK_TEMPLATE(setByIndex, Function);
BENCHMARK_TEMPLATE(setByName, Structure);
BENCHMARK_TEMPLATE(setByName, Function);

// Reports what a full table took: time for each field, and bytes held for each byte of its rows.
void reportFill(benchmark::State& state, size_t held) {
    state.SetItemsProcessed(state.iterations() * rowsPerTable * rowFields);
    state.counters["held"] = static_cast<double>(held) / (double{rowsPerTable} * rowLength);
}

void fillReference(benchmark::State& state) {
    using PlainRow = std::array<ZOR_INT, rowLength / sizeof(ZOR_INT)>;
    size_t held = 0;
    for (auto step : state) {
        (void)step;
        const size_t before = heldBytes;
        std::vector<PlainRow> rows;
        for (unsigned i = 0; i < rowsPerTable; i++) {
            PlainRow& row = rows.emplace_back();
            for (unsigned field = 0; field < rowFields; field++)
                row[field] = static_cast<ZOR_INT>(i + field);
            benchmark::ClobberMemory();
        }
        held = heldBytes - before;
    }
    reportFill(state, held);
}

void fillTable(benchmark::State& state) {
    const TypeDesc type = makeType(rowFields, rowLength);
    size_t held = 0;
    for (auto step : state) {
        (void)step;
        const size_t before = heldBytes;
        const Owned<ZOR_TABLE_HANDLE, ZorDestroyTable> table(ZorCreateTable(type.get(), nullptr));
        for (unsigned i = 0; i < rowsPerTable; i++) {
            const ZOR_STRUCTURE_HANDLE row = ZorAppendNewRow(table.get(), nullptr);
            for (unsigned field = 0; field < rowFields; field++)
                if (ZorSetIntByIndex(row, field, static_cast<ZOR_INT>(i + field), nullptr) != ZOR_OK)
                    return state.SkipWithError("a row could not be filled");
        }
        held = heldBytes - before;
    }
    reportFill(state, held);
}

BENCHMARK(fillReference)->Unit(benchmark::kMillisecond);
BENCHMARK(fillTable)->Unit(benchmark::kMillisecond);

// Prints as usual and remembers the times for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (!run.error_occurred) times[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }

    void printRatio(const std::string& what, const std::string& reference) const {
        const auto time = times.find(what);
        const auto base = times.find(reference);
        if (time != times.end() && base != times.end())
            std::printf("%-22s %6.2f times %s\n", what.c_str(), time->second / base->second,
                        reference.c_str());
    }

  private:
    std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    if (benchmark::RunSpecifiedBenchmarks(&reporter) == 0) return 1;
    std::printf("\n");
    for (const char* container : {"Structure", "Row", "Table", "Function"})
        for (const std::string access : {"get", "set"})
            for (const char* way : {"ByIndex", "ByName"})
                reporter.printRatio(access + way + "<" + container + ">", access + "Reference");
    reporter.printRatio("fillTable", "fillReference");
    return 0;
}
