#include "devsys/metadatarows.h"

namespace zordev::metadata {

// Name, type, length and offset with one byte a character.

const StructureDescription FUNINT_3 = {"ZOR_FUNINT",
                                       168,
                                       {
                                           {"PARAMCLASS", ZORTYPE_CHAR, 1, 0},
                                           {"PARAMETER", ZORTYPE_CHAR, 30, 1},
                                           {"TABNAME", ZORTYPE_CHAR, 10, 31},
                                           {"FIELDNAME", ZORTYPE_CHAR, 10, 41},
                                           {"EXID", ZORTYPE_CHAR, 1, 51},
                                           {"POSITION", ZORTYPE_INT, 4, 52},
                                           {"OFFSET", ZORTYPE_INT, 4, 56},
                                           {"INTLENGTH", ZORTYPE_INT, 4, 60},
                                           {"DECIMALS", ZORTYPE_INT, 4, 64},
                                           {"DEFAULT", ZORTYPE_CHAR, 21, 68},
                                           {"PARAMTEXT", ZORTYPE_CHAR, 79, 89},
                                       }};

const StructureDescription FUNINT_4 = {"ZOR_FUNINT",
                                       212,
                                       {
                                           {"PARAMCLASS", ZORTYPE_CHAR, 1, 0},
                                           {"PARAMETER", ZORTYPE_CHAR, 30, 1},
                                           {"TABNAME", ZORTYPE_CHAR, 30, 31},
                                           {"FIELDNAME", ZORTYPE_CHAR, 30, 61},
                                           {"EXID", ZORTYPE_CHAR, 1, 91},
                                           {"POSITION", ZORTYPE_INT, 4, 92},
                                           {"OFFSET", ZORTYPE_INT, 4, 96},
                                           {"INTLENGTH", ZORTYPE_INT, 4, 100},
                                           {"DECIMALS", ZORTYPE_INT, 4, 104},
                                           {"DEFAULT", ZORTYPE_CHAR, 21, 108},
                                           {"PARAMTEXT", ZORTYPE_CHAR, 79, 129},
                                           {"OPTIONAL", ZORTYPE_CHAR, 1, 208},
                                       }};

const StructureDescription FIELDS_3 = {"DFIES",
                                       40,
                                       {
                                           {"TABNAME", ZORTYPE_CHAR, 10, 0},
                                           {"FIELDNAME", ZORTYPE_CHAR, 10, 10},
                                           {"POSITION", ZORTYPE_INT, 4, 20},
                                           {"OFFSET", ZORTYPE_INT, 4, 24},
                                           {"INTLENGTH", ZORTYPE_INT, 4, 28},
                                           {"DECIMALS", ZORTYPE_INT, 4, 32},
                                           {"EXID", ZORTYPE_CHAR, 1, 36},
                                       }};

const StructureDescription X030L_4 = {
    "X030L",
    140,
    {
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
    }};

const StructureDescription X030L_6 = {
    "X030L",
    147,
    {
        {"TABNAME", ZORTYPE_CHAR, 30, 0},    {"DBASE", ZORTYPE_CHAR, 1, 30},
        {"UUID", ZORTYPE_BYTE, 16, 31},      {"CRSTAMP", ZORTYPE_CHAR, 14, 47},
        {"ABSTAMP", ZORTYPE_CHAR, 14, 61},   {"DYSTAMP", ZORTYPE_CHAR, 14, 75},
        {"FLDCNT", ZORTYPE_BYTE, 2, 89},     {"TABLEN", ZORTYPE_BYTE, 4, 91},
        {"KEYCNT", ZORTYPE_BYTE, 1, 95},     {"KEYLEN", ZORTYPE_BYTE, 2, 96},
        {"CLPOS", ZORTYPE_BYTE, 1, 98},      {"TABTYPE", ZORTYPE_CHAR, 1, 99},
        {"TABFORM", ZORTYPE_CHAR, 1, 100},   {"REFNAME", ZORTYPE_CHAR, 30, 101},
        {"FLAGBYTE", ZORTYPE_BYTE, 1, 131},  {"EXROUT", ZORTYPE_BYTE, 1, 132},
        {"FLAG3", ZORTYPE_BYTE, 1, 133},     {"FLAG4", ZORTYPE_BYTE, 1, 134},
        {"FLAG5", ZORTYPE_BYTE, 1, 135},     {"FLAG6", ZORTYPE_BYTE, 1, 136},
        {"BUFSTATE", ZORTYPE_CHAR, 1, 137},  {"BUFPARM", ZORTYPE_BYTE, 2, 138},
        {"ALIGN", ZORTYPE_BYTE, 1, 140},     {"POINTERLG", ZORTYPE_BYTE, 1, 141},
        {"UNICODELG", ZORTYPE_BYTE, 1, 142}, {"COMPCNT", ZORTYPE_BYTE, 2, 143},
        {"LEAFCNT", ZORTYPE_BYTE, 2, 145},
    }};

const StructureDescription DFIES_6 = {
    "DFIES",
    673,
    {
        {"TABNAME", ZORTYPE_CHAR, 30, 0},     {"FIELDNAME", ZORTYPE_CHAR, 30, 30},
        {"LANGU", ZORTYPE_CHAR, 1, 60},       {"POSITION", ZORTYPE_NUM, 4, 61},
        {"OFFSET", ZORTYPE_NUM, 6, 65},       {"DOMNAME", ZORTYPE_CHAR, 30, 71},
        {"ROLLNAME", ZORTYPE_CHAR, 30, 101},  {"CHECKTABLE", ZORTYPE_CHAR, 30, 131},
        {"LENG", ZORTYPE_NUM, 6, 161},        {"INTLEN", ZORTYPE_NUM, 6, 167},
        {"OUTPUTLEN", ZORTYPE_NUM, 6, 173},   {"DECIMALS", ZORTYPE_NUM, 6, 179},
        {"DATATYPE", ZORTYPE_CHAR, 4, 185},   {"INTTYPE", ZORTYPE_CHAR, 1, 189},
        {"REFTABLE", ZORTYPE_CHAR, 30, 190},  {"REFFIELD", ZORTYPE_CHAR, 30, 220},
        {"PRECFIELD", ZORTYPE_CHAR, 30, 250}, {"AUTHORID", ZORTYPE_CHAR, 3, 280},
        {"MEMORYID", ZORTYPE_CHAR, 20, 283},  {"LOGFLAG", ZORTYPE_CHAR, 1, 303},
        {"MASK", ZORTYPE_CHAR, 20, 304},      {"MASKLEN", ZORTYPE_NUM, 4, 324},
        {"CONVEXIT", ZORTYPE_CHAR, 5, 328},   {"HEADLEN", ZORTYPE_NUM, 2, 333},
        {"SCRLEN1", ZORTYPE_NUM, 2, 335},     {"SCRLEN2", ZORTYPE_NUM, 2, 337},
        {"SCRLEN3", ZORTYPE_NUM, 2, 339},     {"FIELDTEXT", ZORTYPE_CHAR, 60, 341},
        {"REPTEXT", ZORTYPE_CHAR, 55, 401},   {"SCRTEXT_S", ZORTYPE_CHAR, 10, 456},
        {"SCRTEXT_M", ZORTYPE_CHAR, 20, 466}, {"SCRTEXT_L", ZORTYPE_CHAR, 40, 486},
        {"KEYFLAG", ZORTYPE_CHAR, 1, 526},    {"LOWERCASE", ZORTYPE_CHAR, 1, 527},
        {"MAC", ZORTYPE_CHAR, 1, 528},        {"GENKEY", ZORTYPE_CHAR, 1, 529},
        {"NOFORKEY", ZORTYPE_CHAR, 1, 530},   {"VALEXI", ZORTYPE_CHAR, 1, 531},
        {"NOAUTHCH", ZORTYPE_CHAR, 1, 532},   {"SIGN", ZORTYPE_CHAR, 1, 533},
        {"DYNPFLD", ZORTYPE_CHAR, 1, 534},    {"F4AVAILABL", ZORTYPE_CHAR, 1, 535},
        {"COMPTYPE", ZORTYPE_CHAR, 1, 536},   {"LFIELDNAME", ZORTYPE_CHAR, 132, 537},
        {"LTRFLDDIS", ZORTYPE_CHAR, 1, 669},  {"BIDICTRLC", ZORTYPE_CHAR, 1, 670},
        {"OUTPUTSTYLE", ZORTYPE_NUM, 2, 671},
    }};

const StructureDescription SEO_ATTRIBUTES = {"SEO_ATTRIBUTES_REMOTE",
                                             316,
                                             {
                                                 {"CLIF_NAME", ZORTYPE_CHAR, 30, 0},
                                                 {"ATTRIBUTE_NAME", ZORTYPE_CHAR, 30, 30},
                                                 {"VISIBILITY", ZORTYPE_NUM, 1, 60},
                                                 {"ATTRIBUTE_KIND", ZORTYPE_NUM, 1, 61},
                                                 {"READ_ONLY", ZORTYPE_CHAR, 1, 62},
                                                 {"RTTI_TYPE", ZORTYPE_STRING, 8, 64},
                                                 {"DATA_TYPE", ZORTYPE_CHAR, 1, 72},
                                                 {"TYPE_NAME", ZORTYPE_STRING, 8, 76},
                                                 {"FIELD_NAME", ZORTYPE_CHAR, 30, 84},
                                                 {"LENGTH", ZORTYPE_INT, 4, 116},
                                                 {"DECIMALS", ZORTYPE_INT, 4, 120},
                                                 {"DEFAULT_VALUE", ZORTYPE_CHAR, 132, 124},
                                                 {"DESCRIPTION", ZORTYPE_CHAR, 60, 256},
                                             }};

const StructureDescription SEO_CLSKEYS = {"SEO_CLSKEYS",
                                          30,
                                          {
                                              {"CLSNAME", ZORTYPE_CHAR, 30, 0},
                                          }};

const StructureDescription FUNCTION_NAME = {"ZORFUNCTIONNAME",
                                            45,
                                            {
                                                {"FUNCTIONNAME", ZORTYPE_CHAR, 30, 0},
                                                {"LUMX_SUPPORTED", ZORTYPE_CHAR, 1, 30},
                                                {"UDAT", ZORTYPE_DATE, 8, 31},
                                                {"UTIME", ZORTYPE_TIME, 6, 39},
                                            }};

const StructureDescription TYPE_NAME = {"MD_DDIC_NAME",
                                        60,
                                        {
                                            {"TABNAME", ZORTYPE_CHAR, 30, 0},
                                            {"FIELDNAME", ZORTYPE_CHAR, 30, 30},
                                        }};

const StructureDescription METADATA_PARAMS = {"ZOR_METADATA_PARAMS",
                                              244,
                                              {
                                                  {"FUNCNAME", ZORTYPE_CHAR, 30, 0},
                                                  {"PARAMCLASS", ZORTYPE_CHAR, 1, 32},
                                                  {"PARAMETER", ZORTYPE_CHAR, 30, 33},
                                                  {"TABNAME", ZORTYPE_CHAR, 30, 63},
                                                  {"FIELDNAME", ZORTYPE_CHAR, 30, 93},
                                                  {"EXID", ZORTYPE_CHAR, 1, 123},
                                                  {"POSITION", ZORTYPE_INT, 4, 124},
                                                  {"OFFSET", ZORTYPE_INT, 4, 128},
                                                  {"INTLENGTH", ZORTYPE_INT, 4, 132},
                                                  {"DECIMALS", ZORTYPE_INT, 4, 136},
                                                  {"DEFAULT", ZORTYPE_CHAR, 21, 140},
                                                  {"PARAMTEXT", ZORTYPE_CHAR, 79, 161},
                                                  {"OPTIONAL", ZORTYPE_CHAR, 1, 240},
                                              }};

const StructureDescription METADATA_DDIC = {"ZOR_METADATA_DDIC",
                                            212,
                                            {
                                                {"TYPENAME", ZORTYPE_CHAR, 30, 0},
                                                {"FIELDNAME", ZORTYPE_CHAR, 30, 30},
                                                {"COMPTYPE", ZORTYPE_CHAR, 1, 60},
                                                {"FIELDTYPE", ZORTYPE_CHAR, 30, 61},
                                                {"DATATYPE", ZORTYPE_CHAR, 4, 91},
                                                {"TABLENGTH", ZORTYPE_NUM, 6, 95},
                                                {"TABLENGTH_UC", ZORTYPE_NUM, 6, 101},
                                                {"DESCRIPTION", ZORTYPE_CHAR, 60, 107},
                                                {"DECIMALS", ZORTYPE_NUM, 6, 167},
                                                {"INTTYPE", ZORTYPE_CHAR, 1, 173},
                                                {"OFFSET", ZORTYPE_CHAR, 6, 174},
                                                {"OFFSET_UC", ZORTYPE_CHAR, 6, 180},
                                                {"INTLEN", ZORTYPE_CHAR, 6, 186},
                                                {"INTLEN_UC", ZORTYPE_CHAR, 6, 192},
                                                {"TIMESTAMP", ZORTYPE_CHAR, 14, 198},
                                            }};

const StructureDescription METADATA_INDIRECT = {"ZOR_METADATA_DDIC_INDIRECT",
                                                90,
                                                {
                                                    {"TABNAME", ZORTYPE_CHAR, 30, 0},
                                                    {"FIELDNAME", ZORTYPE_CHAR, 30, 30},
                                                    {"FIELDTYPE", ZORTYPE_CHAR, 30, 60},
                                                }};

const StructureDescription FUNC_ERROR = {"ZOR_FUNC_ERROR",
                                         315,
                                         {
                                             {"FUNCNAME", ZORTYPE_CHAR, 30, 0},
                                             {"EXCEPTION", ZORTYPE_CHAR, 30, 30},
                                             {"EXCEPTION_TEXT", ZORTYPE_CHAR, 255, 60},
                                         }};

const StructureDescription DD_ERROR = {"ZOR_DD_ERROR",
                                       345,
                                       {
                                           {"TABNAME", ZORTYPE_CHAR, 30, 0},
                                           {"FIELDNAME", ZORTYPE_CHAR, 30, 30},
                                           {"EXCEPTION", ZORTYPE_CHAR, 30, 60},
                                           {"EXCEPTION_TEXT", ZORTYPE_CHAR, 255, 90},
                                       }};

}  // namespace zordev::metadata
