/**
 * @file
 * Reader of compiled message catalogues: a file with two tables of texts, the originals in ascending
 * order and their translations.
 */
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "devsys/bytes.h"

namespace zordev {

/** A loaded catalogue. */
class MoFile {
  public:
    /** Reads a file; nothing if there is none or if it isn't a catalogue. */
    static std::optional<MoFile> load(const std::string& path);
    /** Takes the content of a file; nothing if it isn't a catalogue. */
    static std::optional<MoFile> parse(std::string content);

    /** The translation of a text, which lives as long as the catalogue; `original` itself if there is none.
     */
    std::string_view translate(std::string_view original) const;

  private:
    explicit MoFile(std::string content) : content_(std::move(content)) {}
    std::uint32_t number(std::size_t offset) const;
    std::optional<std::string_view> entry(std::uint32_t table, std::uint32_t index) const;

    std::string content_;
    bool bigEndian_ = false;
    std::uint32_t count_ = 0;
    std::uint32_t originals_ = 0;
    std::uint32_t translations_ = 0;
};

}  // namespace zordev
