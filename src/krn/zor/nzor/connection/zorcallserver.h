/** @file What serves the calls that a partner makes on a connection; the layer above implements it. */
#pragma once

#include <kelzor/error.h>

#include <memory>
#include <string>
#include <string_view>

class ZorConnection;
struct ZorOptions;

class ZorCallServer {
  public:
    using Maker = std::unique_ptr<ZorCallServer> (*)();

    virtual ~ZorCallServer() = default;

    /**
     * Serves one call, whose name was read and whose parameters weren't: runs the function and sends its
     * results. What is to be answered as a failure is thrown; a ZorUBIXClassException was answered already.
     *
     * @param errorInfo takes what the function reports; may be NULL.
     */
    virtual ZOR_RC dispatch(ZorConnection& conn, const std::string& funcName, ZOR_ERROR_INFO* errorInfo) = 0;

    /** Takes from the options who may call; before the first call. */
    virtual void setupAccessControl(const ZorOptions& options) = 0;
    /** Throws ZOR_AUTHORIZATION_FAILURE unless a partner of this system may call. */
    virtual void checkAccessControl(std::string_view systemID) const = 0;
    /** A partner of one of many connections keeps it from now on, or no longer. */
    virtual void statefulChanged(ZorConnection&, bool /*stateful*/) {}

    /** @name How a connection that is called the first time comes by its server. Set once, at the start. */
    /** @{ */
    static void setMaker(Maker maker) noexcept;
    static std::unique_ptr<ZorCallServer> make();
    /** @} */
};
