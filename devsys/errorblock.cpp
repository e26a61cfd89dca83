#include "devsys/errorblock.h"

#include <array>

namespace zordev {
namespace {

constexpr std::string_view EYECATCHER = "*ERR*";
constexpr std::size_t MAX_TEXT = 120;  // keeps the whole block far below its 500 bytes

}  // namespace

std::string makeErrorBlock(int rc, std::string_view error, std::string_view detail,
                           const ErrorSource& source) {
    const std::string number = std::to_string(rc);
    // In the order of the wire. A number that is 0 stands as an empty text.
    const std::array<std::string_view, 21> fields = {
        EYECATCHER,
        "1",
        error.substr(0, MAX_TEXT),
        rc == 0 ? std::string_view() : std::string_view(number),
        source.component,
        "753",
        "2",
        source.module,
        "",  // line
        detail.substr(0, MAX_TEXT),
        "",  // time
        "",  // system call
        "",  // errno
        "",  // errno text
        "1",
        source.location,
        "",  // message numbers and their arguments
        "",
        "",
        "",
        EYECATCHER,
    };
    std::string block;
    for (const std::string_view field : fields) {
        block += field;
        block += '\0';
    }
    return block;
}

}  // namespace zordev
