#include "server/zorserverfunctions.h"

#include <mutex>

#include "config/immortal.h"
#include "data/zortable.h"
#include "server/zorsystemfunctions.h"
#include "trace/zortracefunctions.h"

namespace {

/** Divides a function's name from the system that it was installed for. */
constexpr char systemMark = '@';

KEL_string keyOf(std::string_view sysId, std::string_view funcName) {
    KEL_string key(funcName);
    if (!sysId.empty()) (key += systemMark) += sysId;
    return key;
}

}  // namespace

ZorServerFunctions::ZorServerFunctions() : systemFuncs(zorSystemFunctions()) {}

ZorServerFunctions& ZorServerFunctions::get() {
    static Immortal<ZorServerFunctions> tables;
    return tables.value;
}

std::optional<ZorFunctionStub> ZorServerFunctions::getFunctionStub(std::string_view sysId,
                                                                   std::string_view funcName,
                                                                   unsigned traceLevel) const {
    if (traceLevel > 0)
        ZorTraceWrite("Looking up ServerFunction for %s from %s.", KEL_string(funcName).c_str(),
                      KEL_string(sysId).c_str());
    const std::shared_lock lock(cs_zorServer);
    const ZorFunctionStub* const stub = find(sysId, funcName, traceLevel);
    return stub != nullptr ? std::optional(*stub) : std::nullopt;
}

const ZorFunctionStub* ZorServerFunctions::find(std::string_view sysId, std::string_view funcName,
                                                unsigned traceLevel) const {
    const auto found = [traceLevel](const Stubs::const_iterator& at, const KEL_UC* where) {
        if (traceLevel > 0) ZorTraceWrite("Found %s.", where);
        return &at->second;
    };
    const KEL_string name(funcName);
    if (const auto at = systemFuncs.find(funcName); at != systemFuncs.end())
        return found(at, "system function");
    if (serverFuncs.empty()) return nullptr;
    if (!sysId.empty())
        if (const auto at = serverFuncs.find(keyOf(sysId, funcName)); at != serverFuncs.end())
            return found(at, ("user function in cache for " + name).c_str());
    if (const auto at = serverFuncs.find(funcName); at != serverFuncs.end())
        return found(at, "user function in global cache");
    if (traceLevel > 0) ZorTraceWrite("Function %s not found.", name.c_str());
    return nullptr;
}

void ZorServerFunctions::setFunctionStub(std::string_view sysId, ZorMetaDataRef<ZorFunctionMetaData> desc,
                                         ZOR_SERVER_FUNCTION imp) {
    if (desc.get() == nullptr || desc->getName().empty()) return;
    const KEL_string key = keyOf(sysId, desc->getName());
    const std::unique_lock lock(cs_zorServer);
    if (imp == nullptr)
        serverFuncs.erase(key);
    else
        serverFuncs.insert_or_assign(key, ZorFunctionStub{std::move(desc), imp});
}

void ZorServerFunctions::setGenericFunctionStub(const ZorGenericFunction& function) {
    const std::unique_lock lock(cs_zorServer);
    generic = function;
}

ZorGenericFunction ZorServerFunctions::getGenericFunctionStub() const {
    const std::shared_lock lock(cs_zorServer);
    return generic;
}

void ZorServerFunctions::getFunctionList(std::string_view sysId, ZorTable& functionList) const {
    const std::shared_lock lock(cs_zorServer);
    for (const auto& [key, stub] : serverFuncs) {
        const size_t mark = key.find(systemMark);
        if (mark != KEL_string::npos && std::string_view(key).substr(mark + 1) != sysId) continue;
        const std::string_view name = std::string_view(key).substr(0, mark);
        if (name.empty()) continue;
        functionList.appendNewRow().setValue(0, name.data(), static_cast<unsigned>(name.size()),
                                             ZORTYPE_CHAR);
    }
}
