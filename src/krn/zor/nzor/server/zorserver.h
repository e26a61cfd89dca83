/** @file Serving the calls of a partner: finding the function, running it, answering. */
#pragma once

#include "connection/zorconnection.h"
#include "server/zoraccesscontrol.h"
#include "server/zorserverfunctions.h"

/** What serves the calls on one connection; the tables of functions are the process's. */
class ZorServer : public ZorCallServer {
  public:
    /** Builds the tables of functions and makes connections use this class. */
    static void init();

    ZOR_RC dispatch(ZorConnection& conn, const std::string& funcName, ZOR_ERROR_INFO* errorInfo) override;
    void setupAccessControl(const ZorOptions& options) override { access.setup(options); }
    void checkAccessControl(std::string_view systemID) const override { access.check(systemID); }

  private:
    static ZorFunctionStub stubFor(ZorConnection& conn, std::string_view funcName);
    /** Asks the provider of the generic function for a description, and installs it. */
    static void askProvider(ZorConnection& conn, std::string_view funcName);
    static ZOR_RC invokeServerImp(const ZorFunctionStub& stub, ZorConnection& conn,
                                  ZOR_ERROR_INFO& errorInfo);
    static ZOR_RC run(const ZorFunctionStub& stub, ZorConnection& conn, ZorFunction& call,
                      ZOR_ERROR_INFO& errorInfo);
    /** Throws what a function's result means to the caller; ZOR_OK throws nothing. */
    static void raise(ZOR_RC rc, const ZOR_ERROR_INFO& errorInfo);

    ZorAccessControl access;
};
