/** @file What serves the calls that a partner makes on a connection; the layer above implements it. */
#pragma once

#include <kelzor/error.h>

#include <memory>
#include <string>

class ZorConnection;

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

    /** @name How a connection that is called the first time comes by its server. Set once, at the start. */
    /** @{ */
    static void setMaker(Maker maker) noexcept;
    static std::unique_ptr<ZorCallServer> make();
    /** @} */
};
