// The interfaces of the metadata functions: every length and offset against the rules that rows follow, with
// the exceptions that are meant.

#include "repository/zorsystemdescriptions.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace {

using std::string;

/** Bytes of padding in front of a field, or before the end, by row type, length and field. */
using Padding = std::map<string, unsigned>;

string keyOf(const ZorSystemRecordRow& row, const KEL_UC* field) {
    return string(row.name) + "/" + std::to_string(row.nucLength) + " " + field;
}

// With 1-byte characters: integers and pointers aligned, and row lengths rounded.
const Padding padding1 = {
    {"ZOR_FUNINT/212 end", 3},
    {"DFIES/40 end", 3},
    {"DDTYPELIST/48 FIELDS", 6},
    {"SEO_ATTRIBUTES_REMOTE/316 RTTI_TYPE", 1},
    {"SEO_ATTRIBUTES_REMOTE/316 TYPE_NAME", 3},
    {"SEO_ATTRIBUTES_REMOTE/316 LENGTH", 2},
    {"ZOR_METADATA_PARAMS/244 PARAMCLASS", 2},
    {"ZOR_METADATA_PARAMS/244 end", 3},
};

const Padding padding2 = {
    {"ZOR_FUNINT/212 end", 2},
    {"X030L/147 end", 1},
    {"DDTYPELIST/48 FIELDS", 4},
    {"SEO_ATTRIBUTES_REMOTE/316 RTTI_TYPE", 2},
    {"SEO_ATTRIBUTES_REMOTE/316 TYPE_NAME", 2},
    {"ZORFUNCTIONNAME/45 end", 6},
    {"ZOR_METADATA_PARAMS/244 end", 2},
};

bool isCharacters(ZORTYPE type) {
    return type == ZORTYPE_CHAR || type == ZORTYPE_NUM || type == ZORTYPE_DATE || type == ZORTYPE_TIME;
}

/** Notes where a field doesn't start right behind the end of the one before. */
void note(Padding& found, const string& key, unsigned end, unsigned offset) {
    EXPECT_GE(offset, end) << key;
    if (offset != end) found[key] = offset - end;
}

TEST(SystemDescriptions, FieldsLieBehindEachOtherInBothLayouts) {
    Padding found1, found2;
    for (const ZorSystemRecordRow& row : zorSystemRecordRows()) {
        const bool both = row.ucLength != 0;
        unsigned end1 = 0, end2 = 0;
        for (const ZorSystemField& field : row.fields) {
            note(found1, keyOf(row, field.name), end1, field.nucOffset);
            end1 = field.nucOffset + field.nucLength;
            if (!both) continue;
            note(found2, keyOf(row, field.name), end2, field.ucOffset);
            EXPECT_EQ(field.ucLength, (isCharacters(field.type) ? 2 : 1) * field.nucLength)
                << keyOf(row, field.name);
            end2 = field.ucOffset + field.ucLength;
        }
        note(found1, keyOf(row, "end"), end1, row.nucLength);
        if (both) note(found2, keyOf(row, "end"), end2, row.ucLength);
    }
    EXPECT_EQ(found1, padding1);
    EXPECT_EQ(found2, padding2);
}

TEST(SystemDescriptions, ParametersAreAsLongAsTheirRows) {
    // The oldest form declares the rows of the next one, and what tells of classes declares none.
    const std::set<string> meant = {
        "ZOR_GET_FUNCTION_INTERFACE PARAMS 212/404 for 168/0",
        "SEO_GET_CLIF_REMOTE ATTRIBUTES 0/0 for 316/600",
        "SEO_GET_CLIF_REMOTE IMPLEMENTED_INTERFACES 0/0 for 30/60",
        "SEO_GET_CLIF_REMOTE PARENT_CLASSES 0/0 for 30/60",
    };
    std::set<string> found;
    for (const ZorSystemFunctionRow& row : zorSystemFunctionRows())
        for (const ZorSystemParameter& parameter : row.parameters) {
            const string lengths =
                std::to_string(parameter.nucLength) + "/" + std::to_string(parameter.ucLength);
            if (parameter.record == ZorSystemRecord::none) {
                EXPECT_TRUE(parameter.ucLength == 0 ||
                            parameter.ucLength ==
                                (isCharacters(parameter.type) ? 2 : 1) * parameter.nucLength)
                    << row.name << " " << parameter.name;
                continue;
            }
            const ZorSystemRecordRow& rows = zorSystemRecordRows()[static_cast<size_t>(parameter.record)];
            const string own = std::to_string(rows.nucLength) + "/" + std::to_string(rows.ucLength);
            if (lengths != own)
                found.insert(string(row.name) + " " + parameter.name + " " + lengths + " for " + own);
        }
    EXPECT_EQ(found, meant);
}

TEST(SystemDescriptions, AreLockedAndSharedByAll) {
    ZorSystemDescriptions::init();
    for (size_t i = 0; i < zorSystemRecordRows().size(); ++i) {
        const ZorRecordMetaData& record = ZorSystemDescriptions::get(static_cast<ZorSystemRecord>(i));
        EXPECT_TRUE(record.isLocked());
        EXPECT_EQ(record.getOrigin(), "Static");
        EXPECT_EQ(record.getName(), zorSystemRecordRows()[i].name);
        EXPECT_GE(record.getRecordLength(), zorSystemRecordRows()[i].nucLength);
    }
    const struct {
        ZorSystemFunction function;
        unsigned parameters;
        const char* name;
        const char* parameter;
        unsigned length1, length2;
        ZorSystemRecord rows;
    } rows[] = {
        {ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v3, 3, "ZOR_GET_FUNCTION_INTERFACE", "PARAMS", 212,
         404, ZorSystemRecord::ZOR_FUNINT_v3},
        {ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v4, 3, "ZOR_GET_FUNCTION_INTERFACE", "PARAMS", 212,
         404, ZorSystemRecord::ZOR_FUNINT_v4_6_7},
        {ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v6, 4, "ZOR_GET_FUNCTION_INTERFACE", "LANGUAGE", 1, 2,
         ZorSystemRecord::none},
        {ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v70, 4, "ZOR_GET_FUNCTION_INTERFACE",
         "NONE_UNICODE_LENGTH", 1, 2, ZorSystemRecord::none},
        {ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v71, 8, "ZOR_GET_FUNCTION_INTERFACE",
         "RESUMABLE_EXCEPTIONS", 31, 62, ZorSystemRecord::RSEXC_v7},
        {ZorSystemFunction::ZOR_GET_STRUCTURE_DEFINITION_v3, 3, "ZOR_GET_STRUCTURE_DEFINITION", "FIELDS", 40,
         40, ZorSystemRecord::ZOR_FIELDS_v3},
        {ZorSystemFunction::DDIF_FIELDINFO_GET_v4, 9, "DDIF_FIELDINFO_GET", "LFIELDNAME", 132, 264,
         ZorSystemRecord::none},
        // The second length that isn't given is derived, and doesn't take those of the others away.
        {ZorSystemFunction::DDIF_FIELDINFO_GET_v462, 12, "DDIF_FIELDINFO_GET", "X030L_WA", 140, 140,
         ZorSystemRecord::X030L_v4_462},
        {ZorSystemFunction::DDIF_FIELDINFO_GET_v462, 12, "DDIF_FIELDINFO_GET", "DFIES_TAB", 673, 1346,
         ZorSystemRecord::DFIES_v6},
        {ZorSystemFunction::DDIF_FIELDINFO_GET_v6, 13, "DDIF_FIELDINFO_GET", "X030L_WA", 147, 254,
         ZorSystemRecord::X030L_v6},
        {ZorSystemFunction::SEO_GET_CLIF_REMOTE, 5, "SEO_GET_CLIF_REMOTE", "ATTRIBUTES", 0, 0,
         ZorSystemRecord::SEO_ATTRIBUTES_REMOTE},
    };
    for (const auto& row : rows) {
        const ZorFunctionMetaData& function = ZorSystemDescriptions::get(row.function);
        const ZorParameterFieldType& parameter = function[std::string_view(row.parameter)];
        SCOPED_TRACE(string(row.name) + " " + row.parameter);
        EXPECT_TRUE(function.isLocked());
        EXPECT_EQ(function.getName(), row.name);
        EXPECT_EQ(function.getFieldCount(), row.parameters);
        EXPECT_EQ(parameter.length1, row.length1);
        EXPECT_EQ(parameter.length2, row.length2);
        EXPECT_EQ(parameter.typeDesc.get(),
                  row.rows == ZorSystemRecord::none ? nullptr : &ZorSystemDescriptions::get(row.rows));
    }
    EXPECT_TRUE(ZorSystemDescriptions::get(ZorSystemFunction::SEO_GET_CLIF_REMOTE)
                    .isOptional("INCLUDE_INHERITED_ELEMENTS"));
    const ZorRecordMetaData& lines = ZorSystemDescriptions::get(ZorSystemRecord::DDTYPELIST_v6);
    EXPECT_EQ(lines.getRecordMetaData(2), &ZorSystemDescriptions::get(ZorSystemRecord::DFIES_v6));
    EXPECT_EQ(ZorSystemDescriptions::get(ZorSystemRecord::X030L_v4_462).getByteLength("TABLEN"), 2u);
    EXPECT_EQ(ZorSystemDescriptions::get(ZorSystemRecord::X030L_v6).getByteLength("TABLEN"), 4u);
    EXPECT_EQ(ZorSystemDescriptions::get(ZorSystemRecord::DFIES_v4).getFieldCount(), 44u);
}

}  // namespace
