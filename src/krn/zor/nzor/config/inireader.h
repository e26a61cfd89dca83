/** @file The syntax of kelzor.ini. It knows lines, keys and sections, and no key but the one that opens a
 * section. */
#pragma once

#include <cstdio>
#include <memory>
#include <string_view>

#include "config/zoroptions.h"

/** The text without the blanks, tabs and line ends around it. */
std::string_view trimmed(std::string_view text) noexcept;

/** Takes what the reader finds, in the order of the file. */
class IniSink {
  public:
    virtual void defaultSetting(std::string_view key, std::string_view value) = 0;
    /** A destination section as a whole. The settings don't hold the name. */
    virtual void destination(const KEL_string& name, const ZorOptionMap& settings) = 0;

  protected:
    ~IniSink() = default;
};

struct IniFileCloser {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using IniFile = std::unique_ptr<std::FILE, IniFileCloser>;

/** Opens a file for reading; NULL if there is none. What isn't a file, a pipe for one, is never waited for.
 */
IniFile openIniFile(const KEL_UC* name) noexcept;

/** Reads a file to its end, or to where it can't be read. The file stays the caller's. Throws what the sink
 * throws. */
void readIniFile(std::FILE* file, IniSink& sink);
