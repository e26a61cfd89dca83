/** @file Who may call a server, as its options say. */
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

struct ZorOptions;

/** Filled before a server starts; read without a lock from then on. */
class ZorAccessControl {
  public:
    /**
     * Takes the lists of the options. Names in the secure network can't be read without its library: then
     * ZorInvalidParameterException, and nobody is served.
     */
    void setup(const ZorOptions& options);
    /** Throws ZOR_AUTHORIZATION_FAILURE unless the system may call. */
    void check(std::string_view systemID) const;

  private:
    using Names = std::set<std::string, std::less<>>;

    std::optional<Names> systemIDs;  ///< Without a list everybody may call; with an empty one nobody.
};
