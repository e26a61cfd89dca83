/**
 * @file
 * Client connections in C++.
 */
#ifndef KELZOR_CONNECTION_HPP
#define KELZOR_CONNECTION_HPP

#include <kelzor/call.h>
#include <kelzor/connection.h>
#include <kelzor/query.h>
#include <kelzor/data.hpp>
#include <kelzor/error.hpp>

#include <string>
#include <utility>
#include <vector>

namespace kelzor {

/** Names and values of connection parameters; docs/connection-options.md lists them. */
using Parameters = std::vector<std::pair<std::string, std::string>>;

/**
 * An open connection, closed by its destructor. A call that fails with `Error::endsConnection()` leaves one
 * behind that is good for nothing but to be closed. One thread uses it at a time, but for `cancel`.
 */
class Connection {
  public:
    Connection() noexcept = default;
    /** Takes over a handle. */
    explicit Connection(ZOR_CONNECTION_HANDLE handle) noexcept : handle_(handle) {}
    Connection(Connection&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Connection& operator=(Connection&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Connection() {
        if (handle_ != nullptr) ZorCloseConnection(handle_, nullptr);
    }

    /** Opens a connection and logs on. Failures: those of `ZorOpenConnection`. */
    static Connection open(const Parameters& parameters) {
        std::vector<ZOR_CONNECTION_PARAMETER> pairs;
        pairs.reserve(parameters.size());
        for (const auto& [name, value] : parameters)
            pairs.push_back({name.c_str(), value.c_str()});
        return Connection(detail::obtain("ZorOpenConnection", ZorOpenConnection, pairs.data(),
                                         static_cast<unsigned>(pairs.size())));
    }

    /** Closes now what the destructor would close. Failure: `ZOR_INVALID_HANDLE` (a failure has closed it).
     */
    void close() { detail::call("ZorCloseConnection", ZorCloseConnection, std::exchange(handle_, nullptr)); }

    ZOR_CONNECTION_HANDLE handle() const noexcept { return handle_; }
    /** Gives the handle away; it is the caller's to close. */
    ZOR_CONNECTION_HANDLE release() noexcept { return std::exchange(handle_, nullptr); }

    /** Whether the connection is open as far as this side knows; nothing is sent. */
    bool valid() const noexcept {
        detail::Record info;
        int valid = 0;
        ZorIsConnectionHandleValid(handle_, &valid, &info);
        return valid != 0;
    }
    explicit operator bool() const noexcept { return valid(); }

    /** Sends an empty call and waits for its answer. */
    void ping() { detail::call("ZorPing", ZorPing, handle_); }

    /** What is known about the connection and its partner; nothing is sent. */
    ZOR_ATTRIBUTES attributes() const {
        ZOR_ATTRIBUTES attributes{};
        detail::call("ZorGetConnectionAttributes", ZorGetConnectionAttributes, handle_, &attributes);
        return attributes;
    }

    /** Calls the function and puts what comes back into its container. Failures: those of `ZorInvoke`. */
    void invoke(Function& function) { detail::call("ZorInvoke", ZorInvoke, handle_, function.handle()); }

    /**
     * Asks the partner for a description, or takes it from the repository of its system, which keeps it. The
     * view stays good until that repository is cleared. Failures: those of `ZorGetFunctionDesc`,
     * `ZorGetTypeDesc` and `ZorGetClassDesc`.
     */
    FunctionView functionDescription(const std::string& name) {
        return FunctionView(detail::obtain("ZorGetFunctionDesc", ZorGetFunctionDesc, handle_, name.c_str()));
    }
    TypeView typeDescription(const std::string& name) {
        return TypeView(detail::obtain("ZorGetTypeDesc", ZorGetTypeDesc, handle_, name.c_str()));
    }
    ClassView classDescription(const std::string& name) {
        return ClassView(detail::obtain("ZorGetClassDesc", ZorGetClassDesc, handle_, name.c_str()));
    }

    /** A container for a function of the partner, with initial values. Failures: as `functionDescription`. */
    Function prepare(const std::string& name) { return Function(functionDescription(name)); }

    /**
     * Cancels the call that another thread has running here; the one method meant for a second thread.
     * Failure: `ZOR_ILLEGAL_STATE` (no call is running).
     */
    void cancel() const { detail::call("ZorCancel", ZorCancel, handle_); }

    /** Lets a function end with a class exception, whose class is looked up on this connection. */
    void enableClassException(Function& function) const {
        detail::call("ZorEnableUbixClassException", ZorEnableUbixClassException, function.handle(), handle_);
    }

  private:
    ZOR_CONNECTION_HANDLE handle_ = nullptr;
};

}  // namespace kelzor

#endif
