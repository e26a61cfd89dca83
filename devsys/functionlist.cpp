#include <algorithm>

#include "devsys/functions.h"

namespace zordev {

const std::vector<FunctionDescription>& functions() {
    static const std::vector<FunctionDescription> all = [] {
        std::vector<FunctionDescription> list;
        for (auto family : {systemFunctions, echoFunctions, failingFunctions, isoFunctions}) {
            std::ranges::move(family(), std::back_inserter(list));
        }
        return list;
    }();
    return all;
}

const FunctionDescription* findFunction(std::string_view name) {
    const auto& all = functions();
    const auto found = std::ranges::find(all, name, &FunctionDescription::name);
    return found == all.end() ? nullptr : &*found;
}

}  // namespace zordev
