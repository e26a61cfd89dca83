/**
 * @file
 * The metadata functions: what a client asks to learn the interfaces of functions and the fields of types.
 * Each release has its own, in its own form.
 */
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "devsys/bytes.h"
#include "devsys/dictionary.h"
#include "devsys/functions.h"
#include "devsys/xmltext.h"

namespace zordev {

class Call;

/** The form that a metadata function has on a release; null for other functions and where there is none. */
const FunctionDescription* findMetadataFunction(std::string_view name, unsigned version);

/** @name Handlers */
/** @{ */
Outcome getFunctionInterface(Call& call);
Outcome getStructureDefinition(Call& call);
Outcome getFieldInfo(Call& call);
Outcome getMetadata(Call& call);
Outcome getClass(Call& call);
/** @} */

/** Fills a row or structure by the names of its fields; what isn't filled stays initial. */
class RowWriter {
  public:
    RowWriter(std::span<Byte> bytes, const StructureDescription& layout);
    /** A text, cut or padded. */
    void text(std::string_view field, std::string_view value);
    /** A number in the form of the field: digits, an integer, or bytes with the highest first. */
    void number(std::string_view field, unsigned value);

  private:
    const FieldDescription* find(std::string_view field) const;

    std::span<Byte> bytes_;
    const StructureDescription& layout_;
};

/** The same for a row that travels as XML. */
class XmlRowWriter {
  public:
    XmlRowWriter(XmlElement& element, const StructureDescription& layout);
    void text(std::string_view field, std::string_view value);
    void number(std::string_view field, unsigned value);
    /** Adds a row to the table in a field, for the caller to fill. */
    XmlRowWriter row(std::string_view table);

  private:
    XmlElement& element(std::string_view field);

    XmlElement& element_;
    const StructureDescription& layout_;
};

/** A parameter or an exception as interfaces tell it. */
struct ParameterLine {
    char paramClass = ' ';
    std::string name = {};
    std::string typeName = {};
    std::string fieldName = {};
    char letter = ' ';
    unsigned length = 0;
    unsigned decimals = 0;
    std::string text = {};
    bool optional = false;
};

/** The lines of a function's interface, with types by letter or by what they refer to. */
std::vector<ParameterLine> listParameters(const FunctionDescription& function);
/** The same with types by letter and name, whatever they refer to, and lengths of a layout. */
std::vector<ParameterLine> listResolvedParameters(const FunctionDescription& function, Layout layout);
/** Writes a line in the form of a classic interface, or of one among many. */
void writeParameter(RowWriter row, const ParameterLine& line);

/** An attribute of a class. */
struct AttributeDescription {
    std::string_view name;
    char visibility; /**< '2' is public. */
    char kind;       /**< '0' of an instance, '1' of the class, '2' a constant. */
    ZORTYPE type;
    std::string_view typeName = {};
    unsigned length = 8;
    bool readOnly = false;
    std::string_view defaultValue = {};
    std::string_view description = {};
};
struct ClassDescription {
    std::string_view name;
    std::vector<std::string_view> parents;
    std::vector<std::string_view> interfaces;
    std::vector<AttributeDescription> attributes;
};
/** Classes that are there for being asked about; null for an unknown name. */
const ClassDescription* findClass(std::string_view name);

/** How an interface refers to a parameter's type, where it isn't by its letter and the name of its rows. */
struct ParameterReference {
    std::string_view parameter;
    std::string_view typeName;
    std::string_view fieldName = {};
};
/** The references of a function; none for most. */
std::span<const ParameterReference> referencesOf(std::string_view function);

/** Functions that are there for being described. */
std::vector<FunctionDescription> specimenFunctions();

/** Record length of a type as it is told. */
unsigned tableLength(const DictionaryType& type, Layout layout, DictionaryFault fault);

/** The search for functions by name. */
std::vector<FunctionDescription> searchFunctions();

/** What a fault makes of a list of fields. */
void spoil(std::vector<FieldLine>& lines, std::string_view typeName, Layout layout, DictionaryFault fault);

/** Answers a call by the names of its parameters; those that this form doesn't have, or that nobody wants,
 * are left out. */
class MetadataAnswer {
  public:
    explicit MetadataAnswer(Call& call) : call_(call) {}

    /** A character parameter without trailing blanks; empty if it wasn't sent. */
    std::string_view given(std::string_view name) const;
    /** The first field of each row that was sent, `width` characters without trailing blanks. */
    std::vector<std::string> givenNames(std::string_view table, std::size_t width) const;

    void text(std::string_view name, std::string_view value);

    template <class Fill>
    void record(std::string_view name, Fill fill) {
        const ParameterDescription* const parameter = wanted(name);
        if (parameter == nullptr) return;
        const std::span<Byte> image = beginRecord(*parameter);
        fill(RowWriter(image, *parameter->structure));
        finish(*parameter, image);
    }

    template <class Lines, class Fill>
    void table(std::string_view name, const Lines& lines, Fill fill) {
        const ParameterDescription* const parameter = wanted(name);
        if (parameter == nullptr) return;
        beginTable(*parameter, lines.size());
        for (const auto& line : lines) {
            const std::span<Byte> image = nextRow(*parameter);
            fill(RowWriter(image, *parameter->structure), line);
            finish(*parameter, image);
        }
    }

    /** A table that travels as XML. */
    template <class Lines, class Fill>
    void xmlTable(std::string_view name, const Lines& lines, Fill fill) {
        const ParameterDescription* const parameter = wanted(name);
        if (parameter == nullptr) return;
        XmlElement root;
        root.name = elementName(name);
        for (const auto& line : lines) {
            root.children.emplace_back().name = "item";
            fill(XmlRowWriter(root.children.back(), *parameter->structure), line);
        }
        replyDocument(*parameter, root);
    }

  private:
    const ParameterDescription* wanted(std::string_view name) const;
    std::size_t indexOf(const ParameterDescription& parameter) const;
    std::span<Byte> beginRecord(const ParameterDescription& parameter);
    void beginTable(const ParameterDescription& parameter, std::size_t rows);
    std::span<Byte> nextRow(const ParameterDescription& parameter);
    /** Brings the numbers of what was filled into the format of the machine. */
    void finish(const ParameterDescription& parameter, std::span<Byte> image);
    void replyDocument(const ParameterDescription& parameter, const XmlElement& root);

    Call& call_;
};

/** Ends a call with an exception. */
Outcome raise(Call& call, std::string_view exception);

}  // namespace zordev
