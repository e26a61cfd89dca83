#include "server/zorsystemfunctions.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "config/zorsysteminfo.h"
#include "connection/zorconnection.h"
#include "data/zorfunction.h"
#include "data/zorstructure.h"
#include "data/zortable.h"
#include "meta/zorrecordmetadata.h"
#include "server/zorserverfunctions.h"

namespace {

constexpr const KEL_UC* origin = "Static";

/** A character field and its length in characters. */
struct TextField {
    const KEL_UC* name;
    unsigned length;
};

constexpr TextField functionListRow[] = {{"Text", 80}};

constexpr TextField systemInfo[] = {
    {"Zorproto", 3},   {"Zorchartyp", 4}, {"Zorinttyp", 3}, {"Zorflotyp", 3},   {"Zordest", 32},
    {"Zorhost", 8},    {"Zorsysid", 8},   {"Zordatabs", 8}, {"Zordbhost", 32},  {"Zordbsys", 10},
    {"Zorkelrl", 4},   {"Zormach", 5},    {"Zoropsys", 10}, {"Zortzone", 6},    {"Zordayst", 1},
    {"Zoripaddr", 15}, {"Zorkernrl", 4},  {"Zorhost2", 32}, {"Zorsi_resv", 12}, {"Zoripv6addr", 45},
};

using RecordRef = ZorMetaDataRef<ZorRecordMetaData>;

RecordRef recordOf(std::string_view name, std::span<const TextField> fields) {
    RecordRef made = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(
        name, origin, static_cast<unsigned>(fields.size()), false);
    unsigned offset = 0;
    for (const TextField& field : fields) {
        made->add(field.name, ZORTYPE_CHAR, field.length, offset, 2 * field.length, 2 * offset, 0);
        offset += field.length;
    }
    made->setRecordLength(offset, 2 * offset);
    made->lock();
    return made;
}

void set(ZorRecord& record, std::string_view field, std::string_view text) {
    record.setValue(record.getIndex(field), text.data(), static_cast<unsigned>(text.size()), ZORTYPE_CHAR);
}

ZOR_RC answerPing(ZorConnection&, ZorFunction&) {
    return ZOR_OK;
}

ZOR_RC tellSystemInfo(ZorConnection&, ZorFunction& call) {
    ZorParameter* const wanted = call.getParameter("ZORSI_EXPORT", false);
    if (wanted == nullptr) return ZOR_OK;
    ZorStructure* info = nullptr;
    wanted->getValue(0, &info, true);
    const ZorHostInfo& host = initZorSysInfo();
    const KEL_string& release = kelSystemInfo().kern_rel;
    set(*info, "Zorproto", "011");
    set(*info, "Zorchartyp", "1100");
    set(*info, "Zorsysid", "(extern)");
    set(*info, "Zordest", std::string_view(host.hostName).substr(0, 32));
    set(*info, "Zoripaddr", std::string_view(host.ip_address).substr(0, 15));
    set(*info, "Zoripv6addr", std::string_view(host.ip_addressv6).substr(0, 45));
    set(*info, "Zormach", "  387");
    set(*info, "Zorkelrl", release);
    set(*info, "Zorkernrl", release);
    return ZOR_OK;
}

ZOR_RC setServerProperty(ZorConnection& conn, ZorFunction& call) {
    KEL_CHAR exclusive = ' ';
    call.getValue(call.getIndex("EXCLUSIV"), &exclusive, 1, ZORTYPE_CHAR, nullptr);
    if (exclusive == 'Y') conn.control.reg_exclusiv = true;
    if (exclusive == 'N' || exclusive == 'E') conn.control.reg_exclusiv = false;
    return ZOR_OK;
}

ZOR_RC listFunctions(ZorConnection& conn, ZorFunction& call) {
    ZorParameter* const wanted = call.getParameter("DOCU", false);
    if (wanted == nullptr) return ZOR_OK;
    ZorTable* list = nullptr;
    wanted->getValue(0, &list, true);
    ZorServerFunctions::get().getFunctionList(conn.control.sysid.view(), *list);
    return ZOR_OK;
}

ZorMetaDataRef<ZorFunctionMetaData> open(std::string_view name) {
    return ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>(name, origin, 1, false);
}

}  // namespace

std::map<std::string, ZorFunctionStub, std::less<>> zorSystemFunctions() {
    auto ping = open("ZOR_PING");
    auto info = open("ZOR_SYSTEM_INFO");
    const RecordRef infoRecord = recordOf("ZORSI", systemInfo);
    info->add("ZORSI_EXPORT", ZORTYPE_STRUCTURE, ZOR_EXPORT, 245, 490, 0, infoRecord.get());
    auto property = open("ZOR_SET_REG_SERVER_PROPERTY");
    property->add("EXCLUSIV", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2, 0);
    auto list = open("ZOR_DOCU");
    const RecordRef listRow = recordOf("ZORDOCU", functionListRow);
    list->add("DOCU", ZORTYPE_TABLE, ZOR_TABLES, 80, 160, 0, listRow.get());
    const struct {
        ZorMetaDataRef<ZorFunctionMetaData>& description;
        ZorFunctionStub::SystemFunction function;
    } all[] = {
        {ping, answerPing},
        {info, tellSystemInfo},
        {property, setServerProperty},
        {list, listFunctions},
    };
    std::map<std::string, ZorFunctionStub, std::less<>> stubs;
    for (const auto& [description, function] : all) {
        description->lock();
        stubs[description->getName()] = {description, nullptr, function};
    }
    return stubs;
}
