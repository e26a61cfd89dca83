#include "describe.h"

#include <ostream>
#include <set>

#include "texttable.h"

namespace zortool {

namespace {

/** Collects the types that a description uses. */
class Types {
  public:
    /** The name of a type, which is described once. */
    std::string add(ZOR_TYPE_DESC_HANDLE handle) {
        const kelzor::TypeView type(handle);
        const std::string name = kelzor::toUtf8(type.name());
        if (!described_.insert(name).second) return name;
        const std::size_t place = list_.size();
        list_.push_back(nullptr);  // before those that it uses itself
        list_[place] = describe(type, name);
        return name;
    }
    Json describe(kelzor::TypeView type, const std::string& name) {
        const kelzor::Lengths lengths = type.lengths();
        Json fields = Json::array();
        for (const ZOR_FIELD_DESC& field : type.fields()) {
            Json entry = describeField(field);
            entry["offset"] = field.nucOffset;
            if (field.ucLength != 0) entry["ucOffset"] = field.ucOffset;
            fields.push_back(std::move(entry));
        }
        return {{"name", name}, {"length", lengths.narrow}, {"ucLength", lengths.wide}, {"fields", fields}};
    }
    template <class Descriptor>
    Json describeField(const Descriptor& field) {
        Json entry = {{"name", kelzor::toUtf8(field.name)},
                      {"type", std::string(ZorGetTypeAsString(field.type)).substr(sizeof "ZORTYPE_" - 1)},
                      {"length", field.nucLength},
                      {"ucLength", field.ucLength}};
        if (field.decimals != 0) entry["decimals"] = field.decimals;
        if (field.typeDescHandle == nullptr) return entry;
        // The handle of an object attribute is that of its class.
        if (field.type == ZORTYPE_UBIXOBJECT)
            entry["class"] = kelzor::toUtf8(
                kelzor::ClassView(reinterpret_cast<ZOR_CLASS_DESC_HANDLE>(field.typeDescHandle)).name());
        else
            entry["of"] = add(field.typeDescHandle);
        return entry;
    }
    const Json& list() const { return list_; }
    void know(const std::string& name) { described_.insert(name); }

  private:
    std::set<std::string> described_;
    Json list_ = Json::array();
};

void putText(Json& entry, const char* name, const char* text) {
    if (*text != '\0') entry[name] = kelzor::toUtf8(text);
}

const char* directionName(ZOR_DIRECTION direction) {
    switch (direction) {
        case ZOR_IMPORT:
            return "import";
        case ZOR_EXPORT:
            return "export";
        case ZOR_CHANGING:
            return "changing";
        case ZOR_TABLES:
            return "tables";
    }
    return "?";
}

const char* attributeKind(ZOR_CLASS_ATTRIBUTE_TYPE type) {
    switch (type) {
        case ZOR_CLASS_ATTRIBUTE_INSTANCE:
            return "instance";
        case ZOR_CLASS_ATTRIBUTE_CLASS:
            return "class";
        case ZOR_CLASS_ATTRIBUTE_CONSTANT:
            return "constant";
    }
    return "?";
}

Json inUtf8(const std::vector<std::string>& names) {
    Json list = Json::array();
    for (const std::string& name : names)
        list.push_back(kelzor::toUtf8(name));
    return list;
}

std::string cell(const Json& entry, const char* name) {
    const auto found = entry.find(name);
    if (found == entry.end() || found->is_null()) return {};
    if (found->is_boolean()) return found->get<bool>() ? "yes" : "";
    return found->is_string() ? oneLine(found->get<std::string>()) : found->dump();
}

std::string ofWhat(const Json& entry) {
    const std::string type = cell(entry, "of");
    return type.empty() ? cell(entry, "class") : type;
}

void writeFields(std::ostream& out, const Json& fields) {
    TextTable table({{"FIELD"}, {"TYPE"}, {"LENGTH", true}, {"DECIMALS", true}, {"OFFSET", true}, {"OF"}});
    for (const Json& field : fields)
        table.add({cell(field, "name"), cell(field, "type"), cell(field, "length"), cell(field, "decimals"),
                   cell(field, "offset"), ofWhat(field)});
    table.write(out, "  ");
}

void writeParameters(std::ostream& out, const Json& parameters) {
    if (parameters.empty()) {
        out << "  It has no parameters.\n";
        return;
    }
    TextTable table({{"DIRECTION"},
                     {"PARAMETER"},
                     {"TYPE"},
                     {"LENGTH", true},
                     {"DECIMALS", true},
                     {"OF"},
                     {"OPTIONAL"},
                     {"DEFAULT"},
                     {"TEXT"}});
    for (const Json& parameter : parameters)
        table.add({cell(parameter, "direction"), cell(parameter, "name"), cell(parameter, "type"),
                   cell(parameter, "length"), cell(parameter, "decimals"), ofWhat(parameter),
                   cell(parameter, "optional"), cell(parameter, "default"), cell(parameter, "text")});
    table.write(out, "  ");
}

void writeExceptions(std::ostream& out, const Json& exceptions) {
    if (exceptions.empty()) return;
    out << "\n";
    TextTable table({{"EXCEPTION"}, {"TEXT"}});
    for (const Json& exception : exceptions)
        table.add({cell(exception, "key"), cell(exception, "text")});
    table.write(out, "  ");
}

void writeAttributes(std::ostream& out, const Json& attributes) {
    TextTable table({{"ATTRIBUTE"},
                     {"KIND"},
                     {"TYPE"},
                     {"LENGTH", true},
                     {"DECIMALS", true},
                     {"OF"},
                     {"READ ONLY"},
                     {"DECLARED BY"},
                     {"DEFAULT"},
                     {"TEXT"}});
    for (const Json& attribute : attributes)
        table.add({cell(attribute, "name"), cell(attribute, "kind"), cell(attribute, "type"),
                   cell(attribute, "length"), cell(attribute, "decimals"), ofWhat(attribute),
                   cell(attribute, "readOnly"), cell(attribute, "declaredBy"), cell(attribute, "default"),
                   cell(attribute, "text")});
    table.write(out, "  ");
}

void writeNames(std::ostream& out, const char* title, const Json& names) {
    std::string list;
    for (const Json& name : names)
        list += (list.empty() ? "" : ", ") + oneLine(name.get<std::string>());
    if (!list.empty()) out << "  " << title << ' ' << list << '\n';
}

void writeTypeHead(std::ostream& out, const Json& type) {
    out << "type " << cell(type, "name") << ", " << cell(type, "length") << " bytes";
    if (type["ucLength"] != 0) out << " (" << cell(type, "ucLength") << " with characters of two bytes)";
    out << '\n';
}

}  // namespace

Json describeFunction(kelzor::FunctionView function) {
    Types types;
    Json parameters = Json::array(), exceptions = Json::array();
    for (const ZOR_PARAMETER_DESC& parameter : function.parameters()) {
        Json entry = {{"direction", directionName(parameter.direction)}};
        entry.update(types.describeField(parameter));
        entry["optional"] = parameter.optional != 0;
        putText(entry, "default", parameter.defaultValue);
        putText(entry, "text", parameter.parameterText);
        parameters.push_back(std::move(entry));
    }
    for (const ZOR_EXCEPTION_DESC& exception : function.exceptions())
        exceptions.push_back(
            {{"key", kelzor::toUtf8(exception.key)}, {"text", kelzor::toUtf8(exception.message)}});
    return {{"kind", "function"},
            {"name", kelzor::toUtf8(function.name())},
            {"parameters", parameters},
            {"exceptions", exceptions},
            {"types", types.list()}};
}

Json describeType(kelzor::TypeView type) {
    Types types;
    const std::string name = kelzor::toUtf8(type.name());
    types.know(name);
    Json description = {{"kind", "type"}};
    description.update(types.describe(type, name));
    description["types"] = types.list();
    return description;
}

Json describeClass(kelzor::ClassView type) {
    Types types;
    Json attributes = Json::array();
    for (const ZOR_CLASS_ATTRIBUTE_DESC& attribute : type.attributes()) {
        Json entry = types.describeField(attribute);
        entry["kind"] = attributeKind(attribute.attributeType);
        entry["readOnly"] = attribute.isReadOnly != 0;
        putText(entry, "declaredBy", attribute.declaringClass);
        putText(entry, "default", attribute.defaultValue);
        putText(entry, "text", attribute.description);
        attributes.push_back(std::move(entry));
    }
    return {{"kind", "class"},
            {"name", kelzor::toUtf8(type.name())},
            {"parents", inUtf8(type.parents())},
            {"interfaces", inUtf8(type.interfaces())},
            {"attributes", attributes},
            {"types", types.list()}};
}

void writeDescription(std::ostream& out, const Json& description) {
    const std::string kind = description["kind"];
    if (kind == "function") {
        out << "function " << cell(description, "name") << '\n';
        writeParameters(out, description["parameters"]);
        writeExceptions(out, description["exceptions"]);
    } else if (kind == "type") {
        writeTypeHead(out, description);
        writeFields(out, description["fields"]);
    } else {
        out << "class " << cell(description, "name") << '\n';
        writeNames(out, "parents:", description["parents"]);
        writeNames(out, "interfaces:", description["interfaces"]);
        writeAttributes(out, description["attributes"]);
    }
    for (const Json& type : description["types"]) {
        out << '\n';
        writeTypeHead(out, type);
        writeFields(out, type["fields"]);
    }
}

}  // namespace zortool
