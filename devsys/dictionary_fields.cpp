// How fields are laid out and listed.

#include <algorithm>

#include "devsys/dictionary.h"

namespace zordev {

namespace {

struct TypeRow {
    ZORTYPE type;
    char letter;
    std::string_view dataType;
    unsigned alignment; /**< With 2-byte characters; with 1-byte ones offsets are given. */
    bool characters = false;
};

constexpr TypeRow TYPES[] = {
    {ZORTYPE_CHAR, 'C', "CHAR", 2, true}, {ZORTYPE_NUM, 'N', "NUMC", 2, true},
    {ZORTYPE_DATE, 'D', "DATS", 2, true}, {ZORTYPE_TIME, 'T', "TIMS", 2, true},
    {ZORTYPE_BCD, 'P', "DEC", 1},         {ZORTYPE_BYTE, 'X', "RAW", 1},
    {ZORTYPE_FLOAT, 'F', "FLTP", 8},      {ZORTYPE_INT, 'I', "INT4", 4},
    {ZORTYPE_INT1, 'b', "INT1", 1},       {ZORTYPE_INT2, 's', "INT2", 2},
    {ZORTYPE_INT8, '8', "INT8", 8},       {ZORTYPE_DECF16, 'a', "D16N", 8},
    {ZORTYPE_DECF34, 'e', "D34N", 16},    {ZORTYPE_UTCLONG, 'p', "UTCL", 8},
    {ZORTYPE_UTCSECOND, 'n', "UTCS", 8},  {ZORTYPE_UTCMINUTE, 'w', "UTCM", 8},
    {ZORTYPE_DTDAY, 'd', "DTDA", 4},      {ZORTYPE_DTWEEK, '7', "DTWE", 4},
    {ZORTYPE_DTMONTH, 'x', "DTMO", 4},    {ZORTYPE_TSECOND, 't', "TSEC", 4},
    {ZORTYPE_TMINUTE, 'i', "TMIN", 2},    {ZORTYPE_CDAY, 'c', "CDAY", 2},
    {ZORTYPE_STRING, 'g', "STRG", 8},     {ZORTYPE_XSTRING, 'y', "RSTR", 8},
    {ZORTYPE_TABLE, 'h', "TTYP", 8},      {ZORTYPE_STRUCTURE, 'u', "STRU", 4},
    {ZORTYPE_UBIXOBJECT, '*', "REF", 8},
};

const TypeRow& rowOf(ZORTYPE type) {
    return *std::ranges::find(TYPES, type, &TypeRow::type);
}

constexpr unsigned POINTER = 8;  // bytes of a table or a string in a record of the back-end

unsigned aligned(unsigned offset, unsigned alignment) {
    return (offset + alignment - 1) / alignment * alignment;
}

void append(std::vector<FieldLine>& lines, const StructureDescription& structure, Layout layout,
            const std::string& prefix, unsigned base) {
    const std::vector<unsigned> offsets = fieldOffsets(structure, layout);
    for (std::size_t i = 0; i < structure.fields.size(); ++i) {
        const FieldDescription& field = structure.fields[i];
        FieldLine line = listElement(field, field.name, layout);
        line.path = prefix + line.name;
        line.offset = base + offsets[i];
        const bool nested = field.type == ZORTYPE_STRUCTURE;
        if (nested) {
            line.compType = 'S';
            line.rollName = field.structure->name;
        } else if (field.type == ZORTYPE_TABLE) {
            line.compType = 'L';
            line.rollName = tableTypeName(field.structure, field.typeName);
        }
        lines.push_back(line);
        if (nested) append(lines, *field.structure, layout, line.path + "-", line.offset);
    }
}

}  // namespace

unsigned fieldLength(const FieldDescription& field, Layout layout) {
    if (field.type == ZORTYPE_STRUCTURE) return recordLength(*field.structure, layout);
    if (field.length == 0) return POINTER;
    return rowOf(field.type).characters && layout == Layout::wide ? 2 * field.length : field.length;
}

std::vector<unsigned> fieldOffsets(const StructureDescription& structure, Layout layout) {
    std::vector<unsigned> offsets;
    unsigned end = 0;
    for (const FieldDescription& field : structure.fields) {
        offsets.push_back(layout == Layout::narrow ? field.offset
                                                   : aligned(end, rowOf(field.type).alignment));
        end = offsets.back() + fieldLength(field, layout);
    }
    return offsets;
}

unsigned recordLength(const StructureDescription& structure, Layout layout) {
    if (layout == Layout::narrow || structure.fields.empty()) return structure.length;
    const unsigned end =
        fieldOffsets(structure, layout).back() + fieldLength(structure.fields.back(), layout);
    return std::max(end, structure.length);
}

std::vector<FieldLine> listFields(const StructureDescription& structure, Layout layout) {
    std::vector<FieldLine> lines;
    append(lines, structure, layout, {}, 0);
    return lines;
}

FieldLine listElement(const FieldDescription& element, std::string_view name, Layout layout) {
    FieldLine line;
    line.name = name;
    line.path = name;
    line.rollName = element.typeName;
    line.domName = element.typeName;
    line.type = element.type;
    line.compType = 'E';
    line.length = fieldLength(element, layout);
    line.decimals = element.decimals;
    return line;
}

FieldLine listRows(const DictionaryType& tableType, Layout layout) {
    FieldLine line = listElement(tableType.element, {}, layout);
    if (tableType.structure != nullptr) {
        line.type = ZORTYPE_STRUCTURE;
        line.length = recordLength(*tableType.structure, layout);
    }
    line.rollName = tableType.line;
    line.domName = line.type == ZORTYPE_STRUCTURE ? "" : tableType.line;
    line.compType = 'T';
    return line;
}

char letterOf(ZORTYPE type) {
    return rowOf(type).letter;
}

std::string_view dataTypeOf(ZORTYPE type) {
    return rowOf(type).dataType;
}

}  // namespace zordev
