#include "repository/zorsystemtables.h"

namespace {

// Name, type, length and offset with 1-byte characters, the same with 2-byte characters.

constexpr ZorSystemField funint3[] = {
    {"PARAMCLASS", ZORTYPE_CHAR, 1, 0},  {"PARAMETER", ZORTYPE_CHAR, 30, 1},
    {"TABNAME", ZORTYPE_CHAR, 10, 31},   {"FIELDNAME", ZORTYPE_CHAR, 10, 41},
    {"EXID", ZORTYPE_CHAR, 1, 51},       {"POSITION", ZORTYPE_INT, 4, 52},
    {"OFFSET", ZORTYPE_INT, 4, 56},      {"INTLENGTH", ZORTYPE_INT, 4, 60},
    {"DECIMALS", ZORTYPE_INT, 4, 64},    {"DEFAULT", ZORTYPE_CHAR, 21, 68},
    {"PARAMTEXT", ZORTYPE_CHAR, 79, 89},
};

constexpr ZorSystemField funint4[] = {
    {"PARAMCLASS", ZORTYPE_CHAR, 1, 0, 2, 0},       {"PARAMETER", ZORTYPE_CHAR, 30, 1, 60, 2},
    {"TABNAME", ZORTYPE_CHAR, 30, 31, 60, 62},      {"FIELDNAME", ZORTYPE_CHAR, 30, 61, 60, 122},
    {"EXID", ZORTYPE_CHAR, 1, 91, 2, 182},          {"POSITION", ZORTYPE_INT, 4, 92, 4, 184},
    {"OFFSET", ZORTYPE_INT, 4, 96, 4, 188},         {"INTLENGTH", ZORTYPE_INT, 4, 100, 4, 192},
    {"DECIMALS", ZORTYPE_INT, 4, 104, 4, 196},      {"DEFAULT", ZORTYPE_CHAR, 21, 108, 42, 200},
    {"PARAMTEXT", ZORTYPE_CHAR, 79, 129, 158, 242}, {"OPTIONAL", ZORTYPE_CHAR, 1, 208, 2, 400},
};

constexpr ZorSystemField rsexc[] = {
    {"EXCEPTION", ZORTYPE_CHAR, 30, 0, 60, 0},
    {"IS_RESUMABLE", ZORTYPE_CHAR, 1, 30, 2, 60},
};

constexpr ZorSystemField fields3[] = {
    {"TABNAME", ZORTYPE_CHAR, 10, 0}, {"FIELDNAME", ZORTYPE_CHAR, 10, 10}, {"POSITION", ZORTYPE_INT, 4, 20},
    {"OFFSET", ZORTYPE_INT, 4, 24},   {"INTLENGTH", ZORTYPE_INT, 4, 28},   {"DECIMALS", ZORTYPE_INT, 4, 32},
    {"EXID", ZORTYPE_CHAR, 1, 36},
};

constexpr ZorSystemField x030l6[] = {
    {"TABNAME", ZORTYPE_CHAR, 30, 0, 60, 0},     {"DBASE", ZORTYPE_CHAR, 1, 30, 2, 60},
    {"UUID", ZORTYPE_BYTE, 16, 31, 16, 62},      {"CRSTAMP", ZORTYPE_CHAR, 14, 47, 28, 78},
    {"ABSTAMP", ZORTYPE_CHAR, 14, 61, 28, 106},  {"DYSTAMP", ZORTYPE_CHAR, 14, 75, 28, 134},
    {"FLDCNT", ZORTYPE_BYTE, 2, 89, 2, 162},     {"TABLEN", ZORTYPE_BYTE, 4, 91, 4, 164},
    {"KEYCNT", ZORTYPE_BYTE, 1, 95, 1, 168},     {"KEYLEN", ZORTYPE_BYTE, 2, 96, 2, 169},
    {"CLPOS", ZORTYPE_BYTE, 1, 98, 1, 171},      {"TABTYPE", ZORTYPE_CHAR, 1, 99, 2, 172},
    {"TABFORM", ZORTYPE_CHAR, 1, 100, 2, 174},   {"REFNAME", ZORTYPE_CHAR, 30, 101, 60, 176},
    {"FLAGBYTE", ZORTYPE_BYTE, 1, 131, 1, 236},  {"EXROUT", ZORTYPE_BYTE, 1, 132, 1, 237},
    {"FLAG3", ZORTYPE_BYTE, 1, 133, 1, 238},     {"FLAG4", ZORTYPE_BYTE, 1, 134, 1, 239},
    {"FLAG5", ZORTYPE_BYTE, 1, 135, 1, 240},     {"FLAG6", ZORTYPE_BYTE, 1, 136, 1, 241},
    {"BUFSTATE", ZORTYPE_CHAR, 1, 137, 2, 242},  {"BUFPARM", ZORTYPE_BYTE, 2, 138, 2, 244},
    {"ALIGN", ZORTYPE_BYTE, 1, 140, 1, 246},     {"POINTERLG", ZORTYPE_BYTE, 1, 141, 1, 247},
    {"UNICODELG", ZORTYPE_BYTE, 1, 142, 1, 248}, {"COMPCNT", ZORTYPE_BYTE, 2, 143, 2, 249},
    {"LEAFCNT", ZORTYPE_BYTE, 2, 145, 2, 251},
};

constexpr ZorSystemField x030l4[] = {
    {"TABNAME", ZORTYPE_CHAR, 30, 0},    {"DBASE", ZORTYPE_CHAR, 1, 30},
    {"UUID", ZORTYPE_BYTE, 16, 31},      {"CRSTAMP", ZORTYPE_CHAR, 14, 47},
    {"ABSTAMP", ZORTYPE_CHAR, 14, 61},   {"DYSTAMP", ZORTYPE_CHAR, 14, 75},
    {"FLDCNT", ZORTYPE_BYTE, 2, 89},     {"TABLEN", ZORTYPE_BYTE, 2, 91},
    {"KEYCNT", ZORTYPE_BYTE, 1, 93},     {"KEYLEN", ZORTYPE_BYTE, 1, 94},
    {"CLPOS", ZORTYPE_BYTE, 1, 95},      {"TABTYPE", ZORTYPE_CHAR, 1, 96},
    {"TABFORM", ZORTYPE_CHAR, 1, 97},    {"REFNAME", ZORTYPE_CHAR, 30, 98},
    {"FLAGBYTE", ZORTYPE_BYTE, 1, 128},  {"EXROUT", ZORTYPE_BYTE, 1, 129},
    {"FLAG3", ZORTYPE_BYTE, 1, 130},     {"FLAG4", ZORTYPE_BYTE, 1, 131},
    {"FLAG5", ZORTYPE_BYTE, 1, 132},     {"FLAG6", ZORTYPE_BYTE, 1, 133},
    {"BUFSTATE", ZORTYPE_CHAR, 1, 134},  {"BUFPARM", ZORTYPE_BYTE, 2, 135},
    {"ALIGN", ZORTYPE_BYTE, 1, 137},     {"POINTERLG", ZORTYPE_BYTE, 1, 138},
    {"UNICODELG", ZORTYPE_BYTE, 1, 139},
};

constexpr ZorSystemField dfies[] = {
    {"TABNAME", ZORTYPE_CHAR, 30, 0, 60, 0},       {"FIELDNAME", ZORTYPE_CHAR, 30, 30, 60, 60},
    {"LANGU", ZORTYPE_CHAR, 1, 60, 2, 120},        {"POSITION", ZORTYPE_NUM, 4, 61, 8, 122},
    {"OFFSET", ZORTYPE_NUM, 6, 65, 12, 130},       {"DOMNAME", ZORTYPE_CHAR, 30, 71, 60, 142},
    {"ROLLNAME", ZORTYPE_CHAR, 30, 101, 60, 202},  {"CHECKTABLE", ZORTYPE_CHAR, 30, 131, 60, 262},
    {"LENG", ZORTYPE_NUM, 6, 161, 12, 322},        {"INTLEN", ZORTYPE_NUM, 6, 167, 12, 334},
    {"OUTPUTLEN", ZORTYPE_NUM, 6, 173, 12, 346},   {"DECIMALS", ZORTYPE_NUM, 6, 179, 12, 358},
    {"DATATYPE", ZORTYPE_CHAR, 4, 185, 8, 370},    {"INTTYPE", ZORTYPE_CHAR, 1, 189, 2, 378},
    {"REFTABLE", ZORTYPE_CHAR, 30, 190, 60, 380},  {"REFFIELD", ZORTYPE_CHAR, 30, 220, 60, 440},
    {"PRECFIELD", ZORTYPE_CHAR, 30, 250, 60, 500}, {"AUTHORID", ZORTYPE_CHAR, 3, 280, 6, 560},
    {"MEMORYID", ZORTYPE_CHAR, 20, 283, 40, 566},  {"LOGFLAG", ZORTYPE_CHAR, 1, 303, 2, 606},
    {"MASK", ZORTYPE_CHAR, 20, 304, 40, 608},      {"MASKLEN", ZORTYPE_NUM, 4, 324, 8, 648},
    {"CONVEXIT", ZORTYPE_CHAR, 5, 328, 10, 656},   {"HEADLEN", ZORTYPE_NUM, 2, 333, 4, 666},
    {"SCRLEN1", ZORTYPE_NUM, 2, 335, 4, 670},      {"SCRLEN2", ZORTYPE_NUM, 2, 337, 4, 674},
    {"SCRLEN3", ZORTYPE_NUM, 2, 339, 4, 678},      {"FIELDTEXT", ZORTYPE_CHAR, 60, 341, 120, 682},
    {"REPTEXT", ZORTYPE_CHAR, 55, 401, 110, 802},  {"SCRTEXT_S", ZORTYPE_CHAR, 10, 456, 20, 912},
    {"SCRTEXT_M", ZORTYPE_CHAR, 20, 466, 40, 932}, {"SCRTEXT_L", ZORTYPE_CHAR, 40, 486, 80, 972},
    {"KEYFLAG", ZORTYPE_CHAR, 1, 526, 2, 1052},    {"LOWERCASE", ZORTYPE_CHAR, 1, 527, 2, 1054},
    {"MAC", ZORTYPE_CHAR, 1, 528, 2, 1056},        {"GENKEY", ZORTYPE_CHAR, 1, 529, 2, 1058},
    {"NOFORKEY", ZORTYPE_CHAR, 1, 530, 2, 1060},   {"VALEXI", ZORTYPE_CHAR, 1, 531, 2, 1062},
    {"NOAUTHCH", ZORTYPE_CHAR, 1, 532, 2, 1064},   {"SIGN", ZORTYPE_CHAR, 1, 533, 2, 1066},
    {"DYNPFLD", ZORTYPE_CHAR, 1, 534, 2, 1068},    {"F4AVAILABL", ZORTYPE_CHAR, 1, 535, 2, 1070},
    {"COMPTYPE", ZORTYPE_CHAR, 1, 536, 2, 1072},   {"LFIELDNAME", ZORTYPE_CHAR, 132, 537, 264, 1074},
    {"LTRFLDDIS", ZORTYPE_CHAR, 1, 669, 2, 1338},  {"BIDICTRLC", ZORTYPE_CHAR, 1, 670, 2, 1340},
    {"OUTPUTSTYLE", ZORTYPE_NUM, 2, 671, 4, 1342},
};

constexpr ZorSystemField ddtypelist[] = {
    {"TYPENAME", ZORTYPE_CHAR, 30, 0, 60, 0},
    {"TYPEKIND", ZORTYPE_CHAR, 4, 30, 8, 60},
    {"FIELDS", ZORTYPE_TABLE, 8, 40, 8, 72, ZorSystemRecord::DFIES_v6},
};

constexpr ZorSystemField ddfixvalues[] = {
    {"LOW", ZORTYPE_CHAR, 10, 0, 20, 0},       {"HIGH", ZORTYPE_CHAR, 10, 10, 20, 20},
    {"OPTION", ZORTYPE_CHAR, 2, 20, 4, 40},    {"DDLANGUAGE", ZORTYPE_CHAR, 1, 22, 2, 44},
    {"DDTEXT", ZORTYPE_CHAR, 60, 23, 120, 46},
};

constexpr ZorSystemField seoAttributes[] = {
    {"CLIF_NAME", ZORTYPE_CHAR, 30, 0, 60, 0},        {"ATTRIBUTE_NAME", ZORTYPE_CHAR, 30, 30, 60, 60},
    {"VISIBILITY", ZORTYPE_NUM, 1, 60, 2, 120},       {"ATTRIBUTE_KIND", ZORTYPE_NUM, 1, 61, 2, 122},
    {"READ_ONLY", ZORTYPE_CHAR, 1, 62, 2, 124},       {"RTTI_TYPE", ZORTYPE_STRING, 8, 64, 8, 128},
    {"DATA_TYPE", ZORTYPE_CHAR, 1, 72, 2, 136},       {"TYPE_NAME", ZORTYPE_STRING, 8, 76, 8, 140},
    {"FIELD_NAME", ZORTYPE_CHAR, 30, 84, 60, 148},    {"LENGTH", ZORTYPE_INT, 4, 116, 4, 208},
    {"DECIMALS", ZORTYPE_INT, 4, 120, 4, 212},        {"DEFAULT_VALUE", ZORTYPE_CHAR, 132, 124, 264, 216},
    {"DESCRIPTION", ZORTYPE_CHAR, 60, 256, 120, 480},
};

constexpr ZorSystemField seoClskeys[] = {
    {"CLSNAME", ZORTYPE_CHAR, 30, 0, 60, 0},
};

constexpr ZorSystemField functionName[] = {
    {"FUNCTIONNAME", ZORTYPE_CHAR, 30, 0, 60, 0},
    {"LUMX_SUPPORTED", ZORTYPE_CHAR, 1, 30, 2, 60},
    {"UDAT", ZORTYPE_DATE, 8, 31, 16, 62},
    {"UTIME", ZORTYPE_TIME, 6, 39, 12, 78},
};

constexpr ZorSystemField ddicName[] = {
    {"TABNAME", ZORTYPE_CHAR, 30, 0, 60, 0},
    {"FIELDNAME", ZORTYPE_CHAR, 30, 30, 60, 60},
};

constexpr ZorSystemField metadataParams[] = {
    {"FUNCNAME", ZORTYPE_CHAR, 30, 0, 60, 0},     {"PARAMCLASS", ZORTYPE_CHAR, 1, 32, 2, 60},
    {"PARAMETER", ZORTYPE_CHAR, 30, 33, 60, 62},  {"TABNAME", ZORTYPE_CHAR, 30, 63, 60, 122},
    {"FIELDNAME", ZORTYPE_CHAR, 30, 93, 60, 182}, {"EXID", ZORTYPE_CHAR, 1, 123, 2, 242},
    {"POSITION", ZORTYPE_INT, 4, 124, 4, 244},    {"OFFSET", ZORTYPE_INT, 4, 128, 4, 248},
    {"INTLENGTH", ZORTYPE_INT, 4, 132, 4, 252},   {"DECIMALS", ZORTYPE_INT, 4, 136, 4, 256},
    {"DEFAULT", ZORTYPE_CHAR, 21, 140, 42, 260},  {"PARAMTEXT", ZORTYPE_CHAR, 79, 161, 158, 302},
    {"OPTIONAL", ZORTYPE_CHAR, 1, 240, 2, 460},
};

constexpr ZorSystemField metadataDdic[] = {
    {"TYPENAME", ZORTYPE_CHAR, 30, 0, 60, 0},       {"FIELDNAME", ZORTYPE_CHAR, 30, 30, 60, 60},
    {"COMPTYPE", ZORTYPE_CHAR, 1, 60, 2, 120},      {"FIELDTYPE", ZORTYPE_CHAR, 30, 61, 60, 122},
    {"DATATYPE", ZORTYPE_CHAR, 4, 91, 8, 182},      {"TABLENGTH", ZORTYPE_NUM, 6, 95, 12, 190},
    {"TABLENGTH_UC", ZORTYPE_NUM, 6, 101, 12, 202}, {"DESCRIPTION", ZORTYPE_CHAR, 60, 107, 120, 214},
    {"DECIMALS", ZORTYPE_NUM, 6, 167, 12, 334},     {"INTTYPE", ZORTYPE_CHAR, 1, 173, 2, 346},
    {"OFFSET", ZORTYPE_CHAR, 6, 174, 12, 348},      {"OFFSET_UC", ZORTYPE_CHAR, 6, 180, 12, 360},
    {"INTLEN", ZORTYPE_CHAR, 6, 186, 12, 372},      {"INTLEN_UC", ZORTYPE_CHAR, 6, 192, 12, 384},
    {"TIMESTAMP", ZORTYPE_CHAR, 14, 198, 28, 396},
};

constexpr ZorSystemField metadataIndirect[] = {
    {"TABNAME", ZORTYPE_CHAR, 30, 0, 60, 0},
    {"FIELDNAME", ZORTYPE_CHAR, 30, 30, 60, 60},
    {"FIELDTYPE", ZORTYPE_CHAR, 30, 60, 60, 120},
};

constexpr ZorSystemField funcError[] = {
    {"FUNCNAME", ZORTYPE_CHAR, 30, 0, 60, 0},
    {"EXCEPTION", ZORTYPE_CHAR, 30, 30, 60, 60},
    {"EXCEPTION_TEXT", ZORTYPE_CHAR, 255, 60, 510, 120},
};

constexpr ZorSystemField ddError[] = {
    {"TABNAME", ZORTYPE_CHAR, 30, 0, 60, 0},
    {"FIELDNAME", ZORTYPE_CHAR, 30, 30, 60, 60},
    {"EXCEPTION", ZORTYPE_CHAR, 30, 60, 60, 120},
    {"EXCEPTION_TEXT", ZORTYPE_CHAR, 255, 90, 510, 180},
};

// The older form has neither the last three fields nor a second layout.
constexpr std::span<const ZorSystemField> dfies4 = std::span(dfies).first(std::size(dfies) - 3);

constexpr ZorSystemRecordRow records[] = {
    {"ZOR_FUNINT", 168, 0, funint3},
    {"ZOR_FUNINT", 212, 404, funint4},
    {"RSEXC", 31, 62, rsexc},
    {"DFIES", 40, 0, fields3},
    {"X030L", 140, 0, x030l4},
    {"X030L", 147, 254, x030l6},
    {"DFIES", 669, 0, dfies4},
    {"DFIES", 673, 1346, dfies},
    {"DDTYPELIST", 48, 80, ddtypelist},
    {"DDFIXVALUES", 83, 166, ddfixvalues},
    {"SEO_ATTRIBUTES_REMOTE", 316, 600, seoAttributes},
    {"SEO_CLSKEYS", 30, 60, seoClskeys},
    {"ZORFUNCTIONNAME", 45, 96, functionName},
    {"MD_DDIC_NAME", 60, 120, ddicName},
    {"ZOR_METADATA_PARAMS", 244, 464, metadataParams},
    {"ZOR_METADATA_DDIC", 212, 424, metadataDdic},
    {"ZOR_METADATA_DDIC_INDIRECT", 90, 180, metadataIndirect},
    {"ZOR_FUNC_ERROR", 315, 630, funcError},
    {"ZOR_DD_ERROR", 345, 690, ddError},
};

// Name, type, direction, length with 1-byte and with 2-byte characters, row type.

// Declares the row lengths of the later form beside the rows of the older one.
constexpr ZorSystemParameter functionInterface3[] = {
    {"FUNCNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 60},
    {"LANGUAGE", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"PARAMS", ZORTYPE_TABLE, ZOR_TABLES, 212, 404, ZorSystemRecord::ZOR_FUNINT_v3},
};

constexpr ZorSystemParameter functionInterface4[] = {
    {"FUNCNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 60},
    {"LANGUAGE", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"PARAMS", ZORTYPE_TABLE, ZOR_TABLES, 212, 404, ZorSystemRecord::ZOR_FUNINT_v4_6_7},
};

// Of two bands, which differ in the version they stand for only.
constexpr ZorSystemParameter functionInterface6[] = {
    {"FUNCNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 60},
    {"LANGUAGE", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"NONE_UNICODE_LENGTH", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"PARAMS", ZORTYPE_TABLE, ZOR_TABLES, 212, 404, ZorSystemRecord::ZOR_FUNINT_v4_6_7},
};

constexpr ZorSystemParameter functionInterface71[] = {
    {"FUNCNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 60},
    {"LANGUAGE", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"NONE_UNICODE_LENGTH", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"REMOTE_LUMX_SUPPORTED", ZORTYPE_CHAR, ZOR_EXPORT, 1, 2},
    {"REMOTE_CALL", ZORTYPE_CHAR, ZOR_EXPORT, 1, 2},
    {"UPDATE_TASK", ZORTYPE_CHAR, ZOR_EXPORT, 1, 2},
    {"PARAMS", ZORTYPE_TABLE, ZOR_TABLES, 212, 404, ZorSystemRecord::ZOR_FUNINT_v4_6_7},
    {"RESUMABLE_EXCEPTIONS", ZORTYPE_TABLE, ZOR_TABLES, 31, 62, ZorSystemRecord::RSEXC_v7},
};

constexpr ZorSystemParameter structureDefinition3[] = {
    {"TABNAME", ZORTYPE_CHAR, ZOR_IMPORT, 10, 0},
    {"TABLENGTH", ZORTYPE_INT, ZOR_EXPORT, 4, 0},
    {"FIELDS", ZORTYPE_TABLE, ZOR_TABLES, 40, 0, ZorSystemRecord::ZOR_FIELDS_v3},
};

constexpr ZorSystemParameter fieldInfo4[] = {
    {"ALL_TYPES", ZORTYPE_CHAR, ZOR_IMPORT, 1, 0},
    {"FIELDNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 0},
    {"LANGU", ZORTYPE_CHAR, ZOR_IMPORT, 1, 0},
    {"LFIELDNAME", ZORTYPE_CHAR, ZOR_IMPORT, 132, 0},
    {"TABNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 0},
    {"DDOBJTYPE", ZORTYPE_CHAR, ZOR_EXPORT, 8, 0},
    {"DFIES_WA", ZORTYPE_STRUCTURE, ZOR_EXPORT, 669, 0, ZorSystemRecord::DFIES_v4},
    {"X030L_WA", ZORTYPE_STRUCTURE, ZOR_EXPORT, 140, 0, ZorSystemRecord::X030L_v4_462},
    {"DFIES_TAB", ZORTYPE_TABLE, ZOR_TABLES, 669, 0, ZorSystemRecord::DFIES_v4},
};

// One structure has no second layout, though the others do.
constexpr ZorSystemParameter fieldInfo462[] = {
    {"ALL_TYPES", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"FIELDNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 60},
    {"GROUP_NAMES", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"LANGU", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"LFIELDNAME", ZORTYPE_CHAR, ZOR_IMPORT, 132, 264},
    {"TABNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 60},
    {"DDOBJTYPE", ZORTYPE_CHAR, ZOR_EXPORT, 8, 16},
    {"DFIES_WA", ZORTYPE_STRUCTURE, ZOR_EXPORT, 673, 1346, ZorSystemRecord::DFIES_v6},
    {"LINES_DESCR", ZORTYPE_TABLE, ZOR_EXPORT, 48, 80, ZorSystemRecord::DDTYPELIST_v6},
    {"X030L_WA", ZORTYPE_STRUCTURE, ZOR_EXPORT, 140, 0, ZorSystemRecord::X030L_v4_462},
    {"DFIES_TAB", ZORTYPE_TABLE, ZOR_TABLES, 673, 1346, ZorSystemRecord::DFIES_v6},
    {"FIXED_VALUES", ZORTYPE_TABLE, ZOR_TABLES, 83, 166, ZorSystemRecord::DDFIXVALUES_v6},
};

constexpr ZorSystemParameter fieldInfo6[] = {
    {"ALL_TYPES", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"FIELDNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 60},
    {"GROUP_NAMES", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"LANGU", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"LFIELDNAME", ZORTYPE_CHAR, ZOR_IMPORT, 132, 264},
    {"TABNAME", ZORTYPE_CHAR, ZOR_IMPORT, 30, 60},
    {"UCLEN", ZORTYPE_BYTE, ZOR_IMPORT, 1, 1},
    {"DDOBJTYPE", ZORTYPE_CHAR, ZOR_EXPORT, 8, 16},
    {"DFIES_WA", ZORTYPE_STRUCTURE, ZOR_EXPORT, 673, 1346, ZorSystemRecord::DFIES_v6},
    {"LINES_DESCR", ZORTYPE_TABLE, ZOR_EXPORT, 48, 80, ZorSystemRecord::DDTYPELIST_v6},
    {"X030L_WA", ZORTYPE_STRUCTURE, ZOR_EXPORT, 147, 254, ZorSystemRecord::X030L_v6},
    {"DFIES_TAB", ZORTYPE_TABLE, ZOR_TABLES, 673, 1346, ZorSystemRecord::DFIES_v6},
    {"FIXED_VALUES", ZORTYPE_TABLE, ZOR_TABLES, 83, 166, ZorSystemRecord::DDFIXVALUES_v6},
};

// Declares no row lengths.
constexpr ZorSystemParameter clifRemote[] = {
    {"CLASS_KEY", ZORTYPE_CHAR, ZOR_IMPORT, 30, 60},
    {"INCLUDE_INHERITED_ELEMENTS", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2, ZorSystemRecord::none, true},
    {"ATTRIBUTES", ZORTYPE_TABLE, ZOR_EXPORT, 0, 0, ZorSystemRecord::SEO_ATTRIBUTES_REMOTE},
    {"IMPLEMENTED_INTERFACES", ZORTYPE_TABLE, ZOR_EXPORT, 0, 0, ZorSystemRecord::SEO_CLSKEYS},
    {"PARENT_CLASSES", ZORTYPE_TABLE, ZOR_EXPORT, 0, 0, ZorSystemRecord::SEO_CLSKEYS},
};

constexpr ZorSystemParameter metadataGet[] = {
    {"DEEP", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"LANGUAGE", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"GET_CLIENT_DEP_FIELDS", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"GET_TIMESTAMPS", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2},
    {"FUNCTIONNAMES", ZORTYPE_TABLE, ZOR_TABLES, 45, 96, ZorSystemRecord::ZORFUNCTIONNAME},
    {"DATATYPES", ZORTYPE_TABLE, ZOR_TABLES, 60, 120, ZorSystemRecord::ZOR_MD_DDIC_NAME},
    {"KNOWN_DATATYPES", ZORTYPE_TABLE, ZOR_TABLES, 60, 120, ZorSystemRecord::ZOR_MD_DDIC_NAME},
    {"PARAMETERS", ZORTYPE_TABLE, ZOR_TABLES, 244, 464, ZorSystemRecord::ZOR_METADATA_PARAMS},
    {"DATATYPESCONT", ZORTYPE_TABLE, ZOR_TABLES, 212, 424, ZorSystemRecord::ZOR_METADATA_DDIC},
    {"INDIRECTTYPES", ZORTYPE_TABLE, ZOR_TABLES, 90, 180, ZorSystemRecord::ZOR_METADATA_DDIC_INDIRECT},
    {"FUNC_ERRORS", ZORTYPE_TABLE, ZOR_TABLES, 315, 630, ZorSystemRecord::ZOR_FUNC_ERROR},
    {"DD_ERRORS", ZORTYPE_TABLE, ZOR_TABLES, 345, 690, ZorSystemRecord::ZOR_DD_ERROR},
};

constexpr ZorSystemFunctionRow functions[] = {
    {"ZOR_GET_FUNCTION_INTERFACE", functionInterface3},
    {"ZOR_GET_FUNCTION_INTERFACE", functionInterface4},
    {"ZOR_GET_FUNCTION_INTERFACE", functionInterface6},
    {"ZOR_GET_FUNCTION_INTERFACE", functionInterface6},
    {"ZOR_GET_FUNCTION_INTERFACE", functionInterface71},
    {"ZOR_GET_STRUCTURE_DEFINITION", structureDefinition3},
    {"DDIF_FIELDINFO_GET", fieldInfo4},
    {"DDIF_FIELDINFO_GET", fieldInfo462},
    {"DDIF_FIELDINFO_GET", fieldInfo6},
    {"SEO_GET_CLIF_REMOTE", clifRemote},
    {"ZOR_METADATA_GET", metadataGet},
};

}  // namespace

std::span<const ZorSystemRecordRow> zorSystemRecordRows() noexcept {
    return records;
}

std::span<const ZorSystemFunctionRow> zorSystemFunctionRows() noexcept {
    return functions;
}
