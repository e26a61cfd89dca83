#include "cli.h"

#include <algorithm>
#include <iostream>

#include "completion.h"
#include "keys.h"
#include "problem.h"
#include "values.h"

namespace zortool {

namespace {

// Options are known in small letters with dashes; --GWHOST and --program_id are understood as well.
void normalise(std::vector<std::string>& arguments) {
    for (std::string& argument : arguments) {
        if (argument == "--") return;
        if (!argument.starts_with("--")) continue;
        const std::size_t end = std::min(argument.find('='), argument.size());
        std::transform(argument.begin(), argument.begin() + static_cast<std::ptrdiff_t>(end),
                       argument.begin(),
                       [](unsigned char c) { return c == '_' ? '-' : static_cast<char>(std::tolower(c)); });
    }
}

// The type's name says what is allowed already.
CLI::Validator quietly(const CLI::Validator& validator) {
    return validator.description("");
}

CLI::Validator oneOf(const std::vector<std::string>& words) {
    return quietly(CLI::IsMember(words));
}

std::string versionText() {
    return "zor with " + kelzor::version();
}

}  // namespace

CommandLine::CommandLine()
    : app_(
          "Calls remote functions of the ZOR protocol, tells what they look like, and tries a partner under "
          "load.",
          "zor") {
    app_.require_subcommand(1);
    app_.set_version_flag("--version", versionText, "Print the versions of the tool and the library");
    app_.get_formatter()->column_width(34);
    app_.footer(
        "Exit status: 0, the number of the error group of a failure (1 to 7), 64 and above for problems of "
        "the\n"
        "tool itself. More: man zor, zor COMMAND --help, zor keys.");
    app_.add_option("--ini", settings_.target.ini,
                    "kelzor.ini or its directory; without it the current directory's")
        ->type_name("PATH");
    app_.add_option("--format", format_, "Results as a table or as JSON")
        ->check(oneOf({"table", "json"}))
        ->type_name("table|json");
    app_.add_option("--trace-dir", settings_.target.traceDirectory, "Directory of the trace files")
        ->type_name("PATH");
    app_.add_flag("--batch", settings_.target.batch, "Never ask for a password at the terminal");
    addConnectionOptions();
    addCommands();
}

void CommandLine::addConnectionOptions() {
    for (const ConnectionKey& key : connectionKeys()) {
        const std::string name = key.name;
        app_.add_option_function<std::string>(
                optionOf(key),
                [this, name](const std::string& value) { settings_.target.parameters[name] = value; },
                key.help)
            ->type_name(key.argument)
            ->group(key.common ? "Connection (all of it: zor keys)" : "");
    }
}

CLI::App* CommandLine::addCommand(const std::string& name, const std::string& text,
                                  std::function<int()> action) {
    CLI::App* command = app_.add_subcommand(name, text);
    command->fallthrough();
    command->footer("The options of the connection may follow too; zor --help and zor keys list them.");
    command->callback([this, action] { action_ = action; });
    return command;
}

void CommandLine::addCommands() {
    CLI::App* ping = addCommand("ping", "Log on, and tell how long an empty call takes",
                                [this] { return zortool::ping(settings_, ping_); });
    ping->add_option("--count", ping_.count, "Number of pings")
        ->type_name("NUMBER")
        ->check(quietly(CLI::Range(1u, 1000000u)));
    addCommand("info", "Show what is known about the connection and its partner",
               [this] { return zortool::info(settings_); });
    addDescribe();
    addCall();
    addServe();
    addCommand("keys", "List all connection parameters, with their options",
               [this] { return zortool::keys(settings_); });
    CLI::App* dev = app_.add_subcommand("dev", "Run the development system, zordev; its options follow");
    dev->prefix_command();
    dev->callback([this, dev] { action_ = [dev] { return zortool::dev(dev->remaining()); }; });
    CLI::App* completion = app_.add_subcommand("completion", "Print the completion script of a shell");
    completion->add_option("shell", shell_, "The shell")->check(oneOf({"bash"}))->type_name("bash");
    completion->callback([this] {
        action_ = [this] {
            writeBashCompletion(std::cout, app_);
            return 0;
        };
    });
}

void CommandLine::addDescribe() {
    CLI::App* describe = addCommand("describe", "Show a function, type or class of the partner",
                                    [this] { return zortool::describe(settings_, describe_); });
    describe->add_option("name", describe_.name, "Its name")->required()->type_name("NAME");
    describe->add_option("--kind", describe_.kind, "What it is, if the name stands for more than one")
        ->check(oneOf({"any", "function", "type", "class"}))
        ->type_name("any|function|type|class");
    describe->add_flag("--template", describe_.makeTemplate,
                       "Print the input of a function as JSON to fill in for zor call --json");
    CLI::App* search = addCommand("search", "Find functions by name, where the partner offers it",
                                  [this] { return zortool::search(settings_, search_); });
    search->add_option("pattern", search_.pattern, "Name, * for any characters")->type_name("PATTERN");
}

void CommandLine::addCall() {
    CLI::App* call = addCommand("call", "Call a function and show its results",
                                [this] { return zortool::call(settings_, call_); });
    call->add_option("name", call_.name, "The function")->required()->type_name("NAME");
    call->add_option("parameters", call_.assignments,
                     "PARAM=VALUE, STRUCTURE.FIELD=VALUE, or JSON: 'TABLE=[{\"FIELD\": 1}]'")
        ->type_name("PARAM=VALUE");
    call->add_option("--json", call_.jsonFile,
                     "Parameters as a JSON object from a file, - for the standard input")
        ->type_name("FILE");
    call->add_flag("--all", call_.all, "Show the parameters that were sent as well");
    call->add_option("--rows", call_.rows, "Show at most so many rows of a table")->type_name("NUMBER");
    CLI::Option* repeat = call->add_option("--repeat", call_.load.repeat, "Load trial: so many calls in all")
                              ->type_name("NUMBER")
                              ->check(quietly(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 40)));
    call->add_option("--parallel", call_.load.parallel, "Load trial: so many connections at once")
        ->type_name("NUMBER")
        ->check(quietly(CLI::Range(1u, 1000u)))
        ->needs(repeat);
    call->add_flag("--keep-going", call_.load.keepGoing,
                   "Load trial: count failures instead of stopping at the first")
        ->needs(repeat);
}

void CommandLine::addServe() {
    CLI::App* serve = addCommand("serve", "Serve functions by running a program for each call",
                                 [this] { return zortool::serve(settings_, serve_); });
    serve->add_option("file", serve_.file, "JSON that tells the functions and their programs")
        ->required()
        ->type_name("FILE");
    serve->add_option("--patience", serve_.patience, "Seconds that running calls may take at the end")
        ->type_name("SECONDS")
        ->check(quietly(CLI::Range(0u, 86400u)));
}

void CommandLine::refuseCommand() const {
    std::vector<std::string> names;
    for (const CLI::App* command : app_.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    for (const std::string& word : app_.remaining(true))
        if (!word.starts_with('-'))
            throw Problem(exitUsage, "there is no command " + word, adviceOn(names, word));
    throw Problem(exitUsage, "no command was given", adviceOn(names, "") + " See zor --help.");
}

void CommandLine::refuseExtras() const {
    const CLI::App* command = app_.get_subcommands().front();
    std::vector<std::string> names;
    for (const CLI::App* app : {&app_, command})
        for (const CLI::Option* option : app->get_options())
            for (const std::string& name : option->get_lnames())
                names.push_back("--" + name);
    for (const std::string& word : app_.remaining(true))
        if (word.starts_with("--"))
            throw Problem(exitUsage, "there is no option " + word, adviceOn(names, word));
    throw Problem(exitUsage, "'" + app_.remaining(true).front() + "' is one word too many",
                  "zor " + command->get_name() + " --help");
}

int CommandLine::parse(const std::vector<std::string>& arguments) {
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());  // as the library wants them
    try {
        app_.parse(reversed);
        settings_.json = format_ == "json";
        return 0;
    } catch (const CLI::Success& request) {
        app_.exit(request, std::cout, std::cerr);
        return 1;
    } catch (const CLI::RequiredError& error) {
        if (app_.get_subcommands().empty()) refuseCommand();
        throw Problem(exitUsage, error.what(), "zor COMMAND --help");
    } catch (const CLI::ExtrasError&) {
        refuseExtras();
    } catch (const CLI::ParseError& error) {
        throw Problem(exitUsage, error.what(), "zor --help, zor COMMAND --help");
    }
}

int CommandLine::run(std::vector<std::string> arguments) {
    // The development system has options of its own, which stay as they are; its --help is one of them.
    if (!arguments.empty() && arguments.front() == "dev")
        return dev({arguments.begin() + 1, arguments.end()});
    const auto command = std::find(arguments.begin(), arguments.end(), "dev");
    std::vector<std::string> own(arguments.begin(), command);
    normalise(own);
    own.insert(own.end(), command, arguments.end());
    if (parse(own) != 0) return 0;
    return action_();
}

}  // namespace zortool
