/** @file Documents of records, and records of documents. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "convert/zorconverter.h"
#include "krn/zor/nzor/data/datafixture.h"
#include "xzor/xzorparser.h"
#include "xzor/xzorrenderer.h"

namespace xzortest {

/** Keeps the pieces of a document. */
struct PiecesXmlOs final : XmlOs {
    void close() override {
        flush();
        ++closed;
    }
    void send(std::span<const KEL_RAW> piece) override { pieces.emplace_back(piece.begin(), piece.end()); }
    std::string document() const {
        std::string all;
        for (const std::string& piece : pieces)
            all += piece;
        return all;
    }

    std::vector<std::string> pieces;
    int closed = 0;
};

inline const ZorConverter& converter(const char* from, const char* to) {
    return *ZorConverter::getConverter(from, to, 0, '#');
}

inline std::string rendered(ZorRecord& record, std::string_view name = "P", const char* codepage = "1100") {
    PiecesXmlOs os;
    XZorRenderer(os, converter(codepage, "4110")).encode(record, name);
    return os.document();
}

/** One parameter, whatever its name, unless another name is asked for. */
struct OneRoot final : XZorRoots {
    explicit OneRoot(ZorRecord* record) : record(record) {}
    ZorRecord* recordOf(std::string_view name) override {
        asked = name;
        return record;
    }
    ZorRecord* record;
    std::string asked;
};

/** Parses a document in two pieces. */
inline void parse(ZorRecord& record, std::string_view document, size_t cut = 0,
                  const char* codepage = "1100") {
    OneRoot root(&record);
    XZorParser parser(root, converter("4110", codepage));
    const std::span bytes(reinterpret_cast<const KEL_RAW*>(document.data()), document.size());
    parser.parse(bytes.first(cut));
    parser.parse(bytes.subspan(cut));
    parser.setFinished();
}

}  // namespace xzortest
