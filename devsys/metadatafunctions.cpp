#include "devsys/metadatafunctions.h"

#include <algorithm>

#include "devsys/backend.h"
#include "devsys/call.h"
#include "devsys/metadatarows.h"
#include "wire/zorid.h"

namespace zordev {

namespace {

Outcome raise(Call& call, std::string_view exception) {
    call.out.clear();
    call.out.text(ZORID_Exception, exception);
    return Outcome::reply;
}

unsigned versionOf(const Call& call) {
    return call.host.backEnd().names.version();
}

DictionaryFault faultOf(const Call& call) {
    return call.host.backEnd().dictionaryFault;
}

/** Answers by name; parameters that this form doesn't have, or that nobody wants, are left out. */
class Answer {
  public:
    explicit Answer(Call& call) : call_(call) {}

    std::string_view given(std::string_view name) const {
        const int index = call_.find(name, 0);
        return index < 0 ? std::string_view() : call_.text(static_cast<std::size_t>(index));
    }

    void text(std::string_view name, std::string_view value) {
        if (const int index = wanted(name); index >= 0)
            call_.replyText(static_cast<std::size_t>(index), value);
    }

    template <class Fill>
    void record(std::string_view name, Fill fill) {
        const int index = wanted(name);
        if (index < 0) return;
        const ParameterDescription& parameter = call_.function->parameters[static_cast<std::size_t>(index)];
        call_.out.text(ZORID_FieldName, name);
        fill(RowWriter(call_.out.reserve(ZORID_FieldValue, parameter.length), *parameter.structure));
    }

    template <class Lines, class Fill>
    void table(std::string_view name, const Lines& lines, Fill fill) {
        const int index = wanted(name);
        if (index < 0) return;
        const ParameterDescription& parameter = call_.function->parameters[static_cast<std::size_t>(index)];
        call_.replyTable(static_cast<std::size_t>(index), static_cast<std::uint32_t>(lines.size()),
                         parameter.length);
        for (const auto& line : lines)
            fill(RowWriter(call_.out.reserve(ZORID_TableContent, parameter.length), *parameter.structure),
                 line);
    }

    template <class Lines, class Fill>
    void xmlTable(std::string_view name, const Lines& lines, Fill fill) {
        const int index = wanted(name);
        if (index < 0) return;
        const ParameterDescription& parameter = call_.function->parameters[static_cast<std::size_t>(index)];
        XmlElement root;
        root.name = elementName(name);
        for (const auto& line : lines) {
            root.children.emplace_back().name = "item";
            fill(XmlRowWriter(root.children.back(), *parameter.structure), line);
        }
        call_.replyXml(static_cast<std::size_t>(index), writeXml(root));
    }

  private:
    int wanted(std::string_view name) const {
        const int index = call_.find(name, 0);
        return index >= 0 && call_.values[static_cast<std::size_t>(index)].requested ? index : -1;
    }

    Call& call_;
};

void writeParameter(RowWriter row, const ParameterLine& line) {
    row.text("PARAMCLASS", {&line.paramClass, 1});
    row.text("PARAMETER", line.name);
    row.text("TABNAME", line.typeName);
    row.text("FIELDNAME", line.fieldName);
    row.text("EXID", {&line.letter, 1});
    row.number("INTLENGTH", line.length);
    row.number("DECIMALS", line.decimals);
    row.text("PARAMTEXT", line.text);
    row.text("OPTIONAL", line.optional ? "X" : "");
}

template <class Row>
void writeField(Row row, const FieldLine& line, DictionaryFault fault) {
    const char letter = fault == DictionaryFault::unknownLetter ? '?' : letterOf(line.type);
    row.text("FIELDNAME", line.name);
    row.text("LFIELDNAME", line.path);
    row.text("ROLLNAME", line.rollName);
    row.text("DOMNAME", line.domName);
    row.text("DATATYPE", fault == DictionaryFault::unknownLetter ? "????" : dataTypeOf(line.type));
    row.text("INTTYPE", {&letter, 1});
    row.text("COMPTYPE", {&line.compType, 1});
    row.number("OFFSET", line.offset);
    row.number("INTLEN", line.length);
    row.number("DECIMALS", line.decimals);
    if (fault == DictionaryFault::brokenDigits) row.text("OFFSET", "1x");
}

char capitalOf(ZOR_DIRECTION direction) {
    switch (direction) {
        case ZOR_IMPORT:
            return 'I';
        case ZOR_EXPORT:
            return 'E';
        case ZOR_CHANGING:
            return 'C';
        default:
            return 'T';
    }
}

unsigned tableLength(const DictionaryType& type, Layout layout, DictionaryFault fault) {
    if (fault == DictionaryFault::shortRecord) return 1;
    if (fault == DictionaryFault::longRecord) return 0x7FFFFFFF;
    if (type.structure != nullptr) return recordLength(*type.structure, layout);
    return fieldLength(type.element, layout);
}

std::string_view objectTypeOf(const DictionaryType& type) {
    switch (type.kind) {
        case DictionaryType::Kind::structure:
            return "INTTAB";
        case DictionaryType::Kind::tableType:
            return "TTYP";
        default:
            return "DTEL";
    }
}

/** The fields that the answer lists for a type itself. */
std::vector<FieldLine> linesOf(const DictionaryType& type, Layout layout, unsigned version) {
    std::vector<FieldLine> lines;
    if (type.kind == DictionaryType::Kind::structure) lines = listFields(*type.structure, layout);
    // Before there were nested types a list had the leaves only.
    if (version < 462) std::erase_if(lines, [](const FieldLine& line) { return line.compType == 'S'; });
    return lines;
}

/** The types that the answer tells along with a type. */
std::vector<const DictionaryType*> typesBelow(const DictionaryType& type, DictionaryFault fault) {
    if (fault == DictionaryFault::unknownLineType) return {};
    return Dictionary::instance().linesOf(type);
}

/** A table type whose one row type is all that there is to tell. */
bool isPlainTable(const DictionaryType& type, const std::vector<const DictionaryType*>& below) {
    return type.kind == DictionaryType::Kind::tableType && type.structure != nullptr && below.size() <= 1;
}

void writeLine(XmlRowWriter row, const DictionaryType& type, Layout layout, DictionaryFault fault) {
    const bool isTable = type.kind == DictionaryType::Kind::tableType;
    row.text("TYPENAME", type.name);
    row.text("TYPEKIND", isTable ? "TTYP" : "STRU");
    std::vector<FieldLine> lines;
    if (isTable || fault == DictionaryFault::circularLines)
        lines.push_back(listRows(type, layout));
    else
        lines = listFields(*type.structure, layout);
    if (fault == DictionaryFault::circularLines) {
        lines.front().rollName = type.name;
        lines.front().domName.clear();
        lines.front().type = ZORTYPE_STRUCTURE;
    }
    for (const FieldLine& line : lines)
        writeField(row.row("FIELDS"), line, fault);
}

void writeHead(RowWriter row, const DictionaryType& type, Layout layout, DictionaryFault fault) {
    row.text("TABNAME", type.name);
    row.text("TABTYPE", type.kind == DictionaryType::Kind::tableType ? "L" : "J");
    row.number("TABLEN", tableLength(type, layout, fault));
    if (type.structure != nullptr) row.number("FLAG3", isDeep(*type.structure) ? 2 : 1);
}

}  // namespace

Outcome getFunctionInterface(Call& call) {
    Answer answer(call);
    const FunctionDescription* const function =
        findFunction(answer.given("FUNCNAME"), call.host.backEnd().names.version());
    if (function == nullptr) return raise(call, "FU_NOT_FOUND");
    answer.text("REMOTE_CALL", "R");
    std::vector<ParameterLine> lines = listParameters(*function);
    const DictionaryFault fault = faultOf(call);
    if (fault == DictionaryFault::noRows) lines.clear();
    for (ParameterLine& line : lines) {
        if (fault == DictionaryFault::negativeLength) line.length = static_cast<unsigned>(-1);
        if (fault == DictionaryFault::doubleName) line.name = "TWICE";
    }
    answer.table("PARAMS", lines, writeParameter);
    return Outcome::reply;
}

Outcome getStructureDefinition(Call& call) {
    Answer answer(call);
    const DictionaryType* const type = Dictionary::instance().find(answer.given("TABNAME"), versionOf(call));
    if (type == nullptr) return raise(call, "TABLE_NOT_ACTIVE");
    const DictionaryFault fault = faultOf(call);
    std::vector<FieldLine> lines = linesOf(*type, Layout::narrow, versionOf(call));
    spoil(lines, Layout::narrow, fault);
    call.replyInteger(static_cast<std::size_t>(call.find("TABLENGTH", 0)),
                      static_cast<std::int32_t>(tableLength(*type, Layout::narrow, fault)));
    answer.table("FIELDS", lines, [&](RowWriter row, const FieldLine& line) {
        const char letter = letterOf(line.type);
        row.text("TABNAME", type->name);
        row.text("FIELDNAME", line.name);
        row.number("OFFSET", line.offset);
        row.number("INTLENGTH", line.length);
        row.number("DECIMALS", line.decimals);
        row.text("EXID", {&letter, 1});
    });
    return Outcome::reply;
}

Outcome getFieldInfo(Call& call) {
    Answer answer(call);
    const unsigned version = versionOf(call);
    const DictionaryType* const type = Dictionary::instance().find(answer.given("TABNAME"), version);
    if (type == nullptr) return raise(call, "NOT_FOUND");
    const DictionaryFault fault = faultOf(call);
    const Layout layout = answer.given("UCLEN") == "\2" ? Layout::wide : Layout::narrow;
    std::vector<FieldLine> lines = linesOf(*type, layout, version);
    FieldLine one = type->kind == DictionaryType::Kind::element ? listElement(type->element, {}, layout)
                                                                : listRows(*type, layout);
    if (const std::string_view path = answer.given("LFIELDNAME"); !path.empty()) {
        const auto field = std::ranges::find(lines, path, &FieldLine::path);
        if (field == lines.end()) return raise(call, "NOT_FOUND");
        one = *field;
    }
    if (type->kind == DictionaryType::Kind::element) one.rollName = type->name;
    const std::vector<const DictionaryType*> below = typesBelow(*type, fault);
    if (type->kind == DictionaryType::Kind::tableType && !type->line.empty() && !isPlainTable(*type, below))
        lines.push_back(one);
    spoil(lines, layout, fault);
    answer.text("DDOBJTYPE", objectTypeOf(*type));
    answer.record("DFIES_WA", [&](RowWriter row) {
        writeField(row, one, fault);
        row.text("TABNAME", Dictionary::instance().structureWith(type->name));
    });
    answer.record("X030L_WA", [&](RowWriter row) { writeHead(row, *type, layout, fault); });
    answer.xmlTable("LINES_DESCR", below, [&](XmlRowWriter row, const DictionaryType* line) {
        writeLine(row, *line, layout, fault);
    });
    answer.table("DFIES_TAB", lines,
                 [&](RowWriter row, const FieldLine& line) { writeField(row, line, fault); });
    return Outcome::reply;
}

std::vector<ParameterLine> listParameters(const FunctionDescription& function) {
    std::vector<ParameterLine> lines;
    for (const ParameterDescription& parameter : function.parameters) {
        ParameterLine line{capitalOf(parameter.direction), std::string(parameter.name)};
        const bool nested = parameter.structure != nullptr;
        const bool isRows = parameter.direction == ZOR_TABLES;
        line.letter = isRows ? 'u' : letterOf(parameter.type);
        if (nested)
            line.typeName = isRows || parameter.type == ZORTYPE_STRUCTURE
                                ? std::string(parameter.structure->name)
                                : tableTypeName(parameter.structure, {});
        line.length =
            fieldLength({{}, parameter.type, parameter.length, 0, 0, parameter.structure}, Layout::narrow);
        line.decimals = parameter.decimals;
        line.optional = parameter.direction != ZOR_EXPORT;
        for (const ParameterReference& reference : referencesOf(function.name)) {
            if (reference.parameter != parameter.name) continue;
            line.letter = ' ';
            line.typeName = reference.typeName;
            line.fieldName = reference.fieldName;
            if (!line.fieldName.empty()) line.length = 0;
        }
        lines.push_back(line);
    }
    for (const ExceptionDescription& exception : function.exceptions) {
        ParameterLine line{'X', std::string(exception.name)};
        line.text = exception.text;
        lines.push_back(line);
    }
    return lines;
}

void spoil(std::vector<FieldLine>& lines, Layout layout, DictionaryFault fault) {
    if (fault == DictionaryFault::noRows) lines.clear();
    if (lines.size() < 2) return;
    if (fault == DictionaryFault::overlappingOffsets) lines[1].offset = lines[0].offset;
    if (fault == DictionaryFault::doubleName) lines[1].name = lines[0].name;
    if (fault == DictionaryFault::narrowerWide && layout == Layout::wide) lines[0].length = 1;
    if (fault == DictionaryFault::fewerWideRows && layout == Layout::wide) lines.pop_back();
    if (fault == DictionaryFault::bottomless) {
        FieldLine nested = lines[0];
        nested.compType = 'S';
        nested.type = ZORTYPE_STRUCTURE;
        nested.name = nested.path = nested.rollName = "D";
        lines.clear();
        for (int depth = 0; depth < 66; ++depth, nested.path += "-D")
            lines.push_back(nested);
        for (int more = 0; more < 60; ++more)
            lines.push_back(lines.back());
    }
}

XmlRowWriter::XmlRowWriter(XmlElement& target, const StructureDescription& layout)
    : element_(target), layout_(layout) {
    for (const FieldDescription& field : layout.fields) {
        XmlElement& child = target.children.emplace_back();
        child.name = elementName(field.name);
        if (field.type == ZORTYPE_NUM) child.text.assign(field.length, '0');
        if (field.type == ZORTYPE_INT) child.text = "0";
    }
}

XmlElement& XmlRowWriter::element(std::string_view field) {
    return *std::ranges::find(element_.children, field, &XmlElement::name);
}

void XmlRowWriter::text(std::string_view field, std::string_view value) {
    element(field).text = value;
}

void XmlRowWriter::number(std::string_view field, unsigned value) {
    XmlElement& target = element(field);
    const std::string digits = std::to_string(value);
    const std::size_t width = std::max(target.text.size(), digits.size());
    target.text = std::string(width - digits.size(), '0') + digits;
}

XmlRowWriter XmlRowWriter::row(std::string_view table) {
    XmlElement& rows = element(table);
    rows.children.emplace_back().name = "item";
    const auto field = std::ranges::find(layout_.fields, table, &FieldDescription::name);
    return {rows.children.back(), *field->structure};
}

RowWriter::RowWriter(std::span<Byte> bytes, const StructureDescription& layout)
    : bytes_(bytes), layout_(layout) {
    std::ranges::fill(bytes, Byte{0});
    for (const FieldDescription& field : layout.fields) {
        if (field.type == ZORTYPE_CHAR) storeText(bytes, field.offset, field.length, {});
        if (field.type == ZORTYPE_NUM || field.type == ZORTYPE_DATE || field.type == ZORTYPE_TIME)
            storeText(bytes, field.offset, field.length, {}, '0');
    }
}

const FieldDescription* RowWriter::find(std::string_view field) const {
    const auto found = std::ranges::find(layout_.fields, field, &FieldDescription::name);
    return found != layout_.fields.end() ? &*found : nullptr;
}

void RowWriter::text(std::string_view field, std::string_view value) {
    if (const FieldDescription* const known = find(field))
        storeText(bytes_, known->offset, known->length, value);
}

void RowWriter::number(std::string_view field, unsigned value) {
    const FieldDescription* const known = find(field);
    if (known == nullptr) return;
    if (known->type == ZORTYPE_INT) return storeLe32(bytes_, known->offset, value);
    if (known->type == ZORTYPE_BYTE) {
        for (unsigned i = known->length; i-- > 0; value >>= 8)
            bytes_[known->offset + i] = static_cast<Byte>(value);
        return;
    }
    std::string digits = std::to_string(value);
    if (digits.size() < known->length) digits.insert(0, known->length - digits.size(), '0');
    text(field, digits);
}

}  // namespace zordev
