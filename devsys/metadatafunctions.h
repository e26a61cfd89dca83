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

/** The lines of a function's interface. */
std::vector<ParameterLine> listParameters(const FunctionDescription& function);

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

/** What a fault makes of a list of fields. */
void spoil(std::vector<FieldLine>& lines, Layout layout, DictionaryFault fault);

}  // namespace zordev
