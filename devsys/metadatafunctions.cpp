#include "devsys/metadatafunctions.h"

#include <algorithm>

#include "devsys/backend.h"
#include "devsys/call.h"
#include "devsys/metadatarows.h"
#include "wire/zorid.h"

namespace zordev {

namespace {

unsigned versionOf(const Call& call) {
    return call.host.backEnd().names.version();
}

DictionaryFault faultOf(const Call& call) {
    return call.host.backEnd().dictionaryFault;
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

/** A level of tables within tables: a value, and a table of the next level. */
std::vector<FieldLine> bottomlessFields(int level) {
    FieldLine value;
    value.name = value.path = "VALUE";
    value.compType = 'E';
    value.length = 1;
    FieldLine next = value;
    next.name = next.path = "NEXT";
    next.rollName = "ZDEV_LEVEL_" + std::to_string(level + 1);
    next.type = ZORTYPE_TABLE;
    next.compType = 'L';
    next.offset = next.length = 8;
    return {value, next};
}

std::vector<int> bottomlessLevels() {
    std::vector<int> levels(110);
    for (std::size_t i = 0; i < levels.size(); ++i)
        levels[i] = static_cast<int>(i) + 1;
    return levels;
}

void writeBottomless(XmlRowWriter row, int level) {
    row.text("TYPENAME", "ZDEV_LEVEL_" + std::to_string(level));
    row.text("TYPEKIND", "TTYP");
    for (const FieldLine& line : bottomlessFields(level))
        writeField(row.row("FIELDS"), line, DictionaryFault::none);
}

void writeHead(RowWriter row, const DictionaryType& type, Layout layout, DictionaryFault fault) {
    row.text("TABNAME", type.name);
    row.text("TABTYPE", type.kind == DictionaryType::Kind::tableType ? "L" : "J");
    row.number("TABLEN", tableLength(type, layout, fault));
    if (type.structure != nullptr) row.number("FLAG3", isDeep(*type.structure) ? 2 : 1);
}

}  // namespace

Outcome raise(Call& call, std::string_view exception) {
    call.out.clear();
    call.out.text(ZORID_Exception, exception);
    return Outcome::reply;
}

unsigned tableLength(const DictionaryType& type, Layout layout, DictionaryFault fault) {
    if (fault == DictionaryFault::shortRecord) return 1;
    if (fault == DictionaryFault::longRecord) return 0x7FFFFFFF;
    if (type.structure != nullptr) return recordLength(*type.structure, layout);
    return fieldLength(type.element, layout);
}

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

Outcome getFunctionInterface(Call& call) {
    MetadataAnswer answer(call);
    const FunctionDescription* const function =
        findFunction(answer.given("FUNCNAME"), call.host.backEnd().names.version());
    if (function == nullptr) return raise(call, "FU_NOT_FOUND");
    answer.text("REMOTE_CALL", "R");
    std::vector<ParameterLine> lines = listParameters(*function);
    const DictionaryFault fault = faultOf(call);
    for (ParameterLine& line : lines) {
        if (fault == DictionaryFault::negativeLength) line.length = static_cast<unsigned>(-1);
        if (fault == DictionaryFault::doubleName) line.name = "TWICE";
    }
    answer.table("PARAMS", lines, writeParameter);
    return Outcome::reply;
}

Outcome getStructureDefinition(Call& call) {
    MetadataAnswer answer(call);
    const DictionaryType* const type = Dictionary::instance().find(answer.given("TABNAME"), versionOf(call));
    if (type == nullptr) return raise(call, "TABLE_NOT_ACTIVE");
    const DictionaryFault fault = faultOf(call);
    std::vector<FieldLine> lines = linesOf(*type, Layout::narrow, versionOf(call));
    spoil(lines, type->name, Layout::narrow, fault);
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
    MetadataAnswer answer(call);
    const unsigned version = versionOf(call);
    const DictionaryFault fault = faultOf(call);
    const bool anyType = fault == DictionaryFault::bottomless;
    const DictionaryType* const type =
        Dictionary::instance().find(anyType ? "ZDEV_PERSON" : answer.given("TABNAME"), version);
    if (type == nullptr) return raise(call, "NOT_FOUND");
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
    spoil(lines, type->name, layout, fault);
    answer.text("DDOBJTYPE", objectTypeOf(*type));
    answer.record("DFIES_WA", [&](RowWriter row) {
        writeField(row, one, fault);
        row.text("TABNAME", Dictionary::instance().structureWith(type->name));
    });
    answer.record("X030L_WA", [&](RowWriter row) { writeHead(row, *type, layout, fault); });
    if (fault == DictionaryFault::bottomless)
        answer.xmlTable("LINES_DESCR", bottomlessLevels(), writeBottomless);
    else
        answer.xmlTable("LINES_DESCR", below, [&](XmlRowWriter row, const DictionaryType* line) {
            writeLine(row, *line, layout, fault);
        });
    answer.table("DFIES_TAB", lines,
                 [&](RowWriter row, const FieldLine& line) { writeField(row, line, fault); });
    return Outcome::reply;
}

void spoil(std::vector<FieldLine>& lines, std::string_view typeName, Layout layout, DictionaryFault fault) {
    if (lines.size() < 2) return;
    if (fault == DictionaryFault::overlappingOffsets) lines[1].offset = lines[0].offset;
    if (fault == DictionaryFault::doubleName) lines[1].name = lines[0].name;
    if (fault == DictionaryFault::narrowerWide && layout == Layout::wide) lines[0].length = 1;
    if (fault == DictionaryFault::circularStructure) {
        lines.resize(2, lines[0]);
        lines[1] = lines[0];
        lines[1].path = "SELF-X";
        lines[0].name = lines[0].path = "SELF";
        lines[0].rollName = typeName;
        lines[0].type = ZORTYPE_STRUCTURE;
        lines[0].compType = 'S';
    }
    if (fault == DictionaryFault::bottomless) lines = bottomlessFields(0);
}

}  // namespace zordev
