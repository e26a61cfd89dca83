#include "repository/zordictionaryanswer.h"

#include <algorithm>
#include <optional>

#include "repository/zormetadatarow.h"
#include "repository/zorsystemcall.h"
#include "repository/zortypeletters.h"

namespace {

/** Highest version that answers with one layout only. */
constexpr unsigned lastWithOneLayout = 463;

ZORTYPE typeOf(const ZorMetadataRow& row) {
    if (const ZORTYPE type = zorTypeOfLetter(row.letter("INTTYPE")); type != ZORTYPE_NULL) return type;
    const std::string_view dataType = row.text("DATATYPE");
    if (dataType == "STRU") return ZORTYPE_STRUCTURE;
    return dataType == "TTYP" ? ZORTYPE_TABLE : ZORTYPE_NULL;
}

ZorDictionaryPlace placeOf(const ZorMetadataRow& row, ZorStructure* wide) {
    ZorDictionaryPlace place{row.number("INTLEN"), row.number("OFFSET")};
    if (wide == nullptr) return place;
    const ZorMetadataRow wideRow(*wide);
    place.ucLength = wideRow.number("INTLEN");
    place.ucOffset = wideRow.number("OFFSET");
    return place;
}

/** Reads as many fields as both layouts have. */
ZorDictionaryFields readFields(ZorTable& rows, ZorTable* wide) {
    ZorDictionaryFields fields;
    const unsigned count = wide != nullptr ? std::min(rows.getCount(), wide->getCount()) : rows.getCount();
    fields.reserve(count);
    for (unsigned i = 0; i < count; ++i)
        fields.emplace_back(rows.row(i), wide != nullptr ? &wide->row(i) : nullptr);
    return fields;
}

ZorTable& fieldsOf(ZorStructure& line) {
    ZorTable* fields = nullptr;
    line.getValue(line.getIndex("FIELDS"), &fields, true);
    return *fields;
}

ZorDictionaryLine readLine(ZorStructure& line, ZorTable* wide, unsigned index) {
    const ZorMetadataRow row(line);
    const bool inBoth = wide == nullptr || index < wide->getCount();
    ZorDictionaryLine read{KEL_string(row.text("TYPENAME")), KEL_string(row.text("TYPEKIND")), {}};
    if (inBoth)
        read.fields = readFields(fieldsOf(line), wide != nullptr ? &fieldsOf(wide->row(index)) : nullptr);
    return read;
}

/** A question to the dictionary and its answer in one layout. */
class Question : public DDIF_FIELDINFO_GET_v462_6 {
  public:
    Question(ZorConnection& connection, unsigned version, std::string_view typeName, bool unicode,
             std::initializer_list<const KEL_UC*> unused = {})
        : DDIF_FIELDINFO_GET_v462_6(version) {
        setText("ALL_TYPES", "X");
        setText("TABNAME", typeName);
        setUCLEN(unicode);
        for (const KEL_UC* parameter : unused)
            setParameterActive(parameter, false);
        run(connection);
    }

    unsigned recordLength() { return ZorMetadataRow(structure("X030L_WA")).number("TABLEN"); }
};

ZorDictionaryLengths lengthsOf(Question& narrow, Question* wide) {
    return {narrow.recordLength(), wide != nullptr ? wide->recordLength() : 0};
}

}  // namespace

ZorDictionaryField::ZorDictionaryField(ZorStructure& source, ZorStructure* wide) {
    const ZorMetadataRow row(source);
    name = row.text("FIELDNAME");
    path = row.text("LFIELDNAME");
    rollName = row.text("ROLLNAME");
    domName = row.text("DOMNAME");
    dataType = row.text("DATATYPE");
    compType = row.letter("COMPTYPE");
    type = typeOf(row);
    place = placeOf(row, wide);
    decimals = row.number("DECIMALS");
}

ZorDictionaryAnswer ZorDictionaryAnswer::ask(ZorConnection& connection, unsigned version, bool bothLayouts,
                                             std::string_view typeName) {
    Question narrow(connection, version, typeName, false);
    std::optional<Question> wide;
    if (bothLayouts) wide.emplace(connection, version, typeName, true);
    const auto wideTable = [&](const KEL_UC* table) { return wide ? &wide->table(table) : nullptr; };

    ZorDictionaryAnswer answer;
    answer.lengths = lengthsOf(narrow, wide ? &*wide : nullptr);
    const ZorMetadataRow head(narrow.structure("X030L_WA"));
    answer.isTableType = head.letter("TABTYPE") == 'L';
    answer.layoutFlags = head.number("FLAG3");
    ZorTable& lines = narrow.table("LINES_DESCR");
    for (unsigned i = 0; i < lines.getCount(); ++i)
        answer.lines.push_back(readLine(lines.row(i), wideTable("LINES_DESCR"), i));
    answer.fields = readFields(narrow.table("DFIES_TAB"), wideTable("DFIES_TAB"));
    // The name of an elementary type has no list of fields, but stands for one by itself.
    if (answer.fields.empty())
        answer.fields.emplace_back(narrow.structure("DFIES_WA"),
                                   wide ? &wide->structure("DFIES_WA") : nullptr);
    return answer;
}

ZorDictionaryLengths ZorDictionaryAnswer::askLengths(ZorConnection& connection, unsigned version,
                                                     std::string_view typeName) {
    // The rest is known from the answer about the type that uses this one.
    const auto unused = {"DFIES_WA", "LINES_DESCR", "DFIES_TAB", "FIXED_VALUES"};
    Question narrow(connection, version, typeName, false, unused);
    if (version <= lastWithOneLayout) return lengthsOf(narrow, nullptr);
    Question wide(connection, version, typeName, true, unused);
    return lengthsOf(narrow, &wide);
}
