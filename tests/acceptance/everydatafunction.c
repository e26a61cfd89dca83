/* Every function that needs no partner, called from C11 as a program of a user's would: what a C compiler
 * refuses, or what fails on the straight road, is found here. */

#include "everydatafunction.h"

#include <kelzor.h>
#include <stdio.h>
#include <string.h>

static char failure[1000];
static ZOR_ERROR_INFO info;

static const char* failed(int line, const char* what) {
    snprintf(failure, sizeof failure, "line %d: %s: %s %s", line, what, info.key, info.message);
    return failure;
}

/* Gives up at the first thing that isn't as it should be. */
#define EXPECT(condition)                                      \
    do {                                                       \
        if (!(condition)) return failed(__LINE__, #condition); \
    } while (0)
#define OK(call) EXPECT((call) == ZOR_OK)
#define PASS(step)                         \
    do {                                   \
        const char* const reason = (step); \
        if (reason != NULL) return reason; \
    } while (0)

/* One field of each kind that has an accessor of its own; the index is the position. */
enum {
    CHARS,
    NUM,
    DATE,
    TIME,
    STRING,
    BYTES,
    XSTRING,
    INT,
    INT1,
    INT2,
    INT8,
    FLOAT,
    DECF16,
    DECF34,
    INNER,
    ROWS,
    OBJECT,
    FIELDS
};

static const struct {
    const char* name;
    ZORTYPE type;
    unsigned nucLength;
    unsigned ucLength;
} fields[FIELDS] = {
    {"CHARS", ZORTYPE_CHAR, 10, 20},      {"NUM", ZORTYPE_NUM, 6, 12},
    {"DATE", ZORTYPE_DATE, 8, 16},        {"TIME", ZORTYPE_TIME, 6, 12},
    {"STRING", ZORTYPE_STRING, 8, 8},     {"BYTES", ZORTYPE_BYTE, 4, 4},
    {"XSTRING", ZORTYPE_XSTRING, 8, 8},   {"INT", ZORTYPE_INT, 4, 4},
    {"INT1", ZORTYPE_INT1, 1, 1},         {"INT2", ZORTYPE_INT2, 2, 2},
    {"INT8", ZORTYPE_INT8, 8, 8},         {"FLOAT", ZORTYPE_FLOAT, 8, 8},
    {"DECF16", ZORTYPE_DECF16, 8, 8},     {"DECF34", ZORTYPE_DECF34, 16, 16},
    {"INNER", ZORTYPE_STRUCTURE, 4, 4},   {"ROWS", ZORTYPE_TABLE, 8, 8},
    {"OBJECT", ZORTYPE_UBIXOBJECT, 8, 8},
};

static void copyName(char* target, const char* name) {
    snprintf(target, sizeof(ZOR_UBIX_NAME), "%s", name);
}

static const char* libraryAndTexts(void) {
    unsigned major = 0, minor = 0, patch = 0, size = 20, length = 0;
    char text[20], language[3];
    ZOR_BYTE utf8[20];
    OK(ZorInit());
    EXPECT(strncmp(ZorGetVersion(&major, &minor, &patch), "753 Patch Level ", 16) == 0);
    EXPECT(major == 7 && minor == 752);
    EXPECT(sizeof &ZorGetVersionInternal != 0); /* it prints its report and ends the process */
    EXPECT(strcmp(ZorGetRcAsString(ZOR_BUFFER_TOO_SMALL), "ZOR_BUFFER_TOO_SMALL") == 0);
    EXPECT(strcmp(ZorGetTypeAsString(ZORTYPE_DECF34), "ZORTYPE_DECF34") == 0);
    EXPECT(strcmp(ZorGetDirectionAsString(ZOR_TABLES), "ZOR_TABLES") == 0);
    EXPECT(strcmp(ZorGetServerStateAsString(ZOR_SERVER_RUNNING), "ZOR_SERVER_RUNNING") == 0);
    OK(ZorLanguageIsoToKel("DE", language, &info));
    EXPECT(language[0] == 'D');
    OK(ZorLanguageKelToIso("D", language, &info));
    EXPECT(memcmp(language, "DE", 2) == 0);
    OK(ZorUTF8ToKELUC((const ZOR_BYTE*)"K\xC3\xB6ln", 5, text, &size, &length, &info));
    EXPECT(length == 4 && memcmp(text, "K\xF6ln", 4) == 0);
    size = sizeof utf8;
    OK(ZorKELUCToUTF8("K\xF6ln", 4, utf8, &size, &length, &info));
    EXPECT(length == 5 && memcmp(utf8, "K\xC3\xB6ln", 5) == 0);
    return NULL;
}

static const char* describeInner(ZOR_TYPE_DESC_HANDLE* inner) {
    ZOR_FIELD_DESC field;
    *inner = ZorCreateTypeDesc("INNER_TYPE", &info);
    EXPECT(*inner != NULL);
    memset(&field, 0, sizeof field);
    copyName(field.name, "NO");
    field.type = ZORTYPE_INT;
    field.nucLength = field.ucLength = 4;
    OK(ZorAddTypeField(*inner, &field, &info));
    OK(ZorSetTypeLength(*inner, 4, 4, &info));
    return NULL;
}

static const char* describeClass(ZOR_CLASS_DESC_HANDLE* class) {
    ZOR_CLASS_ATTRIBUTE_DESC attribute, found;
    ZOR_CLASS_NAME name;
    char className[sizeof(ZOR_UBIX_NAME)];
    unsigned count = 0;
    *class = ZorCreateClassDesc("CL_TOUR", &info);
    EXPECT(*class != NULL);
    memset(&attribute, 0, sizeof attribute);
    copyName(attribute.name, "COUNT");
    attribute.type = ZORTYPE_INT;
    attribute.nucLength = attribute.ucLength = 4;
    attribute.attributeType = ZOR_CLASS_ATTRIBUTE_INSTANCE;
    OK(ZorAddClassAttribute(*class, &attribute, &info));
    OK(ZorAddParentClass(*class, "CL_PARENT", &info));
    OK(ZorAddImplementedInterface(*class, "IF_TOUR", &info));
    OK(ZorGetClassName(*class, className, &info));
    EXPECT(strcmp(className, "CL_TOUR") == 0);
    OK(ZorGetClassAttributesCount(*class, &count, &info));
    EXPECT(count == 1);
    OK(ZorGetClassAttributeDescByIndex(*class, 0, &found, &info));
    EXPECT(strcmp(found.name, "COUNT") == 0);
    OK(ZorGetClassAttributeDescByName(*class, "COUNT", &found, &info));
    EXPECT(found.type == ZORTYPE_INT);
    OK(ZorGetParentClassesCount(*class, &count, &info));
    EXPECT(count == 1);
    OK(ZorGetParentClassByIndex(*class, 0, name, &info));
    EXPECT(strcmp(name, "CL_PARENT") == 0);
    OK(ZorGetImplementedInterfacesCount(*class, &count, &info));
    EXPECT(count == 1);
    OK(ZorGetImplementedInterfaceByIndex(*class, 0, name, &info));
    EXPECT(strcmp(name, "IF_TOUR") == 0);
    return NULL;
}

static const char* describeRecord(ZOR_TYPE_DESC_HANDLE inner, ZOR_CLASS_DESC_HANDLE class,
                                  ZOR_TYPE_DESC_HANDLE* type) {
    ZOR_FIELD_DESC field;
    unsigned offset = 0, count = 0, nucLength = 0, ucLength = 0;
    char name[sizeof(ZOR_UBIX_NAME)];
    int i;
    *type = ZorCreateTypeDesc("TOUR_TYPE", &info);
    EXPECT(*type != NULL);
    for (i = 0; i < FIELDS; ++i) {
        memset(&field, 0, sizeof field);
        copyName(field.name, fields[i].name);
        field.type = fields[i].type;
        field.nucLength = fields[i].nucLength;
        field.ucLength = fields[i].ucLength;
        offset = (offset + 15) / 16 * 16; /* suits every type */
        field.nucOffset = field.ucOffset = offset;
        offset += 32;
        if (i == INNER || i == ROWS) field.typeDescHandle = inner;
        if (i == OBJECT) field.typeDescHandle = (ZOR_TYPE_DESC_HANDLE) class;
        OK(ZorAddTypeField(*type, &field, &info));
    }
    OK(ZorSetTypeLength(*type, offset, offset, &info));
    OK(ZorGetTypeName(*type, name, &info));
    EXPECT(strcmp(name, "TOUR_TYPE") == 0);
    OK(ZorGetFieldCount(*type, &count, &info));
    EXPECT(count == FIELDS);
    OK(ZorGetFieldDescByIndex(*type, INT8, &field, &info));
    EXPECT(strcmp(field.name, "INT8") == 0 && field.nucOffset == INT8 * 32);
    OK(ZorGetFieldDescByName(*type, "INT8", &field, &info));
    EXPECT(field.type == ZORTYPE_INT8);
    OK(ZorGetTypeLength(*type, &nucLength, &ucLength, &info));
    EXPECT(nucLength == offset && ucLength == offset);
    return NULL;
}

static const char* texts(DATA_CONTAINER_HANDLE data) {
    char text[20];
    ZOR_BYTE bytes[8];
    unsigned length = 0;
    OK(ZorSetChars(data, "CHARS", "abc", 3, &info));
    OK(ZorGetCharsByIndex(data, CHARS, text, 10, &info));
    EXPECT(memcmp(text, "abc       ", 10) == 0);
    OK(ZorSetCharsByIndex(data, CHARS, "xyz", 3, &info));
    OK(ZorGetChars(data, "CHARS", text, 10, &info));
    EXPECT(memcmp(text, "xyz       ", 10) == 0);
    OK(ZorSetNum(data, "NUM", "42", 2, &info));
    OK(ZorGetNumByIndex(data, NUM, text, 6, &info));
    EXPECT(memcmp(text, "000042", 6) == 0);
    OK(ZorSetNumByIndex(data, NUM, "7", 1, &info));
    OK(ZorGetNum(data, "NUM", text, 6, &info));
    EXPECT(memcmp(text, "000007", 6) == 0);
    OK(ZorSetDate(data, "DATE", "20260731", &info));
    OK(ZorGetDateByIndex(data, DATE, text, &info));
    EXPECT(memcmp(text, "20260731", 8) == 0);
    OK(ZorSetDateByIndex(data, DATE, "19991231", &info));
    OK(ZorGetDate(data, "DATE", text, &info));
    EXPECT(memcmp(text, "19991231", 8) == 0);
    OK(ZorSetTime(data, "TIME", "235959", &info));
    OK(ZorGetTimeByIndex(data, TIME, text, &info));
    EXPECT(memcmp(text, "235959", 6) == 0);
    OK(ZorSetTimeByIndex(data, TIME, "000001", &info));
    OK(ZorGetTime(data, "TIME", text, &info));
    EXPECT(memcmp(text, "000001", 6) == 0);
    OK(ZorSetString(data, "STRING", "first", 5, &info));
    OK(ZorGetStringByIndex(data, STRING, text, sizeof text, &length, &info));
    EXPECT(length == 5 && strcmp(text, "first") == 0);
    OK(ZorSetStringByIndex(data, STRING, "second", 6, &info));
    OK(ZorGetString(data, "STRING", text, sizeof text, &length, &info));
    EXPECT(length == 6 && strcmp(text, "second") == 0);
    OK(ZorGetStringLength(data, "STRING", &length, &info));
    EXPECT(length == 6);
    OK(ZorGetStringLengthByIndex(data, STRING, &length, &info));
    EXPECT(length == 6);
    OK(ZorSetBytes(data, "BYTES", (const ZOR_BYTE*)"\1\2\3\4", 4, &info));
    OK(ZorGetBytesByIndex(data, BYTES, bytes, 4, &info));
    EXPECT(memcmp(bytes, "\1\2\3\4", 4) == 0);
    OK(ZorSetBytesByIndex(data, BYTES, (const ZOR_BYTE*)"\5\6\7\10", 4, &info));
    OK(ZorGetBytes(data, "BYTES", bytes, 4, &info));
    EXPECT(memcmp(bytes, "\5\6\7\10", 4) == 0);
    OK(ZorSetXString(data, "XSTRING", (const ZOR_BYTE*)"\xAA\xBB", 2, &info));
    OK(ZorGetXStringByIndex(data, XSTRING, bytes, sizeof bytes, &length, &info));
    EXPECT(length == 2 && memcmp(bytes, "\xAA\xBB", 2) == 0);
    OK(ZorSetXStringByIndex(data, XSTRING, (const ZOR_BYTE*)"\xCC", 1, &info));
    OK(ZorGetXString(data, "XSTRING", bytes, sizeof bytes, &length, &info));
    EXPECT(length == 1 && bytes[0] == 0xCC);
    return NULL;
}

/* Writes by name and reads by index, then the other way round. */
#define NUMBER(Kind, TYPE, FIELD, one, other)                   \
    do {                                                        \
        TYPE value;                                             \
        OK(ZorSet##Kind(data, #FIELD, (one), &info));           \
        OK(ZorGet##Kind##ByIndex(data, FIELD, &value, &info));  \
        EXPECT(value == (one));                                 \
        OK(ZorSet##Kind##ByIndex(data, FIELD, (other), &info)); \
        OK(ZorGet##Kind(data, #FIELD, &value, &info));          \
        EXPECT(value == (other));                               \
    } while (0)

static const char* numbers(DATA_CONTAINER_HANDLE data) {
    ZOR_DECF16 decf16;
    ZOR_DECF34 decf34;
    char text[20];
    unsigned length = 0;
    NUMBER(Int, ZOR_INT, INT, -5, 2147483647);
    NUMBER(Int1, ZOR_INT1, INT1, 1, 255);
    NUMBER(Int2, ZOR_INT2, INT2, -32768, 2);
    NUMBER(Int8, ZOR_INT8, INT8, -5000000000LL, 6);
    NUMBER(Float, ZOR_FLOAT, FLOAT, 0.25, -1e300);
    OK(ZorSetString(data, "DECF16", "-1.50", 5, &info));
    OK(ZorGetDecF16(data, "DECF16", &decf16, &info));
    OK(ZorSetFloat(data, "DECF16", 0.0, &info));
    OK(ZorSetDecF16ByIndex(data, DECF16, decf16, &info));
    OK(ZorGetDecF16ByIndex(data, DECF16, &decf16, &info));
    OK(ZorSetDecF16(data, "DECF16", decf16, &info));
    OK(ZorGetString(data, "DECF16", text, sizeof text, &length, &info));
    EXPECT(strcmp(text, "-1.50") == 0);
    OK(ZorSetString(data, "DECF34", "12345.678", 9, &info));
    OK(ZorGetDecF34(data, "DECF34", &decf34, &info));
    OK(ZorSetFloat(data, "DECF34", 0.0, &info));
    OK(ZorSetDecF34ByIndex(data, DECF34, decf34, &info));
    OK(ZorGetDecF34ByIndex(data, DECF34, &decf34, &info));
    OK(ZorSetDecF34(data, "DECF34", decf34, &info));
    OK(ZorGetString(data, "DECF34", text, sizeof text, &length, &info));
    EXPECT(strcmp(text, "12345.678") == 0);
    return NULL;
}

static const char* children(DATA_CONTAINER_HANDLE data, ZOR_UBIX_OBJECT_HANDLE object) {
    ZOR_STRUCTURE_HANDLE inner = NULL, copy = NULL;
    ZOR_TABLE_HANDLE rows = NULL, moreRows = NULL;
    ZOR_UBIX_OBJECT_HANDLE found = NULL;
    ZOR_INT number = 0;
    unsigned count = 0;
    OK(ZorGetStructure(data, "INNER", &inner, &info));
    OK(ZorSetInt(inner, "NO", 11, &info));
    copy = ZorCloneStructure(inner, &info);
    EXPECT(copy != NULL);
    OK(ZorSetInt(copy, "NO", 12, &info));
    OK(ZorSetStructure(data, "INNER", copy, &info));
    OK(ZorGetStructureByIndex(data, INNER, &inner, &info));
    OK(ZorGetInt(inner, "NO", &number, &info));
    EXPECT(number == 12);
    OK(ZorSetStructureByIndex(data, INNER, copy, &info));
    OK(ZorDestroyStructure(copy, &info));
    OK(ZorGetTable(data, "ROWS", &rows, &info));
    OK(ZorAppendNewRows(rows, 2, &info));
    moreRows = ZorCloneTable(rows, &info);
    EXPECT(moreRows != NULL && ZorAppendNewRow(moreRows, &info) != NULL);
    OK(ZorSetTable(data, "ROWS", moreRows, &info));
    OK(ZorSetTableByIndex(data, ROWS, moreRows, &info));
    OK(ZorGetTableByIndex(data, ROWS, &rows, &info));
    OK(ZorGetRowCount(rows, &count, &info));
    EXPECT(count == 3);
    OK(ZorDestroyTable(moreRows, &info));
    OK(ZorSetInt(object, "COUNT", 5, &info));
    OK(ZorSetUbixObject(data, "OBJECT", object, &info));
    OK(ZorSetUbixObjectByIndex(data, OBJECT, object, &info));
    OK(ZorGetUbixObject(data, "OBJECT", &found, &info));
    OK(ZorGetUbixObjectByIndex(data, OBJECT, &found, &info));
    OK(ZorGetInt(found, "COUNT", &number, &info));
    EXPECT(number == 5);
    return NULL;
}

static const char* tables(ZOR_TYPE_DESC_HANDLE type) {
    ZOR_INT number = 0;
    unsigned count = 0;
    const ZOR_TABLE_HANDLE table = ZorCreateTable(type, &info);
    const ZOR_STRUCTURE_HANDLE row = ZorCreateStructure(type, &info);
    EXPECT(table != NULL && row != NULL);
    EXPECT(ZorGetRowType(table, &info) == type && ZorDescribeType(row, &info) == type);
    EXPECT(ZorMoveToFirstRow(table, &info) == ZOR_TABLE_MOVE_BOF);
    OK(ZorSetInt(row, "NO", 3, &info));
    OK(ZorAppendRow(table, row, &info));
    OK(ZorSetInt(row, "NO", 2, &info));
    OK(ZorInsertRow(table, row, &info));
    OK(ZorSetInt(ZorInsertNewRow(table, &info), "NO", 1, &info));
    OK(ZorMoveToLastRow(table, &info));
    OK(ZorMoveToPreviousRow(table, &info));
    OK(ZorGetInt(table, "NO", &number, &info));
    EXPECT(number == 2);
    OK(ZorMoveToNextRow(table, &info));
    OK(ZorGetInt(ZorGetCurrentRow(table, &info), "NO", &number, &info));
    EXPECT(number == 3);
    OK(ZorMoveTo(table, 0, &info));
    OK(ZorDeleteCurrentRow(table, &info));
    OK(ZorMoveToFirstRow(table, &info));
    OK(ZorGetRowCount(table, &count, &info));
    EXPECT(count == 2);
    OK(ZorDeleteAllRows(table, &info));
    OK(ZorDestroyTable(table, &info));
    OK(ZorDestroyStructure(row, &info));
    return NULL;
}

static const char* describeFunction(ZOR_TYPE_DESC_HANDLE inner, ZOR_FUNCTION_DESC_HANDLE* function) {
    ZOR_PARAMETER_DESC parameter;
    ZOR_EXCEPTION_DESC exception;
    char name[sizeof(ZOR_UBIX_NAME)];
    unsigned count = 0;
    int able = -1;
    *function = ZorCreateFunctionDesc("TOUR_FUNCTION", &info);
    EXPECT(*function != NULL);
    memset(&parameter, 0, sizeof parameter);
    copyName(parameter.name, "COUNT");
    parameter.type = ZORTYPE_INT;
    parameter.direction = ZOR_IMPORT;
    parameter.nucLength = parameter.ucLength = 4;
    OK(ZorAddParameter(*function, &parameter, &info));
    copyName(parameter.name, "ROWS");
    parameter.type = ZORTYPE_TABLE;
    parameter.direction = ZOR_TABLES;
    parameter.typeDescHandle = inner;
    OK(ZorAddParameter(*function, &parameter, &info));
    memset(&exception, 0, sizeof exception);
    snprintf(exception.key, sizeof exception.key, "NOT_FOUND");
    OK(ZorAddException(*function, &exception, &info));
    OK(ZorGetFunctionName(*function, name, &info));
    EXPECT(strcmp(name, "TOUR_FUNCTION") == 0);
    OK(ZorGetParameterCount(*function, &count, &info));
    EXPECT(count == 2);
    OK(ZorGetParameterDescByIndex(*function, 1, &parameter, &info));
    EXPECT(strcmp(parameter.name, "ROWS") == 0);
    OK(ZorGetParameterDescByName(*function, "COUNT", &parameter, &info));
    EXPECT(parameter.direction == ZOR_IMPORT);
    OK(ZorGetExceptionCount(*function, &count, &info));
    EXPECT(count == 1);
    OK(ZorGetExceptionDescByIndex(*function, 0, &exception, &info));
    OK(ZorGetExceptionDescByName(*function, "NOT_FOUND", &exception, &info));
    EXPECT(strcmp(exception.key, "NOT_FOUND") == 0);
    OK(ZorEnableLUMX(*function, &info));
    OK(ZorIsLUMXSupported(*function, &able, &info));
    EXPECT(able == 1);
    return NULL;
}

static const char* functions(ZOR_FUNCTION_DESC_HANDLE desc, ZOR_UBIX_OBJECT_HANDLE object) {
    int active = -1, enabled = -1;
    const ZOR_FUNCTION_HANDLE function = ZorCreateFunction(desc, &info);
    EXPECT(function != NULL && ZorDescribeFunction(function, &info) == desc);
    OK(ZorSetParameterActive(function, "COUNT", 0, &info));
    OK(ZorIsParameterActive(function, "COUNT", &active, &info));
    EXPECT(active == 0);
    EXPECT(ZorEnableUbixClassException(function, NULL, &info) == ZOR_INVALID_HANDLE); /* needs a connection */
    OK(ZorIsUbixClassExceptionEnabled(function, &enabled, &info));
    EXPECT(enabled == 0);
    EXPECT(ZorGetUbixClassException(function, &info) == NULL);
    EXPECT(ZorSetUbixClassException(function, object, "text", &info) == ZOR_ILLEGAL_STATE); /* not enabled */
    OK(ZorDestroyFunction(function, &info));
    return NULL;
}

/* The repository takes the three descriptions over. */
static const char* repositories(ZOR_TYPE_DESC_HANDLE type, ZOR_FUNCTION_DESC_HANDLE function,
                                ZOR_CLASS_DESC_HANDLE class) {
    ZOR_METADATA_QUERY_RESULT_HANDLE result = NULL;
    ZOR_METADATA_QUERY_RESULT_ENTRY entry;
    char name[sizeof(ZOR_UBIX_NAME)];
    unsigned good = 9, bad = 9;
    OK(ZorAddTypeDesc("TOU", type, &info));
    OK(ZorAddFunctionDesc("TOU", function, &info));
    OK(ZorAddClassDesc("TOU", class, &info));
    EXPECT(ZorGetCachedTypeDesc("TOU", "TOUR_TYPE", &info) != NULL);
    EXPECT(ZorGetCachedFunctionDesc("TOU", "TOUR_FUNCTION", &info) != NULL);
    EXPECT(ZorGetCachedClassDesc("TOU", "CL_TOUR", &info) != NULL);
    OK(ZorRemoveFunctionDesc("TOU", "TOUR_FUNCTION", &info));
    EXPECT(ZorGetCachedFunctionDesc("TOU", "TOUR_FUNCTION", &info) == NULL);
    OK(ZorRemoveTypeDesc("TOU", "TOUR_TYPE", &info));
    OK(ZorRemoveClassDesc("TOU", "CL_TOUR", &info));
    OK(ZorClearRepository("TOU", &info));
    result = ZorCreateMetadataQueryResult(&info);
    EXPECT(result != NULL);
    OK(ZorDescribeMetadataQueryResult(result, ZOR_METADATA_TYPE, &good, &bad, &info));
    EXPECT(good == 0 && bad == 0);
    copyName(name, "kept");
    copyName(entry.name, "kept");
    OK(ZorGetMetadataQueryFailedEntry(result, ZOR_METADATA_TYPE, 0, &entry, &info));
    OK(ZorGetMetadataQuerySucceededEntry(result, ZOR_METADATA_TYPE, 0, name, &info));
    EXPECT(strcmp(entry.name, "kept") == 0 && strcmp(name, "kept") == 0); /* there is no entry */
    OK(ZorDestroyMetadataQueryResult(result, &info));
    return NULL;
}

static const char* configuration(void) {
    KEL_UC** entries = NULL;
    unsigned count = 1;
    OK(ZorSetIniPath("nowhere", &info));
    OK(ZorReloadIniFile(&info));
    OK(ZorSetIniPath(NULL, &info));
    EXPECT(ZorGetKellogonEntries(&entries, &count, &info) == ZOR_NOT_FOUND);
    EXPECT(entries == NULL && count == 0);
    OK(ZorFreeKellogonEntries(&entries, &count, &info));
    return NULL;
}

static const char* destroyed(void) {
    ZOR_TYPE_DESC_HANDLE type = ZorCreateTypeDesc("SHORT_LIVED", &info);
    ZOR_FUNCTION_DESC_HANDLE function = ZorCreateFunctionDesc("SHORT_LIVED", &info);
    ZOR_CLASS_DESC_HANDLE class = ZorCreateClassDesc("SHORT_LIVED", &info);
    OK(ZorDestroyTypeDesc(type, &info));
    OK(ZorDestroyFunctionDesc(function, &info));
    OK(ZorDestroyClassDesc(class, &info));
    return NULL;
}

const char* useEveryDataFunction(void) {
    ZOR_TYPE_DESC_HANDLE inner = NULL, type = NULL;
    ZOR_CLASS_DESC_HANDLE class = NULL;
    ZOR_FUNCTION_DESC_HANDLE function = NULL;
    ZOR_STRUCTURE_HANDLE record = NULL;
    ZOR_UBIX_OBJECT_HANDLE object = NULL;
    PASS(libraryAndTexts());
    PASS(configuration());
    PASS(describeInner(&inner));
    PASS(describeClass(&class));
    PASS(describeRecord(inner, class, &type));
    PASS(describeFunction(inner, &function));
    record = ZorCreateStructure(type, &info);
    object = ZorCreateUbixObject(class, &info);
    EXPECT(record != NULL && object != NULL);
    EXPECT(ZorDescribeUbixObject(object, &info) == class);
    PASS(texts(record));
    PASS(numbers(record));
    PASS(children(record, object));
    PASS(tables(inner));
    PASS(functions(function, object));
    OK(ZorDestroyUbixObject(object, &info));
    OK(ZorDestroyStructure(record, &info));
    PASS(repositories(type, function, class));
    return destroyed();
}
