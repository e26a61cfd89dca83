#include "callvalues.h"

#include "problem.h"
#include "values.h"

namespace zortool {

namespace {

constexpr unsigned templateDepth = 3;  // types may contain themselves by way of a table

bool goesOut(ZOR_DIRECTION direction) {
    return (direction & ZOR_IMPORT) != 0;
}

bool comesBack(ZOR_DIRECTION direction) {
    return (direction & ZOR_EXPORT) != 0;
}

FieldType typeOf(const ZOR_PARAMETER_DESC& parameter) {
    return {parameter.name, parameter.type, parameter.nucLength, parameter.typeDescHandle};
}

Json valueOf(const std::string& name, const std::string& text) {
    if (text.starts_with('{') || text.starts_with('[')) return parseJson(text, "the value of " + name);
    return text;
}

void assign(Json& object, const std::string& assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals == 0 || equals == std::string::npos)
        throw Problem(
            exitUsage, "'" + assignment + "' is no parameter: NAME=VALUE is expected",
            "Quote values with blanks: 'NAME=two words'. Nested values go as JSON: 'NAME={\"FIELD\":1}'.");
    const std::string path = assignment.substr(0, equals);
    Json* place = &object;
    std::size_t start = 0;
    for (std::size_t dot; (dot = path.find('.', start)) != std::string::npos; start = dot + 1) {
        place = &(*place)[path.substr(start, dot - start)];
        if (!place->is_null() && !place->is_object())
            throw Problem(exitUsage, path + " goes into a value that is no structure");
    }
    (*place)[path.substr(start)] = valueOf(path, assignment.substr(equals + 1));
}

void addRows(kelzor::Fields container, TypeCache& types, unsigned index, const FieldType& field,
             unsigned depth) {
    if (depth == 0 || (field.type != ZORTYPE_TABLE && field.type != ZORTYPE_STRUCTURE)) return;
    kelzor::StructureView inner;
    if (field.type == ZORTYPE_STRUCTURE) {
        inner = container.structure(index);
    } else if (kelzor::TableView table = container.table(index)) {
        inner = table.append();
    } else {
        return;
    }
    unsigned next = 0;
    for (const FieldType& nested : types.fields(inner.type()))
        addRows(inner, types, next++, nested, depth - 1);
}

}  // namespace

Json joinParameters(Json base, const std::vector<std::string>& assignments) {
    if (base.is_null()) base = Json::object();
    if (!base.is_object())
        throw Problem(exitData, "the JSON of a call is an object of parameters, not " + kindOf(base),
                      "As in {\"NAME\": \"value\", \"ROWS\": [{\"FIELD\": 1}]}.");
    for (const std::string& assignment : assignments)
        assign(base, assignment);
    return base;
}

void fillFunction(kelzor::Function& function, const Json& parameters, Selection selection) {
    const std::vector<ZOR_PARAMETER_DESC> known = function.description().parameters();
    std::vector<std::string> names;
    for (const ZOR_PARAMETER_DESC& parameter : known)
        names.push_back(kelzor::toUtf8(parameter.name));
    TypeCache types;
    for (const auto& [name, value] : parameters.items()) {
        const std::size_t index = findName(names, name, "parameter");
        const ZOR_DIRECTION direction = known[index].direction;
        if (selection == Selection::inputs && !goesOut(direction))
            throw Problem(exitData, names[index] + " is a result of the function; it can't be given");
        if (selection == Selection::results && !comesBack(direction))
            throw Problem(exitData, names[index] + " is no result of the function");
        if (selection == Selection::results && !function.isActive(known[index].name)) continue;
        if (value.is_null())
            function.setActive(known[index].name, false);
        else
            fieldFromJson(types, function, static_cast<unsigned>(index), typeOf(known[index]), value,
                          names[index]);
    }
}

Json readFunction(const kelzor::Function& function, Selection selection) {
    Json values = Json::object();
    TypeCache types;
    unsigned index = 0;
    for (const ZOR_PARAMETER_DESC& parameter : function.description().parameters()) {
        const bool wanted = selection == Selection::all ||
                            (selection == Selection::results && comesBack(parameter.direction)) ||
                            (selection == Selection::inputs && goesOut(parameter.direction));
        if (wanted)
            values[kelzor::toUtf8(parameter.name)] = fieldToJson(types, function, index, typeOf(parameter));
        index++;
    }
    return values;
}

Json templateOf(kelzor::FunctionView description) {
    const kelzor::Function function(description);
    TypeCache types;
    unsigned index = 0;
    for (const ZOR_PARAMETER_DESC& parameter : description.parameters()) {
        if (goesOut(parameter.direction))
            addRows(kelzor::Fields(function.handle()), types, index, typeOf(parameter), templateDepth);
        index++;
    }
    return readFunction(function, Selection::inputs);
}

}  // namespace zortool
