#include <unistd.h>

#include <fstream>
#include <iostream>
#include <iterator>

#include "callvalues.h"
#include "commands.h"
#include "lookup.h"
#include "texttable.h"

namespace zortool {

namespace {

std::string readAll(const std::string& file) {
    if (file == "-") return {std::istreambuf_iterator<char>(std::cin), {}};
    std::ifstream in(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in.is_open() || in.bad()) throw Problem(exitInput, file + " can't be read", "Check --json.");
    return text;
}

Json parametersOf(const CallOptions& options) {
    Json base;
    if (!options.jsonFile.empty())
        base = parseJson(readAll(options.jsonFile),
                         options.jsonFile == "-" ? "the standard input" : options.jsonFile);
    return joinParameters(std::move(base), options.assignments);
}

kelzor::Function prepareFunction(kelzor::Connection& connection, const Settings& settings,
                                 const std::string& name, const Json& parameters) {
    kelzor::Function function(lookUpFunction(connection, settings.target, name));
    try {
        fillFunction(function, parameters);
    } catch (const Problem& problem) {
        throw Problem(
            problem.exitStatus(), problem.what(),
            problem.hint().empty() ? "`zor describe " + name + "` shows what it takes." : problem.hint());
    }
    return function;
}

/** A connection with a filled container. */
class Caller : public LoadWorker {
  public:
    Caller(const Settings& settings, const std::string& name, const Json& parameters)
        : connection_(settings.target.open()),
          function_(prepareFunction(connection_, settings, name, parameters)) {}

    void call() override { connection_.invoke(function_); }
    const kelzor::Connection& connection() const override { return connection_; }
    const kelzor::Function& function() const { return function_; }

  private:
    kelzor::Connection connection_;
    kelzor::Function function_;
};

// The partner names its exception; the description of the function knows what that means.
Problem problemOfCall(const kelzor::Error& error, const kelzor::Function& function, const Settings& settings,
                      const std::string& name) {
    Problem problem(error, "calling " + name, settings.target.where());
    if (error.code() != ZOR_UBIX_EXCEPTION) return problem;
    for (const ZOR_EXCEPTION_DESC& exception : function.description().exceptions())
        if (error.key() == exception.key && exception.message[0] != '\0')
            problem.setHint(std::string(exception.key) + " means: " + kelzor::toUtf8(exception.message));
    return problem;
}

int callOnce(const Settings& settings, const CallOptions& options, const Json& parameters,
             Interrupts& interrupts) {
    Caller caller(settings, options.name, parameters);
    const auto called = kelzor::attempt([&] {
        const Interrupts::Watch watch(interrupts, caller.connection());
        caller.call();
    });
    if (!called && interrupts.stopping() != 0) {
        std::cerr << "zor: interrupted; the call was cancelled\n";
        return interrupts.exitStatus();
    }
    if (!called) throw problemOfCall(called.error(), caller.function(), settings, options.name);
    const Json values = readFunction(caller.function(), options.all ? Selection::all : Selection::results);
    if (settings.json)
        writeJson(std::cout, values);
    else
        writeValues(std::cout, values, options.rows);
    return 0;
}

int callRepeatedly(const Settings& settings, const CallOptions& options, const Json& parameters,
                   Interrupts& interrupts) {
    LoadPlan plan = options.load;
    plan.showProgress = isatty(STDERR_FILENO) != 0;
    const LoadResult result = runLoad(
        plan, [&] { return std::make_unique<Caller>(settings, options.name, parameters); }, interrupts,
        [&](const kelzor::Error& error) {
            return Problem(error, "calling " + options.name, settings.target.where());
        });
    const bool ran = !result.latencies.empty() || result.failed() != 0;
    if (ran && settings.json) writeJson(std::cout, result.toJson());
    if (ran && !settings.json) result.write(std::cout);
    std::cout.flush();
    if (interrupts.stopping() != 0) return interrupts.exitStatus();
    if (result.firstProblem) throw *result.firstProblem;
    return 0;
}

std::string cellText(const Json& value) {
    return oneLine(value.is_string() ? value.get<std::string>() : value.is_null() ? "" : value.dump());
}

bool isTable(const Json& value) {
    return value.is_array();
}

// Rows as a table; a nested value within a cell stays JSON.
void writeTable(std::ostream& out, const std::string& name, const Json& rows, std::optional<unsigned> limit) {
    const std::size_t shown = std::min<std::size_t>(rows.size(), limit.value_or(~0u));
    out << name << ": " << rows.size() << (rows.size() == 1 ? " row\n" : " rows\n");
    if (shown == 0) return;
    std::vector<TextTable::Column> columns;
    if (rows[0].is_object())
        for (const auto& [field, value] : rows[0].items())
            columns.push_back({field, value.is_number()});
    else
        columns.push_back({"VALUE", rows[0].is_number()});
    TextTable table(std::move(columns));
    for (std::size_t i = 0; i < shown; i++) {
        std::vector<std::string> cells;
        if (rows[i].is_object())
            for (const auto& [field, value] : rows[i].items())
                cells.push_back(cellText(value));
        else
            cells.push_back(cellText(rows[i]));
        table.add(std::move(cells));
    }
    table.write(out, "  ");
    if (shown < rows.size()) out << "  ... and " << rows.size() - shown << " more\n";
}

void addValue(TextList& list, const std::string& name, const Json& value) {
    if (!value.is_object()) return list.add(name, cellText(value));
    for (const auto& [field, member] : value.items())
        addValue(list, name + "." + field, member);
}

}  // namespace

void writeValues(std::ostream& out, const Json& values, std::optional<unsigned> rows) {
    TextList scalars;
    for (const auto& [name, value] : values.items())
        if (!isTable(value)) addValue(scalars, name, value);
    scalars.write(out);
    for (const auto& [name, value] : values.items())
        if (isTable(value)) writeTable(out, name, value, rows);
    if (values.empty()) out << "done; the function has no results\n";
}

int call(Settings& settings, const CallOptions& options) {
    // Before anything is opened: what is wrong with the command line shows without a partner.
    const Json parameters = parametersOf(options);
    Interrupts interrupts;
    settings.target.prepare();
    if (options.load.repeat > 1 || options.load.parallel > 1)
        return callRepeatedly(settings, options, parameters, interrupts);
    return callOnce(settings, options, parameters, interrupts);
}

}  // namespace zortool
