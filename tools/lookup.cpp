#include "lookup.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "problem.h"

namespace zortool {

bool meansUnknown(const kelzor::Error& error) {
    if (error.code() == ZOR_NOT_FOUND) return true;
    // Of a function, of a type, of a type before release 400, of a class.
    const std::string_view keys[] = {"FU_NOT_FOUND", "NOT_FOUND", "TABLE_NOT_ACTIVE", "NOT_EXISTING"};
    return error.code() == ZOR_UBIX_EXCEPTION && std::ranges::find(keys, error.key()) != std::end(keys);
}

kelzor::FunctionView lookUpFunction(kelzor::Connection& connection, const Target& target,
                                    const std::string& name) {
    const auto found =
        kelzor::attempt([&] { return connection.functionDescription(kelzor::fromUtf8(name)); });
    if (found) return *found;
    Problem problem(found.error(), "looking up the function " + name, target.where());
    if (meansUnknown(found.error())) {
        std::string capitals = name;
        std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        problem.setHint(capitals != name
                            ? "Names are in capitals as a rule: " + capitals + "?"
                            : "`zor search 'PART*'` finds functions where the partner offers it.");
    }
    throw problem;
}

}  // namespace zortool
