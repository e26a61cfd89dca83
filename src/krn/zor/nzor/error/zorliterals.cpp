#include "error/zorliterals.h"

#include <iterator>

#include "error/zorexception.h"

namespace {

/** Looks a number up in a table indexed by it; the default stands for gaps and for what lies beyond. */
template <size_t size>
const KEL_UC* nameIn(const KEL_UC* const (&table)[size], int value, const KEL_UC* otherwise) noexcept {
    const auto index = static_cast<unsigned>(value);
    return index < size && table[index] != nullptr ? table[index] : otherwise;
}

constexpr const KEL_UC* rcNames[] = {
    "ZOR_OK",
    "ZOR_COMMUNICATION_FAILURE",
    "ZOR_LOGON_FAILURE",
    "ZOR_UBIX_RUNTIME_FAILURE",
    "ZOR_UBIX_MESSAGE",
    "ZOR_UBIX_EXCEPTION",
    "ZOR_CLOSED",
    "ZOR_CANCELED",
    "ZOR_TIMEOUT",
    "ZOR_MEMORY_INSUFFICIENT",
    "ZOR_VERSION_MISMATCH",
    "ZOR_INVALID_PROTOCOL",
    "ZOR_SERIALIZATION_FAILURE",
    "ZOR_INVALID_HANDLE",
    "ZOR_RETRY",
    "ZOR_EXTERNAL_FAILURE",
    "ZOR_EXECUTED",
    "ZOR_NOT_FOUND",
    "ZOR_NOT_SUPPORTED",
    "ZOR_ILLEGAL_STATE",
    "ZOR_INVALID_PARAMETER",
    "ZOR_CODEPAGE_CONVERSION_FAILURE",
    "ZOR_CONVERSION_FAILURE",
    "ZOR_BUFFER_TOO_SMALL",
    "ZOR_TABLE_MOVE_BOF",
    "ZOR_TABLE_MOVE_EOF",
    "ZOR_START_KELGUI_FAILURE",
    "ZOR_UBIX_CLASS_EXCEPTION",
    "ZOR_UNKNOWN_ERROR",
    "ZOR_AUTHORIZATION_FAILURE",
};
static_assert(std::size(rcNames) == _ZOR_RC_max_value);

// Indexed by number; a gap in the numbers is a null entry.
constexpr const KEL_UC* typeNames[] = {
    "ZORTYPE_CHAR",
    "ZORTYPE_DATE",
    "ZORTYPE_BCD",
    "ZORTYPE_TIME",
    "ZORTYPE_BYTE",
    "ZORTYPE_TABLE",
    "ZORTYPE_NUM",
    "ZORTYPE_FLOAT",
    "ZORTYPE_INT",
    "ZORTYPE_INT2",
    "ZORTYPE_INT1",
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    "ZORTYPE_UBIXOBJECT",
    "ZORTYPE_STRUCTURE",
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    "ZORTYPE_DECF16",
    "ZORTYPE_DECF34",
    nullptr,
    nullptr,
    nullptr,
    "ZORTYPE_XMLDATA",
    "ZORTYPE_STRING",
    "ZORTYPE_XSTRING",
    "ZORTYPE_INT8",
    "ZORTYPE_UTCLONG",
    "ZORTYPE_UTCSECOND",
    "ZORTYPE_UTCMINUTE",
    "ZORTYPE_DTDAY",
    "ZORTYPE_DTWEEK",
    "ZORTYPE_DTMONTH",
    "ZORTYPE_TSECOND",
    "ZORTYPE_TMINUTE",
    "ZORTYPE_CDAY",
    "ZORTYPE_BOX",
    "ZORTYPE_GENERIC_BOX",
};
static_assert(std::size(typeNames) == _ZORTYPE_max_value);

constexpr const KEL_UC* directionNames[] = {
    nullptr, "ZOR_IMPORT", "ZOR_EXPORT", "ZOR_CHANGING", nullptr, nullptr, nullptr, "ZOR_TABLES",
};

constexpr const KEL_UC* serverStateNames[] = {
    "ZOR_SERVER_INITIAL", "ZOR_SERVER_STARTING", "ZOR_SERVER_RUNNING",
    "ZOR_SERVER_BROKEN",  "ZOR_SERVER_STOPPING", "ZOR_SERVER_STOPPED",
};

}  // namespace

const KEL_UC* zorRcName(ZOR_RC rc) noexcept {
    return nameIn(rcNames, rc, "");
}

const KEL_UC* zorTypeName(ZORTYPE type) noexcept {
    return nameIn(typeNames, type, "ZORTYPE_NULL");
}

const KEL_UC* zorDirectionName(ZOR_DIRECTION direction) noexcept {
    return nameIn(directionNames, direction, "ZOR_UKNOWN_DIRECTION");
}

const KEL_UC* zorServerStateName(ZOR_SERVER_STATE state) noexcept {
    return nameIn(serverStateNames, state, "ZOR_UKNOWN_STATE");
}
