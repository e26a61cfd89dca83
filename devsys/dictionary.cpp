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
    for (DictionaryType type : specimenTypes()) {
        if (type.structure != nullptr)
            addStructure(*type.structure, isLine(*type.structure) ? type.name : std::string_view());
        else
            add(std::move(type));
    }
}

void Dictionary::add(DictionaryType type) {
    types_.emplace(type.name, type);
}

void Dictionary::addStructure(const StructureDescription& structure, std::string_view tableName) {
    const std::string name(structure.name);
    const std::string table = tableTypeName(&structure, tableName);
    if (types_.contains(table)) return;
    if (isLine(structure)) {
        const FieldDescription& row = structure.fields.front();
        const std::string line = row.type == ZORTYPE_TABLE ? tableTypeName(row.structure, row.typeName)
                                                           : std::string(row.typeName);
        add({DictionaryType::Kind::tableType, table, nullptr, row, line});
    } else {
        add({DictionaryType::Kind::structure, name, &structure});
        add({DictionaryType::Kind::tableType, table, &structure, {}, name});
    }
    for (const FieldDescription& field : structure.fields)
        if (field.structure != nullptr)
            addStructure(*field.structure, field.type == ZORTYPE_TABLE ? field.typeName : std::string_view());
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

std::vector<const DictionaryType*> Dictionary::linesOf(const DictionaryType& type) const {
    std::vector<const DictionaryType*> met;
    const auto meet = [&](std::string_view name) {
        const auto known = types_.find(name);
        if (known == types_.end() || known->second.kind == DictionaryType::Kind::element) return;
        if (std::ranges::count(met, &known->second) == 0) met.push_back(&known->second);
    };
    const auto meetFields = [&](const StructureDescription& structure, const auto& self) -> void {
        for (const FieldDescription& field : structure.fields) {
            if (field.type == ZORTYPE_STRUCTURE) self(*field.structure, self);
            if (field.type == ZORTYPE_TABLE) meet(tableTypeName(field.structure, field.typeName));
        }
    };
    const auto open = [&](const DictionaryType& one) {
        if (one.kind == DictionaryType::Kind::tableType)
            meet(one.line);
        else
            meetFields(*one.structure, meetFields);
    };
    if (type.kind != DictionaryType::Kind::element) open(type);
    for (std::size_t i = 0; i < met.size(); ++i)
        open(*met[i]);
    return met;
}

std::string_view Dictionary::structureWith(std::string_view element) const {
    for (const auto& [name, type] : types_)
        if (type.kind == DictionaryType::Kind::structure &&
            std::ranges::count(type.structure->fields, element, &FieldDescription::typeName) != 0)
            return name;
    return {};
}

bool isLine(const StructureDescription& rows) {
    return rows.fields.size() == 1 && rows.fields.front().name.empty();
}

std::string tableTypeName(const StructureDescription* rows, std::string_view typeName) {
    if (!typeName.empty() || rows == nullptr) return std::string(typeName);
    return std::string(rows->name) + "_T";
}

}  // namespace zordev
