#include "inifile.h"

#include <algorithm>
#include <fstream>

#include "keys.h"

namespace zortool {

namespace {

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool isComment(const std::string& line) {
    return line.starts_with('#') || line.starts_with("//") || line.starts_with("/*");
}

bool isSecret(const std::string& name) {
    const auto keys = connectionKeys();
    return std::any_of(keys.begin(), keys.end(),
                       [&](const ConnectionKey& key) { return key.secret && name == key.name; });
}

}  // namespace

std::optional<IniFile> IniFile::read(const std::filesystem::path& file) {
    std::ifstream in(file);
    if (!in) return std::nullopt;
    IniFile ini;
    Section* section = nullptr;
    for (std::string line; std::getline(in, line);)
        ini.addLine(trimmed(line), section);
    return ini;
}

void IniFile::addLine(const std::string& line, Section*& section) {
    if (line.empty() || isComment(line)) return;
    if (line == "DEFAULT") section = nullptr;
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) return;
    const std::string name = trimmed(line.substr(0, equals)), value = trimmed(line.substr(equals + 1));
    if (name == "DEST") {
        section = &destinations_[value];
        section->clear();
    } else if (section != nullptr && !value.empty()) {
        (*section)[name] = isSecret(name) ? "*" : value;
    }
}

const IniFile::Section* IniFile::destination(const std::string& name) const {
    const auto found = destinations_.find(name);
    return found != destinations_.end() ? &found->second : nullptr;
}

std::vector<std::string> IniFile::names() const {
    std::vector<std::string> names;
    for (const auto& [name, section] : destinations_)
        names.push_back(name);
    return names;
}

}  // namespace zortool
