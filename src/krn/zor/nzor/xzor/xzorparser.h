/**
 * @file
 * Reads the XML document of one parameter into its structure or table, in pieces that may be cut anywhere,
 * within a name, a character or an entity too.
 *
 * What a document has is known before it comes: names that the record doesn't have are read past with all
 * they hold, values take the form that text takes in their fields. Memory grows as bytes arrive; elements
 * nest at most `xzorDeepest` deep.
 */
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/zorrecord.h"
#include "xzor/xzorrenderer.h"

class ZorConverter;

/** Knows the parameters that documents can be for. */
class XZorRoots {
  public:
    /** The structure, table or scalar parameter of a name; null if nobody wants it. */
    virtual ZorRecord* recordOf(std::string_view parameterName) = 0;

  protected:
    ~XZorRoots() = default;
};

/**
 * Parses one document. The record loses its content when the root element begins, so an element that is empty
 * or missing leaves the initial value. Operations throw
 * - ZorXmlParserException for text that isn't such a document,
 * - ZorTypeConversionException and ZorCodepageConversionException for values that don't fit their fields,
 * - std::bad_alloc;
 * the record then holds what was read so far.
 */
class XZorParser {
  public:
    /** `utf8ToCharConverter` goes from UTF-8 to the code page of the containers. */
    XZorParser(XZorRoots& roots, const ZorConverter& utf8ToCharConverter)
        : roots(roots), utf8ToCharConverter(utf8ToCharConverter) {}
    XZorParser(const XZorParser&) = delete;
    XZorParser& operator=(const XZorParser&) = delete;

    /** Goes on with the next bytes, all of which are used up. */
    void parse(std::span<const KEL_RAW> bytes);
    /** No more bytes come. Throws ZorXmlParserException if the document isn't complete. */
    void setFinished() const;
    /** Nobody wants the parameter: the rest of the document need not be parsed. */
    bool isUnwanted() const noexcept { return unwanted; }

  private:
    enum State : unsigned char {
        INITIAL,                      ///< Before a tag.
        READING_TAG,                  ///< Behind "<".
        READING_TAGNAME,              ///< In the name of a begin tag.
        FINISHING_BEGIN_OR_EMPTYTAG,  ///< Behind that name.
        EMPTYTAG,                     ///< Behind the slash at the end of an empty element.
        READING_VALUE,                ///< In character data.
        EXPECTING_VALUE_ENDTAG,       ///< Behind the "<" that ends them.
        ENDTAG,                       ///< Behind "</".
        FINISHING_ENDTAG,             ///< In the name of an end tag.
        FINISHED,                     ///< Behind the root element.
    };
    /** Uses up bytes from `at` on or changes the state; gives the position of the next byte. There is one. */
    using Step = const KEL_RAW* (XZorParser::*)(const KEL_RAW* at, const KEL_RAW* end);
    static const Step steps[];

    /** An open element. */
    struct Element {
        enum Kind : unsigned char { fields, rows, value };
        ZorRecord* record;
        unsigned field;  ///< Of a value its index; else the field that is expected next.
        Kind kind;
    };

    const KEL_RAW* initial(const KEL_RAW* at, const KEL_RAW* end);
    const KEL_RAW* readingTag(const KEL_RAW* at, const KEL_RAW* end);
    const KEL_RAW* readingTagName(const KEL_RAW* at, const KEL_RAW* end);
    const KEL_RAW* finishingBeginTag(const KEL_RAW* at, const KEL_RAW* end);
    const KEL_RAW* emptyTag(const KEL_RAW* at, const KEL_RAW* end);
    const KEL_RAW* readingValue(const KEL_RAW* at, const KEL_RAW* end);
    const KEL_RAW* expectingValueEndTag(const KEL_RAW* at, const KEL_RAW* end);
    const KEL_RAW* endTag(const KEL_RAW* at, const KEL_RAW* end);
    const KEL_RAW* finishingEndTag(const KEL_RAW* at, const KEL_RAW* end);
    const KEL_RAW* finished(const KEL_RAW* at, const KEL_RAW* end);

    void beginTag();
    void processBeginTag();
    void processEndTag();
    void beginRoot(std::string_view name);
    void beginRow(ZorTable& table);
    void beginField(Element& parent, std::string_view name);
    /** Opens the element of a field: its record, or its value. */
    void openField(ZorRecord& record, unsigned index);
    void openRecord(ZorRecord* record);
    void open(ZorRecord& record, Element::Kind kind, unsigned field = 0);
    /** From here on up to the end of the element everything is read past. */
    void discard();

    void appendName(const KEL_RAW* from, const KEL_RAW* to);
    /** The name of the tag that was read, in the code page of the containers. */
    std::string_view fieldName();
    void unescapeTag(std::string& name) const;

    void storeValue(std::string_view utf8);
    void storeBinary(ZorRecord& record, unsigned index, std::string_view base64);
    std::string_view unescapeValue(std::string_view utf8);

    unsigned hierarchyLevel() const noexcept { return openCount + discarded; }
    [[noreturn]] void fail(std::string_view what) const;
    /** With what was read of the tag: `before`, the name, and the byte that doesn't belong there. */
    [[noreturn]] void failInTag(std::string_view what, std::string_view before, KEL_RAW byte) const;

    /** Longest name of a field that can be told from others, in bytes; the rest is cut. */
    static constexpr unsigned longestName = 132;
    /** Longest name of an element: each byte may take five. */
    static constexpr unsigned longestTag = 5 * longestName;

    XZorRoots& roots;
    const ZorConverter& utf8ToCharConverter;
    State state = INITIAL;
    bool unwanted = false;
    unsigned openCount = 0;
    unsigned discarded = 0;  ///< Open elements that nobody wants, within those in `elements`.
    std::array<Element, xzorDeepest> elements;
    std::array<KEL_UC, longestTag> tagBuffer;
    unsigned tagLength = 0;
    std::string fieldNameBuffer;  ///< A name that had to be converted.
    std::string valueBuffer;      ///< What came of a value before the piece that ends it.
    std::string unescaped;
    KEL_string converted;
    ZorXString decoded;
    std::string parameterName;
    std::string typeName;
};
