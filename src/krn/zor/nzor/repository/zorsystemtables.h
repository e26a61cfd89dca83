/**
 * @file
 * The interfaces of the back-end's metadata functions, as data: what has to be known before the back-end can
 * be asked for anything. The lengths and offsets are how calls and their rows travel.
 */
#pragma once

#include <kelzor/types.h>

#include <span>

/** Row types. The number is the release from which on a type has this form. */
enum class ZorSystemRecord {
    ZOR_FUNINT_v3,
    ZOR_FUNINT_v4_6_7,
    RSEXC_v7,
    ZOR_FIELDS_v3,
    X030L_v4_462,
    X030L_v6,
    DFIES_v4,
    DFIES_v6,
    DDTYPELIST_v6,
    DDFIXVALUES_v6,
    SEO_ATTRIBUTES_REMOTE,
    SEO_CLSKEYS,
    ZORFUNCTIONNAME,
    ZOR_MD_DDIC_NAME,
    ZOR_METADATA_PARAMS,
    ZOR_METADATA_DDIC,
    ZOR_METADATA_DDIC_INDIRECT,
    ZOR_FUNC_ERROR,
    ZOR_DD_ERROR,
    none
};

/** Functions. The number is the release from which on a function has this form. */
enum class ZorSystemFunction {
    ZOR_GET_FUNCTION_INTERFACE_v3,
    ZOR_GET_FUNCTION_INTERFACE_v4,
    ZOR_GET_FUNCTION_INTERFACE_v6,
    ZOR_GET_FUNCTION_INTERFACE_v70,
    ZOR_GET_FUNCTION_INTERFACE_v71,
    ZOR_GET_STRUCTURE_DEFINITION_v3,
    DDIF_FIELDINFO_GET_v4,
    DDIF_FIELDINFO_GET_v462,
    DDIF_FIELDINFO_GET_v6,
    SEO_GET_CLIF_REMOTE,
    ZOR_METADATA_GET,
};

/** A field of a row type, lengths and offsets in bytes. */
struct ZorSystemField {
    const KEL_UC* name;
    ZORTYPE type;
    unsigned nucLength;
    unsigned nucOffset;
    unsigned ucLength = 0;
    unsigned ucOffset = 0;
    ZorSystemRecord rows = ZorSystemRecord::none;  ///< Of a table; stands before the record that uses it.
};

/** A row type. With a second length of 0 its second layout isn't given and gets derived. */
struct ZorSystemRecordRow {
    const KEL_UC* name;
    unsigned nucLength;
    unsigned ucLength;
    std::span<const ZorSystemField> fields;
};

/** A parameter. A second length of 0 beside a first one gets derived. */
struct ZorSystemParameter {
    const KEL_UC* name;
    ZORTYPE type;
    ZOR_DIRECTION direction;
    unsigned nucLength;
    unsigned ucLength;
    ZorSystemRecord record = ZorSystemRecord::none;  ///< Of a structure or a table's rows.
    bool optional = false;
};

struct ZorSystemFunctionRow {
    const KEL_UC* name;
    std::span<const ZorSystemParameter> parameters;
};

/** All row types and functions, in the order of their enumerations. */
std::span<const ZorSystemRecordRow> zorSystemRecordRows() noexcept;
std::span<const ZorSystemFunctionRow> zorSystemFunctionRows() noexcept;
