// What field access costs: setting and getting an integer by index and by name, against the least that a
// checked call across a library boundary could do. The ratios tell more than the nanoseconds, since they
// hardly depend on the machine.

#include <benchmark/benchmark.h>
#include <kelzor.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

constexpr unsigned fieldCount = 20;
constexpr unsigned lastField = fieldCount - 1;
constexpr const char* lastName = "FIELD_19";

void check(ZOR_RC rc, const ZOR_ERROR_INFO& info) {
    if (rc != ZOR_OK) throw std::runtime_error(info.message);
}

struct DestroyStructure {
    void operator()(ZOR_STRUCTURE_HANDLE handle) const { ZorDestroyStructure(handle, nullptr); }
};
using Structure = std::unique_ptr<std::remove_pointer_t<ZOR_STRUCTURE_HANDLE>, DestroyStructure>;

Structure makeStructure() {
    ZOR_ERROR_INFO info;
    const ZOR_TYPE_DESC_HANDLE type = ZorCreateTypeDesc("BENCH", &info);
    for (unsigned i = 0; i < fieldCount; i++) {
        ZOR_FIELD_DESC field{};
        std::snprintf(field.name, sizeof field.name, "FIELD_%u", i);
        field.type = ZORTYPE_INT;
        field.nucLength = sizeof(ZOR_INT);
        field.nucOffset = i * sizeof(ZOR_INT);
        check(ZorAddTypeField(type, &field, &info), info);
    }
    check(ZorSetTypeLength(type, fieldCount * sizeof(ZOR_INT), 0, &info), info);
    Structure structure(ZorCreateStructure(type, &info));
    check(structure != nullptr ? ZOR_OK : info.code, info);
    ZorDestroyTypeDesc(type, nullptr);
    return structure;
}

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

// Calls `access` with a value and a record until the benchmark has seen enough; stops at a failure.
template <class Access>
void repeat(benchmark::State& state, Access access) {
    ZOR_ERROR_INFO info;
    ZOR_INT value = 0;
    for (auto step : state) {
        (void)step;
        if (access(value, &info) != ZOR_OK) {
            state.SkipWithError("the access failed");
            return;
        }
        benchmark::DoNotOptimize(value);
        benchmark::ClobberMemory();
    }
}

void getReference(benchmark::State& state) {
    const Reference record;
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return referenceGet(&record, lastField, &value, info);
    });
}

void getByIndex(benchmark::State& state) {
    const Structure structure = makeStructure();
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return ZorGetIntByIndex(structure.get(), lastField, &value, info);
    });
}

void getByName(benchmark::State& state) {
    const Structure structure = makeStructure();
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return ZorGetInt(structure.get(), lastName, &value, info);
    });
}

void setReference(benchmark::State& state) {
    Reference record;
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return referenceSet(&record, lastField, ++value, info);
    });
}

void setByIndex(benchmark::State& state) {
    const Structure structure = makeStructure();
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return ZorSetIntByIndex(structure.get(), lastField, ++value, info);
    });
}

void setByName(benchmark::State& state) {
    const Structure structure = makeStructure();
    repeat(state, [&](ZOR_INT& value, ZOR_ERROR_INFO* info) {
        return ZorSetInt(structure.get(), lastName, ++value, info);
    });
}

BENCHMARK(getReference);
BENCHMARK(getByIndex);
BENCHMARK(getByName);
BENCHMARK(setReference);
BENCHMARK(setByIndex);
BENCHMARK(setByName);

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
            std::printf("%-12s %6.2f ns  %5.2f times %s\n", what.c_str(), time->second,
                        time->second / base->second, reference.c_str());
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
    for (const char* what : {"getByIndex", "getByName"})
        reporter.printRatio(what, "getReference");
    for (const char* what : {"setByIndex", "setByName"})
        reporter.printRatio(what, "setReference");
    return 0;
}
