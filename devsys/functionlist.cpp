#include <algorithm>

#include "devsys/functions.h"
#include "devsys/metadatafunctions.h"

namespace zordev {

const std::vector<FunctionDescription>& functions() {
    static const std::vector<FunctionDescription> all = [] {
        std::vector<FunctionDescription> list;
        for (auto family :
             {systemFunctions, echoFunctions, deepFunctions, deltaFunctions, compressedFunctions,
              failingFunctions, isoFunctions, searchFunctions, specimenFunctions}) {
            std::ranges::move(family(), std::back_inserter(list));
        }
        return list;
    }();
    return all;
}

bool isDeep(const StructureDescription& structure) {
    return std::ranges::any_of(structure.fields, [](const FieldDescription& field) {
        return field.type == ZORTYPE_STRING || field.type == ZORTYPE_XSTRING || field.type == ZORTYPE_TABLE ||
               (field.type == ZORTYPE_STRUCTURE && isDeep(*field.structure));
    });
}

bool travelsAsXml(const ParameterDescription& parameter) {
    if (parameter.type != ZORTYPE_STRUCTURE && parameter.type != ZORTYPE_TABLE) return false;
    if (parameter.type == ZORTYPE_TABLE && parameter.direction != ZOR_TABLES) return true;
    return parameter.structure != nullptr && isDeep(*parameter.structure);
}

const FunctionDescription* findFunction(std::string_view name) {
    const auto& all = functions();
    const auto found = std::ranges::find(all, name, &FunctionDescription::name);
    return found == all.end() ? nullptr : &*found;
}

const FunctionDescription* findFunction(std::string_view name, unsigned version) {
    if (const FunctionDescription* const form = findMetadataFunction(name, version)) return form;
    return findFunction(name);
}

}  // namespace zordev
