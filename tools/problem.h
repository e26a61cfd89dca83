/**
 * @file
 * What a user of the tool gets to see when something fails, and the exit status that goes with it.
 */
#pragma once

#include <exception>
#include <iosfwd>
#include <kelzor.hpp>
#include <optional>
#include <string>

namespace zortool {

/**
 * Exit status beside 0. A failure of the library or the partner has the number of its error group, 1 to 7;
 * the others are the customary ones of sysexits.
 */
enum ExitStatus : int {
    exitUsage = 64,    /**< The command line makes no sense. */
    exitData = 65,     /**< The values for a call make no sense. */
    exitInput = 66,    /**< A file can't be read. */
    exitInternal = 70, /**< A mistake in the tool itself. */
    exitOutput = 74,   /**< The result can't be written. */
};

/** A failure as the user sees it: what, where, why, and what to try. All texts are UTF-8. */
class Problem : public std::exception {
  public:
    Problem(int exitStatus, std::string text, std::string hint = {})
        : exitStatus_(exitStatus), text_(std::move(text)), hint_(std::move(hint)) {}

    /**
     * @param doing what the tool was about, as "calling ECHO".
     * @param where the partner, as `Target::where` puts it; may be empty.
     */
    Problem(const kelzor::Error& error, const std::string& doing, std::string where);

    const char* what() const noexcept override { return text_.c_str(); }
    int exitStatus() const noexcept { return exitStatus_; }
    const std::string& hint() const noexcept { return hint_; }
    /** The library's record; none if the tool itself found the problem. */
    const std::optional<ZOR_ERROR_INFO>& info() const noexcept { return info_; }

    /** Puts another piece of advice in the place of the general one. */
    void setHint(std::string hint) { hint_ = std::move(hint); }

    /** Writes it for a human, or as one JSON object. */
    void write(std::ostream& out, bool asJson) const;

  private:
    void writeText(std::ostream& out) const;
    void writeJson(std::ostream& out) const;

    int exitStatus_;
    std::string text_;
    std::string where_;
    std::string hint_;
    std::optional<ZOR_ERROR_INFO> info_;
};

/** Name of an error group, as the C interface calls it. */
const char* groupName(ZOR_ERROR_GROUP group);

}  // namespace zortool
