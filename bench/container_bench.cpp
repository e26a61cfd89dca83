// What containers cost as a whole: making and destroying a function with many optional tables, and a large
// table in memory and in time, against a plain growing array. Every figure has its limit, and the program
// fails when one is missed.

#include <benchmark/benchmark.h>
#include <kelzor.h>

#include <array>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "benchsupport.h"

namespace {

constexpr unsigned tables = 50;

constexpr unsigned rowLength = 100;
constexpr unsigned rowFields = 8;
constexpr unsigned rowsPerTable = 1000000;
constexpr double tableBytes = double{rowsPerTable} * rowLength;

void createFunction(benchmark::State& state) {
    const TypeDesc rows = makeType(rowFields, rowLength);
    ZOR_PARAMETER_DESC parameter{};
    parameter.type = ZORTYPE_TABLE;
    parameter.direction = ZOR_TABLES;
    parameter.nucLength = rowLength;
    parameter.typeDescHandle = rows.get();
    parameter.optional = 1;
    const FunctionDesc desc = makeFunctionDesc(tables, parameter);
    ZOR_ERROR_INFO info;
    const size_t before = heap::allocations();
    for (auto step : state) {
        (void)step;
        const ZOR_FUNCTION_HANDLE function = ZorCreateFunction(desc.get(), &info);
        check(ZorDestroyFunction(function, &info), info);
    }
    const auto made = static_cast<double>(heap::allocations() - before);
    state.counters["allocations"] = benchmark::Counter(made, benchmark::Counter::kAvgIterations);
    state.counters["microseconds"] =
        benchmark::Counter(1e-6, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Reports what a full table took: fields filled in a second, and for each byte of its rows the bytes held at
// the end and the most that were held on the way. Doubling alone may bring the first to 2, and the second to
// 3, while the old rows and the new ones are there at the same time.
void reportFill(benchmark::State& state, size_t held, size_t peak) {
    state.SetItemsProcessed(state.iterations() * rowsPerTable * rowFields);
    state.counters["held"] = static_cast<double>(held) / tableBytes;
    state.counters["peak"] = static_cast<double>(peak) / tableBytes;
}

void fillReference(benchmark::State& state) {
    using PlainRow = std::array<ZOR_INT, rowLength / sizeof(ZOR_INT)>;
    size_t held = 0, peak = 0;
    for (auto step : state) {
        (void)step;
        heap::restartPeak();
        const size_t before = heap::heldBytes();
        std::vector<PlainRow> rows;
        for (unsigned i = 0; i < rowsPerTable; i++) {
            PlainRow& row = rows.emplace_back();
            for (unsigned field = 0; field < rowFields; field++)
                row[field] = static_cast<ZOR_INT>(i + field);
            benchmark::ClobberMemory();
        }
        held = heap::heldBytes() - before;
        peak = heap::peakBytes() - before;
    }
    reportFill(state, held, peak);
}

void fillTable(benchmark::State& state) {
    const TypeDesc type = makeType(rowFields, rowLength);
    size_t held = 0, peak = 0;
    for (auto step : state) {
        (void)step;
        heap::restartPeak();
        const size_t before = heap::heldBytes();
        const Owned<ZOR_TABLE_HANDLE, ZorDestroyTable> table(ZorCreateTable(type.get(), nullptr));
        for (unsigned i = 0; i < rowsPerTable; i++) {
            const ZOR_STRUCTURE_HANDLE row = ZorAppendNewRow(table.get(), nullptr);
            for (unsigned field = 0; field < rowFields; field++)
                if (ZorSetIntByIndex(row, field, static_cast<ZOR_INT>(i + field), nullptr) != ZOR_OK)
                    return state.SkipWithError("a row could not be filled");
        }
        held = heap::heldBytes() - before;
        peak = heap::peakBytes() - before;
    }
    reportFill(state, held, peak);
}

BENCHMARK(createFunction);
BENCHMARK(fillReference)->Unit(benchmark::kMillisecond);
BENCHMARK(fillTable)->Unit(benchmark::kMillisecond);

/** A figure of a benchmark and what it may be at most, or must be at least. */
struct Limit {
    const char* benchmark;
    const char* counter;
    double limit;
    bool atMost;
};

constexpr Limit limits[] = {
    {"createFunction", "microseconds", 10, true},
    {"fillTable", "items_per_second", 5e6, false},
    // 1.3 times the rows' bytes, twice while half of the room waits for further rows.
    {"fillTable", "held", 2 * 1.3, true},
};

/** Prints as usual and remembers the figures. */
class LimitReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (!run.error_occurred)
                for (const auto& [name, counter] : run.counters)
                    figures[run.benchmark_name()][name] = counter.value;
    }

    /** Prints a figure with its limit; false if it was measured and missed. */
    bool keeps(const Limit& limit) const {
        const auto run = figures.find(limit.benchmark);
        if (run == figures.end()) return true;
        const double figure = run->second.at(limit.counter);
        const bool kept = limit.atMost ? figure <= limit.limit : figure >= limit.limit;
        std::printf("%-16s %-18s %12.6g  %s %g%s\n", limit.benchmark, limit.counter, figure,
                    limit.atMost ? "at most" : "at least", limit.limit, kept ? "" : "  MISSED");
        return kept;
    }

  private:
    std::map<std::string, std::map<std::string, double>> figures;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    LimitReporter reporter;
    if (benchmark::RunSpecifiedBenchmarks(&reporter) == 0) return 1;
    std::printf("\n");
    bool allKept = true;
    for (const Limit& limit : limits)
        allKept = reporter.keeps(limit) && allKept;
    return allKept ? 0 : 1;
}
