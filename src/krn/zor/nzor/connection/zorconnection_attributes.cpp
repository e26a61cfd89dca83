// What a connection tells about itself, to callers and to its driver.

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "config/zorconfig.h"
#include "connection/zorconnection.h"
#include "driver/cpicconnection.h"
#include "krn/rscp/rscplanguage.h"
#include "trace/zortrace.h"

namespace {

/** Copies a text that fits with its terminator; any other leaves the target empty. */
template <size_t size>
void put(KEL_UC (&target)[size], std::string_view text) noexcept {
    if (text.size() < size) std::memcpy(target, text.data(), text.size());
}

std::string_view withoutTrailingBlanks(std::string_view text) noexcept {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

/** Whether a partner of this code page has one byte per character. */
bool isOneByteCodepage(std::string_view codepage) noexcept {
    const int number = std::atoi(KEL_string(codepage).c_str());
    switch (number) {
        case 6100:
        case 6200:
        case 6500:
        case 8600:
        case 8700:
            return true;
        default:
            return number < 2000;
    }
}

/** Only the side that accepted a conversation knows what the other one brought along. */
void checkAccepted(const ZorIOStream& driver) {
    if (!driver.accepted) throw ZorIllegalStateException("");
}

}  // namespace

void ZorConnection::getZorAttributes(ZOR_ATTRIBUTES& attributes) const {
    std::memset(&attributes, 0, sizeof attributes);
    put(attributes.dest, control.destination.view());
    put(attributes.host, CpicConnection::getOwnHostName());
    put(attributes.partnerHost, control.target.view());
    put(attributes.sysNumber, control.systnr.view());
    put(attributes.sysId, control.sysid.view());
    put(attributes.client, control.mandt.view());
    put(attributes.user, control.userid.view());
    put(attributes.language, control.lang.view());
    attributes.trace[0] = traceLevel <= 3 ? static_cast<KEL_UC>('0' + traceLevel) : '0';
    if (!control.lang.empty()) rscpLangKelToIso(attributes.isoLanguage, control.lang.c_str());
    put(attributes.codepage, control.codepage.view());
    put(attributes.partnerCodepage, control.charset.view());
    put(attributes.zorRole, {&control.zor_role, 1});
    put(attributes.type, "E");
    put(attributes.partnerType, {&control.partner_type, 1});
    put(attributes.rel, control.own_rel.view());
    put(attributes.partnerRel, control.partner_rel.view());
    put(attributes.kernelRel, control.kernel_rel.view());
    put(attributes.cpicConvId, control.convId.view());
    put(attributes.progName, withoutTrailingBlanks(control.progname.view()));
    put(attributes.partnerBytesPerChar, isOneByteCodepage(control.charset.view()) ? "1" : "2");
    put(attributes.partnerSystemCodepage, control.system_cp.view());
}

void ZorConnection::getPartnerSSO(KEL_UC* ticket, unsigned* length) const {
    checkAccepted(*cpic_tcp);
    const unsigned room = *length;
    *length = static_cast<unsigned>(logonData.sso2.size());
    if (room < *length) throw ZorBufferTooSmallException("Buffer too small for the logon ticket");
    std::ranges::copy(logonData.sso2, ticket);
}

// Conversations aren't secured in this build: such a one has an empty name and no key.
void ZorConnection::getVslPartnerName(KEL_UC* vslName, unsigned) const {
    checkAccepted(*cpic_tcp);
    *vslName = 0;
}

void ZorConnection::getVslPartnerKey(KEL_RAW*, unsigned* length) const {
    checkAccepted(*cpic_tcp);
    *length = 0;
}

void ZorConnection::setConvId(const KEL_RAW* convId) noexcept {
    constexpr size_t convIdLength = 8;
    control.convId.clear();
    if (convId != nullptr) control.convId.assign({reinterpret_cast<const KEL_UC*>(convId), convIdLength});
}

KEL_string ZorConnection::traceCodepage() const {
    return KEL_string(control.codepage.view());
}

void ZorConnection::writeTraceEntry(KEL_ofstream* trace) {
    constexpr std::string_view kind = "ZorConnection";
    ZorTrace::beginEntry(trace, kind, {});
    ZorTrace::writeKeyValue(trace, "Handle", std::to_string(reinterpret_cast<uintptr_t>(handle())));
    ZorTrace::writeKeyValue(trace, "Trace", std::to_string(traceLevel));
    control.writeTraceEntry(trace);
    ZorTrace::endEntry(trace, kind, {});
    cpic_tcp->writeTraceEntry(trace);
}

void ZorConnection::setTraceLevel(unsigned level, bool exported) noexcept {
    if (exported && !ZorConfig::getAcceptExportedTrace()) return;
    traceLevel = level;
    cpic_tcp->traceLevel = level;
}
