/** @file The partner that a command talks to: its parameters from all sources, and opening a connection to
 * it. */
#pragma once

#include <filesystem>
#include <kelzor.hpp>
#include <map>
#include <string>

#include "inifile.h"
#include "secret.h"

namespace zortool {

/** Names and values for the library, in its code page. The values of secrets don't stay in memory. */
class ConnectionParameters {
  public:
    ConnectionParameters() = default;
    ConnectionParameters(ConnectionParameters&&) = default;
    ~ConnectionParameters();

    void add(const std::string& name, std::string value) { all_.emplace_back(name, std::move(value)); }
    const kelzor::Parameters& all() const { return all_; }

  private:
    kelzor::Parameters all_;
};

/** The partner and the way to it. Prepared once; then any thread may open connections. */
class Target {
  public:
    /** What the parameters are for. */
    enum class Role { client, server };

    /** @name What the command line says; texts in UTF-8. */
    /** @{ */
    std::map<std::string, std::string> parameters; /**< By the library's names; secrets by their source. */
    std::string ini; /**< kelzor.ini or its directory; empty: the current one. */
    std::string traceDirectory;
    bool batch = false; /**< Never ask at the terminal. */
    /** @} */

    /** Reads kelzor.ini and the secrets, asking for a password where one is likely to be missing. */
    void prepare(Role role = Role::client);

    /** The parameters for the library. */
    ConnectionParameters list() const;

    /** Opens a connection. Failures are a `Problem`. */
    kelzor::Connection open() const;

    /** Where that is, for messages: "127.0.0.1, service 3300, client 100, user DEMO". */
    std::string where() const;

    /** What was said about a parameter, on the command line or in the destination; empty if nothing. */
    std::string valueOf(const std::string& name) const;

    /** Whether there is anything to log on with beside a user's name. */
    bool hasCredentials() const;

  private:
    void readIni();
    void readSecrets(Role role);
    void applyTrace() const;

    IniFile::Section destination_;
    std::map<std::string, Secret> secrets_;
};

}  // namespace zortool
