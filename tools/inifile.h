/**
 * @file
 * What the tool has to know of kelzor.ini before the library reads it: whether a destination is there, and
 * whether it has a user and a password.
 */
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zortool {

/** Destinations of a kelzor.ini. */
class IniFile {
  public:
    using Section = std::map<std::string, std::string>;

    /** Reads a file; none if it can't be opened. The values of secrets aren't kept, only that they are there.
     */
    static std::optional<IniFile> read(const std::filesystem::path& file);

    /** The settings of a destination, or null. */
    const Section* destination(const std::string& name) const;
    /** Names of all destinations, sorted. */
    std::vector<std::string> names() const;

  private:
    void addLine(const std::string& line, Section*& section);

    std::map<std::string, Section> destinations_;
};

}  // namespace zortool
