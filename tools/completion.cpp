#include "completion.h"

#include <ostream>
#include <string>

namespace zortool {

namespace {

std::string optionsOf(const CLI::App& app) {
    std::string words;
    for (const CLI::Option* option : app.get_options())
        for (const std::string& name : option->get_lnames())
            words += " --" + name;
    return words;
}

// "a|b|c" is a choice, which the shell can offer; what says something else is free text.
std::string choicesOf(const CLI::Option& option) {
    std::string type = option.get_type_name();
    if (type.find('|') == std::string::npos) return {};
    for (char& c : type)
        if (c == '|') c = ' ';
    return type;
}

void writeValues(std::ostream& out, const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_lnames().empty()) continue;
        const std::string name = "--" + option->get_lnames().front(), type = option->get_type_name();
        const std::string choices = choicesOf(*option);
        if (!choices.empty())
            out << "        " << name << ") words='" << choices << "' ;;\n";
        else if (type == "PATH" || type == "FILE")
            out << "        " << name << ") COMPREPLY=($(compgen -f -- \"$cur\")); return ;;\n";
        else if (name == "--dest")
            out << "        --dest) words=$(_zor_destinations) ;;\n";
        else if (type == "SOURCE")
            out << "        " << name << ") words='prompt fd: file: env:' ;;\n";
        else if (option->get_expected_max() != 0 && option->get_items_expected_max() != 0)
            out << "        " << name << ") return ;;\n";
    }
}

constexpr const char* head = R"script(# Completion of zor for bash; made by `zor completion bash`.

# Destinations of the kelzor.ini that --ini names, or of the current directory's.
_zor_destinations() {
    local i ini=.
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == --ini ]] && ini=${COMP_WORDS[i + 1]}
    done
    [[ -d $ini ]] && ini=$ini/kelzor.ini
    sed -n 's/^[[:blank:]]*DEST[[:blank:]]*=[[:blank:]]*\([^[:space:]]*\).*/\1/p' "$ini" 2>/dev/null
}

_zor() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} words= command= word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
)script";

}  // namespace

void writeBashCompletion(std::ostream& out, const CLI::App& app) {
    const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
    std::string names;
    for (const CLI::App* command : commands)
        names += (names.empty() ? "" : "|") + command->get_name();
    out << head << "        " << names
        << ") command=$word; break ;;\n        esac\n    done\n    case $prev in\n";
    writeValues(out, app);
    for (const CLI::App* command : commands)
        writeValues(out, *command);
    out << "        *)\n            case $command in\n";
    for (const CLI::App* command : commands)
        out << "            " << command->get_name() << ") words='" << optionsOf(*command) << "' ;;\n";
    for (char& c : names)
        if (c == '|') c = ' ';
    out << "            *) words='" << names << "' ;;\n            esac\n            words+='"
        << optionsOf(app)
        << "'\n            ;;\n    esac\n    COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n}\n"
        << "complete -F _zor zor\n";
}

}  // namespace zortool
