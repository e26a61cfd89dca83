#include "texttable.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

namespace zortool {

std::size_t widthOf(const std::string& utf8) {
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string oneLine(const std::string& utf8) {
    std::string line;
    for (std::size_t i = 0; i < utf8.size(); i++) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        // U+0080 to U+009F, two bytes in UTF-8, control terminals too.
        const bool second =
            c == 0xC2 && i + 1 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) < 0xA0;
        if (c >= 0x20 && c != 0x7F && !second) {
            line += utf8[i];
            continue;
        }
        const unsigned code = second ? static_cast<unsigned char>(utf8[++i]) : c;
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02X", code);
        line += code == '\n' ? "\\n" : code == '\t' ? "\\t" : escape;
    }
    return line;
}

std::vector<std::size_t> TextTable::widths() const {
    std::vector<std::size_t> widths(columns_.size(), 0);
    for (const auto& row : rows_)
        for (std::size_t i = 0; i < row.size(); i++)
            widths[i] = std::max(widths[i], widthOf(row[i]));
    for (std::size_t i = 0; i < columns_.size(); i++)
        if (widths[i] != 0 || rows_.empty()) widths[i] = std::max(widths[i], widthOf(columns_[i].head));
    return widths;
}

void TextTable::writeRow(std::ostream& out, const std::string& margin, const std::vector<std::size_t>& widths,
                         const std::vector<std::string>& cells) const {
    std::string line = margin;
    for (std::size_t i = 0; i < cells.size(); i++) {
        if (widths[i] == 0) continue;
        const std::string gap(widths[i] - widthOf(cells[i]), ' ');
        line += columns_[i].toTheRight ? gap + cells[i] : cells[i] + gap;
        line += "  ";
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
}

void TextTable::write(std::ostream& out, const std::string& margin) const {
    const std::vector<std::size_t> widths = this->widths();
    std::vector<std::string> heads;
    for (const Column& column : columns_)
        heads.push_back(column.head);
    writeRow(out, margin, widths, heads);
    for (const auto& row : rows_)
        writeRow(out, margin, widths, row);
}

void TextList::write(std::ostream& out, const std::string& margin) const {
    std::size_t width = 0;
    for (const auto& [name, value] : rows_)
        width = std::max(width, widthOf(name));
    for (const auto& [name, value] : rows_) {
        std::string line = margin + name + std::string(width - widthOf(name) + 2, ' ') + value;
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

}  // namespace zortool
