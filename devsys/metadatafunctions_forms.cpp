// Which metadata functions a release has, and their parameters there.

#include "devsys/metadatafunctions.h"
#include "devsys/metadatarows.h"

namespace zordev {

namespace {

constexpr unsigned NEWEST = 999;

const StructureDescription& dfies4() {
    static const StructureDescription older = [] {
        StructureDescription description = metadata::DFIES_6;
        description.fields.resize(description.fields.size() - 3);
        description.length = 669;
        return description;
    }();
    return older;
}

ParameterDescription text(std::string_view name, unsigned length, ZOR_DIRECTION direction = ZOR_IMPORT) {
    return {name, ZORTYPE_CHAR, length, direction};
}

ParameterDescription record(std::string_view name, const StructureDescription& fields) {
    return {name, ZORTYPE_STRUCTURE, fields.length, ZOR_EXPORT, 0, &fields};
}

ParameterDescription rows(std::string_view name, const StructureDescription& row,
                          ZOR_DIRECTION direction = ZOR_TABLES) {
    return {name, ZORTYPE_TABLE, row.length, direction, 0, &row};
}

/** A function from one release to another, both included. */
struct Form {
    unsigned from;
    unsigned to;
    FunctionDescription function;
};

FunctionDescription functionInterface(unsigned form) {
    std::vector<ParameterDescription> parameters = {text("FUNCNAME", 30), text("LANGUAGE", 1)};
    if (form >= 6) parameters.push_back(text("NONE_UNICODE_LENGTH", 1));
    if (form >= 71)
        for (const char* flag : {"REMOTE_LUMX_SUPPORTED", "REMOTE_CALL", "UPDATE_TASK"})
            parameters.push_back(text(flag, 1, ZOR_EXPORT));
    parameters.push_back(rows("PARAMS", form == 3 ? metadata::FUNINT_3 : metadata::FUNINT_4));
    static const StructureDescription RSEXC = {
        "RSEXC", 31, {{"EXCEPTION", ZORTYPE_CHAR, 30, 0}, {"IS_RESUMABLE", ZORTYPE_CHAR, 1, 30}}};
    if (form >= 71) parameters.push_back(rows("RESUMABLE_EXCEPTIONS", RSEXC));
    return {"ZOR_GET_FUNCTION_INTERFACE", parameters, getFunctionInterface};
}

FunctionDescription structureDefinition() {
    return {
        "ZOR_GET_STRUCTURE_DEFINITION",
        {text("TABNAME", 10), {"TABLENGTH", ZORTYPE_INT, 4, ZOR_EXPORT}, rows("FIELDS", metadata::FIELDS_3)},
        getStructureDefinition};
}

FunctionDescription oldFieldInfo() {
    return {"DDIF_FIELDINFO_GET",
            {text("ALL_TYPES", 1), text("FIELDNAME", 30), text("LANGU", 1), text("LFIELDNAME", 132),
             text("TABNAME", 30), text("DDOBJTYPE", 8, ZOR_EXPORT), record("DFIES_WA", dfies4()),
             record("X030L_WA", metadata::X030L_4), rows("DFIES_TAB", dfies4())},
            getFieldInfo};
}

FunctionDescription fieldInfo(bool bothLayouts) {
    static const StructureDescription LINE = {"DDTYPELIST",
                                              48,
                                              {{"TYPENAME", ZORTYPE_CHAR, 30, 0},
                                               {"TYPEKIND", ZORTYPE_CHAR, 4, 30},
                                               {"FIELDS", ZORTYPE_TABLE, 8, 40, 0, &metadata::DFIES_6}}};
    static const StructureDescription FIXED = {"DDFIXVALUES", 83, {{"LOW", ZORTYPE_CHAR, 83, 0}}};
    std::vector<ParameterDescription> parameters = {text("ALL_TYPES", 1),    text("FIELDNAME", 30),
                                                    text("GROUP_NAMES", 1),  text("LANGU", 1),
                                                    text("LFIELDNAME", 132), text("TABNAME", 30)};
    if (bothLayouts) parameters.push_back({"UCLEN", ZORTYPE_BYTE, 1, ZOR_IMPORT});
    parameters.push_back(text("DDOBJTYPE", 8, ZOR_EXPORT));
    parameters.push_back(record("DFIES_WA", metadata::DFIES_6));
    parameters.push_back(rows("LINES_DESCR", LINE, ZOR_EXPORT));
    parameters.push_back(record("X030L_WA", bothLayouts ? metadata::X030L_6 : metadata::X030L_4));
    parameters.push_back(rows("DFIES_TAB", metadata::DFIES_6));
    parameters.push_back(rows("FIXED_VALUES", FIXED));
    return {"DDIF_FIELDINFO_GET", parameters, getFieldInfo};
}

FunctionDescription metadataGet() {
    return {
        "ZOR_METADATA_GET",
        {text("DEEP", 1), text("LANGUAGE", 1), text("GET_CLIENT_DEP_FIELDS", 1), text("GET_TIMESTAMPS", 1),
         rows("FUNCTIONNAMES", metadata::FUNCTION_NAME), rows("DATATYPES", metadata::TYPE_NAME),
         rows("KNOWN_DATATYPES", metadata::TYPE_NAME), rows("PARAMETERS", metadata::METADATA_PARAMS),
         rows("DATATYPESCONT", metadata::METADATA_DDIC), rows("INDIRECTTYPES", metadata::METADATA_INDIRECT),
         rows("FUNC_ERRORS", metadata::FUNC_ERROR), rows("DD_ERRORS", metadata::DD_ERROR)},
        getMetadata};
}

FunctionDescription clifRemote() {
    return {"SEO_GET_CLIF_REMOTE",
            {text("CLASS_KEY", 30), text("INCLUDE_INHERITED_ELEMENTS", 1),
             rows("ATTRIBUTES", metadata::SEO_ATTRIBUTES, ZOR_EXPORT),
             rows("IMPLEMENTED_INTERFACES", metadata::SEO_CLSKEYS, ZOR_EXPORT),
             rows("PARENT_CLASSES", metadata::SEO_CLSKEYS, ZOR_EXPORT)},
            getClass};
}

const std::vector<Form>& forms() {
    static const std::vector<Form> all = {
        {0, 399, functionInterface(3)},    {400, 599, functionInterface(4)},
        {600, 701, functionInterface(6)},  {702, NEWEST, functionInterface(71)},
        {300, 399, structureDefinition()}, {400, 461, oldFieldInfo()},
        {600, NEWEST, metadataGet()},      {720, NEWEST, clifRemote()},
        {462, 500, fieldInfo(false)},      {501, NEWEST, fieldInfo(true)},
    };
    return all;
}

}  // namespace

const FunctionDescription* findMetadataFunction(std::string_view name, unsigned version) {
    for (const Form& form : forms())
        if (form.function.name == name && version >= form.from && version <= form.to) return &form.function;
    return nullptr;
}

}  // namespace zordev
