/**
 * @file
 * What the acceptance tests share: a development system in this process, and a client that goes through
 * the public header alone. Descriptions of functions are built by hand from those of the back-end.
 */
#pragma once

#include <gtest/gtest.h>
#include <kelzor.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devsys/zordev.h"

/** Identifiers of items that tests look for in recorded requests. */
namespace item {
inline constexpr std::uint16_t header = 257;
inline constexpr std::uint16_t scrambledPassword = 279;
inline constexpr std::uint16_t fieldName = 513;
inline constexpr std::uint16_t fieldIsSupplied = 517;
}  // namespace item

using Parameters = std::vector<std::pair<std::string, std::string>>;

/** Opens a connection; NULL with the record filled on failure. */
ZOR_CONNECTION_HANDLE open(const Parameters& parameters, ZOR_ERROR_INFO& error);

/** A function container of the public interface, with its description; both end with it. */
class Function {
  public:
    explicit Function(std::string_view name);
    Function(const Function&) = delete;
    ~Function();

    operator ZOR_FUNCTION_HANDLE() const { return container; }
    ZOR_FUNCTION_HANDLE handle() const { return container; }

    void setText(const char* name, std::string_view text);
    void setInt(const char* name, ZOR_INT value);
    std::string text(const char* name, unsigned length = 4096);
    ZOR_INT integer(const char* name);
    std::string bytes(const char* name, unsigned length);
    ZOR_TABLE_HANDLE table(const char* name);
    ZOR_STRUCTURE_HANDLE structure(const char* name);

  private:
    ZOR_FUNCTION_DESC_HANDLE description = nullptr;
    ZOR_FUNCTION_HANDLE container = nullptr;
};

/** Text of a field without trailing blanks. */
std::string textOf(DATA_CONTAINER_HANDLE container, const char* name);

/** A development system, and connections to it that are closed at the end. */
class SessionTest : public testing::Test {
  protected:
    SessionTest() : SessionTest(zordev::DevOptions{}) {}
    explicit SessionTest(zordev::DevOptions options) : system(std::move(options)) {}

    /** After each test: the client broke no rule of the protocol, and nothing is left behind. */
    void TearDown() override;

    /** Parameters of a good logon; those given replace or add, an empty value removes. */
    Parameters logon(const Parameters& changes = {}) const;
    /** Opens a connection that must succeed. */
    ZOR_CONNECTION_HANDLE connect(const Parameters& changes = {});
    bool isValid(ZOR_CONNECTION_HANDLE connection) const;
    ZOR_RC invoke(ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE function);

    zordev::DevSystem system;
    ZOR_ERROR_INFO error{};
    bool clientMayBreakRules = false;  ///< Set by tests of what goes wrong half-way.

  private:
    std::vector<ZOR_CONNECTION_HANDLE> connections;
};
