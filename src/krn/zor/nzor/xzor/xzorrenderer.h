/**
 * @file
 * Writes a structure or table as an XML document: elements named after the fields, character data and Base64,
 * in UTF-8. There are no attributes, no namespaces, no declaration, and nothing between elements.
 */
#pragma once

#include <memory>
#include <vector>

#include "data/zorfieldmatrix.h"
#include "data/zortable.h"
#include "xzor/xmlrenderer.h"

/** Elements within elements that a document may have, written or read. */
inline constexpr unsigned xzorDeepest = 100;

/**
 * Renders documents. Nothing is allocated for a field or a row: names of elements are made once for each
 * description, texts in memory that is kept. One thread uses a renderer.
 */
class XZorRenderer : public XmlRenderer {
  public:
    XZorRenderer(XmlOs& os, const ZorConverter& utf8converter) : XmlRenderer(os, utf8converter) {}

    /**
     * Writes a structure or table below a root element and closes the output. Nested structures that weren't
     * made yet are made, with initial values. Throws
     * - ZorCodepageConversionException for text without a form in UTF-8,
     * - ZorTypeConversionException for a field whose content is broken, so that it has no text,
     * - ZorLumxException for a field without a name beside others, and for what is nested too deep.
     */
    void encode(ZorRecord& record, std::string_view name);

  private:
    /** The names of a description's fields as elements. */
    struct Tags {
        const ZorRecordMetaData* desc;
        std::vector<std::string> names;
    };

    void encode(ZorRecord& record);
    void encodeFields(ZorRecord& record, const Tags& tags);
    void encodeRows(ZorTable& table);
    void element(ZorRecord& record, unsigned index, std::string_view tag);
    void content(ZorRecord& record, unsigned index);
    void stag(std::string_view tag);
    void etag(std::string_view tag);
    /** Character data: converted, and with entities for what is markup or no character of XML. */
    void writeText(const ZorFieldTypeBase& field, std::string_view text);
    void writeEscaped(std::span<const KEL_RAW> utf8);
    /** Text that needs no entities; only converted. */
    void writeCharAsIs(const ZorFieldTypeBase& field, std::string_view text);
    void writeBinary(std::span<const KEL_RAW> bytes);
    template <class Write>
    void converted(const ZorFieldTypeBase& field, std::string_view text, const Write& write);
    const Tags& tagsOf(const ZorRecordMetaData& desc);

    std::vector<std::unique_ptr<Tags>> known;  ///< Of the descriptions met so far, the latest last.
    unsigned depth = 0;                        ///< Open elements.
    ZorTextScratch scratch;
    std::string encoded;
};

/** True for rows of one field without a name: their elements hold its value directly. */
bool isXZorLine(const ZorRecordMetaData& rowType) noexcept;
