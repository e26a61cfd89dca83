/** @file Tables and lists for a human, in UTF-8. */
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace zortool {

/** A table with a head; columns are as wide as their content. */
class TextTable {
  public:
    struct Column {
        std::string head;
        bool toTheRight = false; /**< For numbers. */
    };

    explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    bool empty() const { return rows_.empty(); }

    /** Writes it, each line behind a margin; columns in which all cells are empty are left out. */
    void write(std::ostream& out, const std::string& margin = {}) const;

  private:
    std::vector<std::size_t> widths() const;
    void writeRow(std::ostream& out, const std::string& margin, const std::vector<std::size_t>& widths,
                  const std::vector<std::string>& cells) const;

    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

/** Names and values, the values below each other. */
class TextList {
  public:
    void add(std::string name, std::string value) { rows_.emplace_back(std::move(name), std::move(value)); }
    void write(std::ostream& out, const std::string& margin = {}) const;

  private:
    std::vector<std::pair<std::string, std::string>> rows_;
};

/** Columns that a text takes up: its characters, those of zero and double width counted as one. */
std::size_t widthOf(const std::string& utf8);

/** The text in one line: control characters as escapes, so that no value can move the cursor. */
std::string oneLine(const std::string& utf8);

}  // namespace zortool
