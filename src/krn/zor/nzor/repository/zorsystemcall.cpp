#include "repository/zorsystemcall.h"

#include "connection/zorconnection.h"
#include "wire/zorid.h"

namespace {

/** Values of UCLEN: the layout with 2-byte, and with 1-byte characters. */
constexpr KEL_RAW ddifFieldInfoGetUC = 0x02;
constexpr KEL_RAW ddifFieldInfoGetNUC = 0x01;

/** Highest version that answers with one layout only, whatever is asked for. */
constexpr unsigned lastWithOneLayout = 463;

}  // namespace

ZorParameter* ZorSystemCall::named(std::string_view name) noexcept {
    const unsigned index = findIndex(name);
    return index < getFieldCount() ? &parameter(index) : nullptr;
}

bool ZorSystemCall::setText(std::string_view name, std::string_view text) {
    ZorParameter* const target = named(name);
    if (target == nullptr) return true;
    if (text.size() > target->desc().length1) return false;
    target->setValue(0, text.data(), static_cast<unsigned>(text.size()), ZORTYPE_CHAR);
    return true;
}

std::string_view ZorSystemCall::getText(std::string_view name) noexcept {
    ZorParameter* const source = named(name);
    if (source == nullptr) return {};
    const std::string_view text(reinterpret_cast<const KEL_UC*>(source->getBuffer(0)),
                                source->desc().length1);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

ZorTable& ZorSystemCall::table(std::string_view name) {
    ZorTable* rows = nullptr;
    named(name)->getValue(0, &rows, true);
    return *rows;
}

ZorStructure& ZorSystemCall::structure(std::string_view name) {
    ZorStructure* fields = nullptr;
    named(name)->getValue(0, &fields, true);
    return *fields;
}

void ZorSystemCall::run(ZorConnection& connection) {
    setTraceLevel(connection.getTraceLevel());
    zorCallReceive(connection, ZORID_NotUsed);
}

ZorSystemFunction ZOR_GET_FUNCTION_INTERFACE::formOf(unsigned version) noexcept {
    if (version < 400) return ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v3;
    if (version < 600) return ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v4;
    if (version < 700) return ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v6;
    if (version < 702) return ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v70;
    return ZorSystemFunction::ZOR_GET_FUNCTION_INTERFACE_v71;
}

ZorSystemFunction DDIF_FIELDINFO_GET_v462_6::formOf(unsigned version) {
    if (version < 462)
        throw ZorBaseException(ZOR_UNKNOWN_ERROR, EXTERNAL_RUNTIME_FAILURE, "INTERNAL_ERROR",
                               "Inconsistency in metadata handling. Contact KEL Support.");
    return version <= 500 ? ZorSystemFunction::DDIF_FIELDINFO_GET_v462
                          : ZorSystemFunction::DDIF_FIELDINFO_GET_v6;
}

void DDIF_FIELDINFO_GET_v462_6::setUCLEN(bool unicode) {
    if (getVersion() <= lastWithOneLayout) return;
    const KEL_RAW value = unicode ? ddifFieldInfoGetUC : ddifFieldInfoGetNUC;
    if (ZorParameter* const layout = getUCLEN()) layout->setValue(0, &value, 1, ZORTYPE_BYTE);
}
