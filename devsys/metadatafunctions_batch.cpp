// Many functions and types at once, with all that they use.

#include <algorithm>
#include <set>

#include "devsys/backend.h"
#include "devsys/call.h"
#include "devsys/metadatafunctions.h"
#include "devsys/partnerprofile.h"

namespace zordev {

namespace {

struct Failure {
    std::string name;
    std::string exception;
    std::string text;
};

struct TypeField {
    const DictionaryType* type;
    FieldLine narrow;
    FieldLine wide;
};

struct NamedParameter {
    std::string function;
    ParameterLine line;
};

/** What is told about the names that were asked for. */
struct Findings {
    std::vector<std::string> functions;
    std::vector<std::string> types;
    std::vector<NamedParameter> parameters;
    std::vector<TypeField> fields;
    std::vector<ParameterLine> indirect;  // what is named by a field of another type
    std::vector<Failure> functionFailures;
    std::vector<Failure> typeFailures;
};

/** The fields of a type in one layout, each nested structure as one field. */
std::vector<FieldLine> directFields(const DictionaryType& type, Layout layout) {
    if (type.kind == DictionaryType::Kind::element) return {listElement(type.element, {}, layout)};
    if (type.kind == DictionaryType::Kind::tableType) return {listRows(type, layout)};
    std::vector<FieldLine> lines = listFields(*type.structure, layout);
    std::erase_if(lines, [](const FieldLine& line) { return line.path != line.name; });
    return lines;
}

/** Collects types with all that they use, each once. */
class Closure {
  public:
    Closure(Findings& findings, DictionaryFault fault) : findings_(findings), fault_(fault) {}

    void add(std::string_view name) {
        const DictionaryType* const type = Dictionary::instance().find(name, 999);
        if (type == nullptr || !told_.insert(type->name).second) return;
        std::vector<FieldLine> narrow = directFields(*type, Layout::narrow);
        std::vector<FieldLine> wide = directFields(*type, Layout::wide);
        spoil(narrow, type->name, Layout::narrow, fault_);
        spoil(wide, type->name, Layout::wide, fault_);
        for (std::size_t i = 0; i < std::min(narrow.size(), wide.size()); ++i)
            findings_.fields.push_back({type, narrow[i], wide[i]});
        if (fault_ == DictionaryFault::unknownLineType) return;
        for (const FieldLine& line : narrow)
            if (line.type == ZORTYPE_STRUCTURE || line.type == ZORTYPE_TABLE) add(line.rollName);
    }

  private:
    Findings& findings_;
    DictionaryFault fault_;
    std::set<std::string> told_;
};

void findFunctionNamed(const std::string& name, Findings& findings, Closure& types, Layout layout,
                       DictionaryFault fault) {
    const FunctionDescription* const function = findFunction(name);
    if (function == nullptr)
        return findings.functionFailures.push_back({name, "FU_NOT_FOUND", "Function module does not exist"});
    if (function->beforeLogon) return findings.functionFailures.push_back({name, "NO_ZOR_FUNC", ""});
    findings.functions.push_back(name);
    for (ParameterLine line : listResolvedParameters(*function, layout)) {
        if (fault == DictionaryFault::negativeLength) line.length = static_cast<unsigned>(-1);
        if (fault == DictionaryFault::doubleName) line.name = "TWICE";
        findings.parameters.push_back({name, line});
        types.add(line.typeName);
        if (line.fieldName.empty()) continue;
        // The type at the end of the path.
        const DictionaryType* const table = Dictionary::instance().find(line.typeName, 999);
        for (const FieldLine& field : listFields(*table->structure, Layout::narrow))
            if (field.path == line.fieldName) {
                line.name = field.rollName;
                findings.indirect.push_back(line);
            }
    }
}

void writeTypeField(RowWriter row, const TypeField& field, DictionaryFault fault) {
    const FieldLine& line = field.narrow;
    const char letter = fault == DictionaryFault::unknownLetter ? '?' : letterOf(line.type);
    row.text("TYPENAME", field.type->name);
    row.text("FIELDNAME", line.name);
    row.text("COMPTYPE", {&line.compType, 1});
    row.text("FIELDTYPE", line.rollName);
    row.text("DATATYPE", dataTypeOf(line.type));
    row.number("TABLENGTH", tableLength(*field.type, Layout::narrow, fault) % 1000000);
    row.number("TABLENGTH_UC", tableLength(*field.type, Layout::wide, fault) % 1000000);
    row.number("DECIMALS", line.decimals);
    row.text("INTTYPE", {&letter, 1});
    row.number("OFFSET", line.offset);
    row.number("OFFSET_UC", field.wide.offset);
    row.number("INTLEN", line.length);
    row.number("INTLEN_UC", field.wide.length);
}

void write(MetadataAnswer& answer, const Findings& findings, DictionaryFault fault) {
    answer.table("FUNCTIONNAMES", findings.functions,
                 [](RowWriter row, const std::string& name) { row.text("FUNCTIONNAME", name); });
    answer.table("DATATYPES", findings.types,
                 [](RowWriter row, const std::string& name) { row.text("TABNAME", name); });
    answer.table("PARAMETERS", findings.parameters, [](RowWriter row, const NamedParameter& one) {
        writeParameter(row, one.line);
        row.text("FUNCNAME", one.function);
    });
    answer.table("DATATYPESCONT", findings.fields,
                 [&](RowWriter row, const TypeField& field) { writeTypeField(row, field, fault); });
    answer.table("INDIRECTTYPES", findings.indirect, [](RowWriter row, const ParameterLine& line) {
        row.text("TABNAME", line.typeName);
        row.text("FIELDNAME", line.fieldName);
        row.text("FIELDTYPE", line.name);
    });
    const auto failure = [](std::string_view nameField) {
        return [nameField](RowWriter row, const Failure& one) {
            row.text(nameField, one.name);
            row.text("EXCEPTION", one.exception);
            row.text("EXCEPTION_TEXT", one.text);
        };
    };
    answer.table("FUNC_ERRORS", findings.functionFailures, failure("FUNCNAME"));
    answer.table("DD_ERRORS", findings.typeFailures, failure("TABNAME"));
}

}  // namespace

Outcome getMetadata(Call& call) {
    MetadataAnswer answer(call);
    const DictionaryFault fault = call.host.backEnd().dictionaryFault;
    Findings findings;
    Closure types(findings, fault);
    const Layout layout = call.host.profile().wide() ? Layout::wide : Layout::narrow;
    for (const std::string& name : answer.givenNames("DATATYPES", 30)) {
        if (Dictionary::instance().find(name, 999) == nullptr) {
            const bool locked = name == "ZDEV_LOCKED";
            findings.typeFailures.push_back(
                {name, locked ? "NO_AUTHORITY" : "NOT_FOUND", locked ? "Nobody may see it" : ""});
            continue;
        }
        findings.types.push_back(name);
        types.add(name);
    }
    for (const std::string& name : answer.givenNames("FUNCTIONNAMES", 30))
        findFunctionNamed(name, findings, types, layout, fault);
    write(answer, findings, fault);
    return Outcome::reply;
}

}  // namespace zordev
