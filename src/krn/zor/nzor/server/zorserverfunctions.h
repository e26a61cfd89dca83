/** @file The tables of functions that this process serves. */
#pragma once

#include <kelzor/server.h>

#include <functional>
#include <map>
#include <optional>
#include <shared_mutex>

#include "meta/zorfunctionmetadata.h"

class ZorConnection;
class ZorFunction;
class ZorTable;

/** How a function is served: by what, and by which description its parameters are read. */
struct ZorFunctionStub {
    /** A function of the library itself. */
    using SystemFunction = ZOR_RC (*)(ZorConnection& conn, ZorFunction& call);

    ZorMetaDataRef<ZorFunctionMetaData> meta;
    ZOR_SERVER_FUNCTION imp = nullptr;  ///< The user's; null for a system function.
    SystemFunction system = nullptr;
};

/** The generic function and the provider of descriptions for it; both or none. */
struct ZorGenericFunction {
    ZOR_SERVER_FUNCTION imp = nullptr;
    ZOR_FUNC_DESC_CALLBACK provider = nullptr;
};

/** The tables of the process. All operations may be called from any thread. */
class ZorServerFunctions {
  public:
    static ZorServerFunctions& get();

    /**
     * The stub of a function: a system function goes before all, then one that was installed for the
     * partner's system, then one for all systems. Nothing if there is none.
     */
    std::optional<ZorFunctionStub> getFunctionStub(std::string_view sysId, std::string_view funcName,
                                                   unsigned traceLevel) const;
    /**
     * Installs a function for one system, or for all with an empty id; a null `imp` removes it. A description
     * without a name changes nothing.
     */
    void setFunctionStub(std::string_view sysId, ZorMetaDataRef<ZorFunctionMetaData> desc,
                         ZOR_SERVER_FUNCTION imp);
    void setGenericFunctionStub(const ZorGenericFunction& function);
    ZorGenericFunction getGenericFunctionStub() const;
    /** Appends the names of the functions that a system can call, in the order of the table. */
    void getFunctionList(std::string_view sysId, ZorTable& functionList) const;

    ZorServerFunctions();

  private:
    using Stubs = std::map<KEL_string, ZorFunctionStub, std::less<>>;

    const ZorFunctionStub* find(std::string_view sysId, std::string_view funcName, unsigned traceLevel) const;

    const Stubs systemFuncs;                 ///< By name; never changed.
    mutable std::shared_mutex cs_zorServer;  ///< Guards what stands below; calls share it.
    Stubs serverFuncs;                       ///< By name, or by name, "@" and system id.
    ZorGenericFunction generic;
};
