#include "lookup.h"

#include <algorithm>
#include <cctype>

#include "problem.h"

namespace zortool {

bool meansUnknown(const kelzor::Error& error) {
    if (error.code() == ZOR_NOT_FOUND) return true;
    return error.code() == ZOR_UBIX_EXCEPTION &&
           (error.key() == "FU_NOT_FOUND" || error.key() == "NOT_FOUND");
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
