#include "trace/zortrace.h"
#include "wire/zorcontrol.h"

void ZorControl::writeTraceEntry(KEL_ofstream* trace) const {
    const struct {
        std::string_view key;
        std::string_view value;
    } texts[] = {
        {"Role", {&zor_role, 1}},
        {"Partner Type", {&partner_type, 1}},
        {"Own Release", own_rel.view()},
        {"Partner Release", partner_rel.view()},
        {"Kernel Release", kernel_rel.view()},
        {"Partner Host", target.view()},
        {"Partner IP", partner_ip.view()},
        {"Destination", destination.view()},
        {"SysID", sysid.view()},
        {"SysNr", systnr.view()},
        {"Client", mandt.view()},
        {"User", userid.view()},
        {"Alias", alias_user.view()},
        {"Language", lang.view()},
        {"Program", progname.view()},
        {"Conversation ID", convId.view()},
        {"Own Codepage", codepage.view()},
        {"Communication Codepage", communication_cp.view()},
        {"Partner System Codepage", system_cp.view()},
    };
    for (const auto& [key, value] : texts)
        ZorTrace::writeKeyValue(trace, key, value);
    ZorTrace::writeKeyValue(trace, "Partner Char Size", std::to_string(pcs));
    ZorTrace::writeKeyValue(trace, "Delta", delta, true);
    ZorTrace::writeKeyValue(trace, "Lumx", supportLumx, true);
    ZorTrace::writeKeyValue(trace, "Connected", connected, true);
}
