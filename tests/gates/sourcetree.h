/** @file Reading the source tree, for the gates. */
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace gates {

/** Root of the source tree. */
std::filesystem::path root();

/** Whole content of a file; a test failure if it can't be read. */
std::string readFile(const std::filesystem::path& file);

/** Sources and headers (.h, .hpp, .c, .cpp) below a folder of the tree, sorted; none if it doesn't exist. */
std::vector<std::filesystem::path> sourcesBelow(const std::string& folder);

/** Path relative to the root, for messages and rules. */
std::string shortName(const std::filesystem::path& file);

/** The same text with comments, texts and character literals blanked; line ends stay. */
std::string codeOnly(const std::string& text);

/** Number of the line on which a position stands, counted from 1. */
std::size_t lineOf(const std::string& text, std::size_t position);

}  // namespace gates
