#include "servedfunctions.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>

#include "problem.h"
#include "values.h"

namespace zortool {

namespace {

constexpr unsigned secondsUsually = 60;
constexpr unsigned longestField = 1u << 20;

[[noreturn]] void refuse(const std::string& place, const std::string& text, const std::string& hint = {}) {
    throw Problem(exitData, place + ": " + text, hint);
}

/** A JSON object of the file with its place, which messages begin with. */
class Entry {
  public:
    Entry(const Json& json, std::string place, const std::vector<std::string>& known)
        : json_(json), place_(std::move(place)) {
        if (!json.is_object()) refuse(place_, "an object is expected, not " + kindOf(json));
        for (const auto& [name, value] : json.items())
            if (std::ranges::find(known, name) == known.end())
                refuse(place_, "there is no " + name + " here", adviceOn(known, name));
    }

    const std::string& place() const { return place_; }

    /** A text; without a default it has to be there. */
    std::string text(const char* name, std::optional<std::string> otherwise = {}) const {
        const auto found = json_.find(name);
        if (found == json_.end() && otherwise) return *otherwise;
        if (found == json_.end() || !found->is_string())
            refuse(place_, std::string(name) + " has to be a text");
        return found->get<std::string>();
    }
    /** The same in the code page of the library. */
    std::string nativeText(const char* name, std::optional<std::string> otherwise = {}) const {
        return kelzor::fromUtf8(text(name, std::move(otherwise)));
    }
    unsigned number(const char* name, unsigned otherwise) const {
        const auto found = json_.find(name);
        if (found == json_.end()) return otherwise;
        if (!found->is_number_unsigned() || found->get<std::uint64_t>() > longestField)
            refuse(place_, std::string(name) + " has to be a number up to " + std::to_string(longestField));
        return found->get<unsigned>();
    }
    bool flag(const char* name) const {
        const auto found = json_.find(name);
        if (found == json_.end()) return false;
        if (!found->is_boolean()) refuse(place_, std::string(name) + " has to be true or false");
        return found->get<bool>();
    }
    bool has(const char* name) const { return json_.contains(name); }
    /** Calls `use` with each element of an array, which may be missing, and its place. */
    template <class Use>
    void each(const char* name, Use use) const {
        const auto found = json_.find(name);
        if (found == json_.end()) return;
        if (!found->is_array()) refuse(place_, std::string(name) + " has to be an array");
        std::size_t index = 0;
        for (const Json& element : *found)
            use(element, place_ + "." + name + "[" + std::to_string(index++) + "]");
    }

  private:
    const Json& json_;
    std::string place_;
};

const std::vector<std::string> fileKeys = {"functions", "types"};
const std::vector<std::string> functionKeys = {"kind", "name",       "run",        "seconds",
                                               "text", "parameters", "exceptions", "types"};
const std::vector<std::string> parameterKeys = {"direction", "name", "type",     "length",  "ucLength",
                                                "decimals",  "of",   "optional", "default", "text"};
const std::vector<std::string> typeKeys = {"kind", "name", "length", "ucLength", "fields", "types"};
const std::vector<std::string> fieldKeys = {"name",     "type", "length", "ucLength",
                                            "decimals", "of",   "offset", "ucOffset"};

ZORTYPE typeOf(const Entry& entry) {
    const std::string wanted = "ZORTYPE_" + entry.text("type");
    for (int number = 0; number < _ZORTYPE_max_value; ++number) {
        const auto type = static_cast<ZORTYPE>(number);
        if (wanted == ZorGetTypeAsString(type)) return type;
    }
    refuse(entry.place(), "there is no type " + entry.text("type"),
           "As in CHAR, NUM, INT, STRING, BCD, DATE, STRUCTURE, TABLE.");
}

unsigned lengthOf(const Entry& entry, ZORTYPE type) {
    const unsigned length = entry.number("length", 0);
    const bool needed =
        type == ZORTYPE_CHAR || type == ZORTYPE_NUM || type == ZORTYPE_BYTE || type == ZORTYPE_BCD;
    if (needed && length == 0) refuse(entry.place(), "a length is missing");
    return length;
}

/** The types of a file and of one function: each is made when it is first used. */
class Types {
  public:
    void know(const Json& type, const std::string& place) {
        const Entry entry(type, place, typeKeys);
        known_.insert_or_assign(entry.text("name"), Known{&type, place, {}, false});
    }

    kelzor::TypeView find(const Entry& user) {
        const std::string name = user.text("of");
        const auto found = known_.find(name);
        if (found == known_.end()) refuse(user.place(), "no type " + name + " is described");
        Known& known = found->second;
        if (known.inWork) refuse(known.place, "type " + name + " contains itself");
        if (!known.made) {
            known.inWork = true;
            known.made = make(Entry(*known.json, known.place, typeKeys));
            known.inWork = false;
        }
        return kelzor::TypeView(known.made->handle());
    }

  private:
    struct Known {
        const Json* json;
        std::string place;
        std::shared_ptr<kelzor::TypeBuilder> made;
        bool inWork;
    };

    std::shared_ptr<kelzor::TypeBuilder> make(const Entry& entry) {
        auto type = std::make_shared<kelzor::TypeBuilder>(entry.nativeText("name"));
        entry.each("fields", [&](const Json& field, const std::string& place) {
            addField(*type, Entry(field, place, fieldKeys));
        });
        if (type->fieldCount() == 0) refuse(entry.place(), "a type has fields");
        type->skipTo(entry.number("length", 0), entry.number("ucLength", 0));
        return type;
    }

    void addField(kelzor::TypeBuilder& type, const Entry& field) {
        const ZORTYPE kind = typeOf(field);
        const std::string name = field.nativeText("name");
        if (field.has("offset")) type.skipTo(field.number("offset", 0), field.number("ucOffset", 0));
        if (kind == ZORTYPE_STRUCTURE)
            type.addStructure(name, find(field));
        else if (kind == ZORTYPE_TABLE)
            type.addTable(name, find(field));
        else
            type.add(name, kind, lengthOf(field, kind), field.number("decimals", 0));
    }

    std::map<std::string, Known> known_;
};

ZOR_DIRECTION directionOf(const Entry& parameter) {
    const std::string name = parameter.text("direction");
    if (name == "import") return ZOR_IMPORT;
    if (name == "export") return ZOR_EXPORT;
    if (name == "changing") return ZOR_CHANGING;
    if (name == "tables") return ZOR_TABLES;
    refuse(parameter.place(), "there is no direction " + name, "It is import, export, changing or tables.");
}

void addParameter(kelzor::FunctionBuilder& function, const Entry& parameter, Types& types) {
    const ZOR_DIRECTION direction = directionOf(parameter);
    const ZORTYPE type = direction == ZOR_TABLES ? ZORTYPE_TABLE : typeOf(parameter);
    const std::string name = parameter.nativeText("name"), standard = parameter.nativeText("default", ""),
                      text = parameter.nativeText("text", "");
    const kelzor::ParameterExtras extras{parameter.flag("optional"), standard, text};
    if (type == ZORTYPE_STRUCTURE)
        function.addStructure(name, direction, types.find(parameter), extras);
    else if (type == ZORTYPE_TABLE)
        function.addTable(name, direction, types.find(parameter), extras);
    else
        function.add(name, direction, type, lengthOf(parameter, type), parameter.number("decimals", 0),
                     extras);
}

std::vector<std::string> commandOf(const Entry& entry) {
    std::vector<std::string> command;
    entry.each("run", [&](const Json& word, const std::string& place) {
        if (!word.is_string()) refuse(place, "the program and its arguments are texts");
        command.push_back(word.get<std::string>());
    });
    if (command.empty() || command.front().empty())
        refuse(entry.place(), "run has to name a program", R"(As in "run": ["./greet", "--politely"].)");
    return command;
}

ServedFunction readFunction(const Json& json, const std::string& place, Types types) {
    const Entry entry(json, place, functionKeys);
    entry.each("types", [&](const Json& type, const std::string& where) { types.know(type, where); });
    ServedFunction function{kelzor::FunctionBuilder(entry.nativeText("name")),
                            entry.text("name"),
                            commandOf(entry),
                            std::chrono::seconds(entry.number("seconds", secondsUsually)),
                            {}};
    if (function.timeLimit.count() == 0) refuse(place, "seconds have to be at least 1");
    entry.each("parameters", [&](const Json& parameter, const std::string& where) {
        addParameter(function.description, Entry(parameter, where, parameterKeys), types);
    });
    entry.each("exceptions", [&](const Json& exception, const std::string& where) {
        const Entry one(exception, where, {"key", "text"});
        function.description.addException(one.nativeText("key"), one.nativeText("text", ""));
        function.exceptions.insert(one.text("key"));
    });
    return function;
}

}  // namespace

std::vector<ServedFunction> readServedFunctions(const Json& file) {
    const Entry entry(file, "the file", fileKeys);
    Types types;
    entry.each("types", [&](const Json& type, const std::string& place) { types.know(type, place); });
    std::vector<ServedFunction> functions;
    entry.each("functions", [&](const Json& function, const std::string& place) {
        const auto read = kelzor::attempt([&] { functions.push_back(readFunction(function, place, types)); });
        if (!read) throw Problem(exitData, place + ": " + kelzor::toUtf8(read.error().message()));
    });
    if (functions.empty()) refuse(entry.place(), "functions has to hold at least one");
    return functions;
}

}  // namespace zortool
