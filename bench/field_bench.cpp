// What field access costs: setting and getting an integer by index and by name, in each kind of container,
// against the least that a checked call across a library boundary could do. The ratios tell more than the
// nanoseconds, since they hardly depend on the machine.

#include <benchmark/benchmark.h>
#include <kelzor.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

#include "benchsupport.h"

namespace {

constexpr unsigned fieldCount = 30;
constexpr unsigned lastField = fieldCount - 1;
constexpr const char* lastName = "FIELD_OF_A_RECORD_29";

TypeDesc integersType() {
    return makeType(fieldCount, fieldCount * sizeof(ZOR_INT));
}

FunctionDesc integersFunction() {
    ZOR_PARAMETER_DESC parameter{};
    parameter.type = ZORTYPE_INT;
    parameter.direction = ZOR_IMPORT;
    parameter.nucLength = sizeof(ZOR_INT);
    return makeFunctionDesc(fieldCount, parameter);
}

// The kinds of container that hold the fields.

struct Structure {
    Owned<ZOR_STRUCTURE_HANDLE, ZorDestroyStructure> owner{ZorCreateStructure(integersType().get(), nullptr)};
    DATA_CONTAINER_HANDLE handle = owner.get();
};

struct Table {
    Owned<ZOR_TABLE_HANDLE, ZorDestroyTable> owner{ZorCreateTable(integersType().get(), nullptr)};
    DATA_CONTAINER_HANDLE row = ZorAppendNewRow(owner.get(), nullptr);
    DATA_CONTAINER_HANDLE handle = owner.get();
};

struct Row : Table {
    DATA_CONTAINER_HANDLE handle = row;
};

struct Function {
    Owned<ZOR_FUNCTION_HANDLE, ZorDestroyFunction> owner{
        ZorCreateFunction(integersFunction().get(), nullptr)};
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
    const size_t before = heap::allocations();
    for (auto step : state) {
        (void)step;
        if (access(value, &info) != ZOR_OK) {
            state.SkipWithError("the access failed");
            return;
        }
        benchmark::DoNotOptimize(value);
        benchmark::ClobberMemory();
    }
    if (heap::allocations() != before) state.SkipWithError("the access allocated memory");
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

// By name the least is a hash table of the names in front of it.
struct ReferenceNames {
    ReferenceNames() {
        for (unsigned index = 0; index < fieldCount; ++index)
            positions.emplace(
                (index < 10 ? "FIELD_OF_A_RECORD_0" : "FIELD_OF_A_RECORD_") + std::to_string(index), index);
    }
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };
    std::unordered_map<std::string, unsigned, Hash, std::equal_to<>> positions;
};

[[gnu::noinline]] ZOR_RC referenceGetByName(const Reference* record, const ReferenceNames& names,
                                            const char* name, ZOR_INT* value, ZOR_ERROR_INFO* info) {
    const auto found = names.positions.find(std::string_view(name));
    if (found == names.positions.end()) return ZOR_INVALID_PARAMETER;
    return referenceGet(record, found->second, value, info);
}

void getReferenceByName(benchmark::State& state) {
    const Reference record;
    const ReferenceNames names;
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return referenceGetByName(&record, names, lastName, &value, info);
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

// Text of 40 characters into a field of that length, against the same copy behind a call.

constexpr unsigned textLength = 40;
constexpr char text[textLength + 1] = "Forty characters that fill up the field.";

struct TextStructure {
    TextStructure() {
        ZOR_ERROR_INFO info;
        const TypeDesc type(ZorCreateTypeDesc("TEXT", &info));
        ZOR_FIELD_DESC field{};
        std::strcpy(field.name, "TEXT");
        field.type = ZORTYPE_CHAR;
        field.nucLength = textLength;
        check(ZorAddTypeField(type.get(), &field, &info), info);
        check(ZorSetTypeLength(type.get(), textLength, 0, &info), info);
        owner.reset(ZorCreateStructure(type.get(), &info));
    }
    Owned<ZOR_STRUCTURE_HANDLE, ZorDestroyStructure> owner;
};

[[gnu::noinline]] void copyText(char* target, const char* source, size_t length) {
    std::memcpy(target, source, length);
}

void setCharsReference(benchmark::State& state) {
    char target[textLength];
    repeat(state, [&](ZOR_INT&, ZOR_ERROR_INFO*) {
        copyText(target, text, textLength);
        benchmark::DoNotOptimize(target);
        return ZOR_OK;
    });
}

void setChars(benchmark::State& state) {
    const TextStructure structure;
    repeat(state, [&](ZOR_INT&, ZOR_ERROR_INFO* info) {
        return ZorSetChars(structure.owner.get(), "TEXT", text, textLength, info);
    });
}

void setCharsByIndex(benchmark::State& state) {
    const TextStructure structure;
    repeat(state, [&](ZOR_INT&, ZOR_ERROR_INFO* info) {
        return ZorSetCharsByIndex(structure.owner.get(), 0, text, textLength, info);
    });
}

BENCHMARK(setCharsReference);
BENCHMARK(setCharsByIndex);
BENCHMARK(setChars);
BENCHMARK(getReference);
BENCHMARK(getReferenceByName);
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
    return 0;
}
