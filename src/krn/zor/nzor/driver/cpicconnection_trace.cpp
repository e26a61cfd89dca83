// What the trace shows of a conversation.

#include "driver/cpicconnection.h"
#include "trace/zortrace.h"

namespace {

/** Local date and time; empty if nothing was sent or received yet. */
KEL_string timeText(std::time_t time) {
    std::tm parts{};
    KEL_UC text[32];
    if (time == 0 || ::localtime_r(&time, &parts) == nullptr) return {};
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d, %H:%M:%S", &parts)};
}

/** A route may hold the passwords of routers, which nobody is told. */
KEL_string withoutPasswords(const KEL_string& route) {
    KEL_string shown(route.size() * 2 + sizeof "<pass>", '\0');
    NiSecStr(route, shown);
    return shown.c_str();
}

void writeVslData(KEL_ofstream* trace, const CPIC_VSL_DATA& vsl) {
    ZorTrace::writeKeyValue(trace, "VSL Version", std::to_string(vsl.version));
    ZorTrace::writeKeyValue(trace, "VSL Partnername", vsl.partnername);
    ZorTrace::writeKeyValue(trace, "VSL Myname", vsl.myname);
    ZorTrace::writeKeyValue(trace, "VSL Lib", vsl.lib);
    ZorTrace::writeKeyValue(trace, "VSL Mode", std::to_string(vsl.mode));
    ZorTrace::writeKeyValue(trace, "VSL QOP", std::to_string(vsl.qop));
    ZorTrace::writeKeyValue(trace, "VSL Role", std::to_string(vsl.role));
}

}  // namespace

void CpicConnection::writeTraceEntry(KEL_ofstream* trace) const {
    constexpr std::string_view kind = "CpicConnection";
    NI_HDL handle = cpicHandle;
    if (handle == 0 && (deallocated || KEL_CMNIHANDLE(convId.data(), &handle, nullptr) != CM_OK))
        handle = NI_INVALID_HDL;
    ZorTrace::beginEntry(trace, kind, {});
    ZorTrace::writeKeyValue(trace, "CPIC Handle", std::to_string(handle));
    ZorTrace::writeKeyValue(trace, "Gateway Host", withoutPasswords(target.gwhost));
    ZorTrace::writeKeyValue(trace, "Gateway Service", target.gwserv);
    ZorTrace::writeKeyValue(trace, "AS Host", withoutPasswords(target.ashost));
    ZorTrace::writeKeyValue(trace, "AS Service", target.asserv);
    ZorTrace::writeKeyValue(trace, "Program ID", target.tpname);
    ZorTrace::writeKeyValue(trace, "Protocol", {&protocol, 1});
    const std::string_view id(reinterpret_cast<const KEL_UC*>(convId.data()), convId.size());
    ZorTrace::writeKeyValue(trace, "Conversation ID", id.substr(0, id.find('\0')));
    if (vslData) writeVslData(trace, *vslData);
    ZorTrace::writeKeyValue(trace, "Last IO Time", timeText(lastIoTime));
    ZorTrace::writeKeyValue(trace, "Data Received", std::to_string(dataReceived));
    ZorTrace::writeKeyValue(trace, "Status Received", std::to_string(statusReceived));
    const struct {
        std::string_view key;
        bool value;
    } flags[] = {{"All Received", allReceived},  {"Connected", connected},    {"Deallocated", deallocated},
                 {"Accepted", accepted},         {"Server Mode", serverMode}, {"Registered Mode", registered},
                 {"Just Accepted", justAccepted}};
    for (const auto& [key, value] : flags)
        ZorTrace::writeKeyValue(trace, key, value, true);
    ZorTrace::endEntry(trace, kind, {});
}
