#include "devsys/dictionary.h"

#include <algorithm>

namespace zordev {

namespace {

constexpr std::size_t OLD_NAME = 10;

}  // namespace

const Dictionary& Dictionary::instance() {
    static const Dictionary dictionary;
    return dictionary;
}

Dictionary::Dictionary() {
    for (const FunctionDescription& function : functions())
        for (const ParameterDescription& parameter : function.parameters)
            if (parameter.structure != nullptr) addStructure(*parameter.structure);
    for (DictionaryType& type : specimenTypes()) {
        if (type.structure != nullptr) addStructure(*type.structure);
        add(std::move(type));
    }
}

void Dictionary::add(DictionaryType type) {
    types_.emplace(type.name, type);
}

void Dictionary::addStructure(const StructureDescription& structure) {
    const std::string name(structure.name);
    if (types_.contains(name)) return;
    add({DictionaryType::Kind::structure, name, &structure});
    add({DictionaryType::Kind::tableType, tableTypeName(&structure, {}), &structure, {}, name});
    for (const FieldDescription& field : structure.fields)
        if (field.structure != nullptr) addStructure(*field.structure);
}

const DictionaryType* Dictionary::find(std::string_view name, unsigned version) const {
    if (version >= 400) {
        const auto found = types_.find(name);
        return found != types_.end() ? &found->second : nullptr;
    }
    const auto known = std::ranges::find_if(types_, [&](const auto& entry) {
        return entry.second.kind == DictionaryType::Kind::structure &&
               entry.first.substr(0, OLD_NAME) == name;
    });
    return known != types_.end() ? &known->second : nullptr;
}

std::vector<const DictionaryType*> Dictionary::tableTypesBelow(const DictionaryType& type) const {
    std::vector<const DictionaryType*> met;
    std::vector<const StructureDescription*> open;
    const auto meet = [&](const DictionaryType* tableType) {
        if (tableType == nullptr || std::ranges::count(met, tableType) != 0) return;
        met.push_back(tableType);
        if (tableType->structure != nullptr) open.push_back(tableType->structure);
        // Rows may be tables themselves.
        for (auto line = types_.find(tableType->line);
             line != types_.end() && line->second.kind == DictionaryType::Kind::tableType;
             line = types_.find(line->second.line)) {
            met.push_back(&line->second);
            if (line->second.structure != nullptr) open.push_back(line->second.structure);
        }
    };
    if (type.kind == DictionaryType::Kind::tableType) meet(&type);
    if (type.kind == DictionaryType::Kind::structure) open.push_back(type.structure);
    while (!open.empty()) {
        const StructureDescription& structure = *open.back();
        open.pop_back();
        for (const FieldDescription& field : structure.fields) {
            if (field.type == ZORTYPE_STRUCTURE) open.push_back(field.structure);
            if (field.type == ZORTYPE_TABLE) meet(find(tableTypeName(field.structure, field.typeName), 999));
        }
    }
    return met;
}

std::string_view Dictionary::structureWith(std::string_view element) const {
    for (const auto& [name, type] : types_)
        if (type.kind == DictionaryType::Kind::structure &&
            std::ranges::count(type.structure->fields, element, &FieldDescription::typeName) != 0)
            return name;
    return {};
}

std::string tableTypeName(const StructureDescription* rows, std::string_view typeName) {
    if (!typeName.empty() || rows == nullptr) return std::string(typeName);
    return std::string(rows->name) + "_T";
}

}  // namespace zordev
