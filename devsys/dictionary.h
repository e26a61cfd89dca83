/**
 * @file
 * The dictionary of the back-end: the types by which its functions are described, and some more that are
 * there for being asked about.
 */
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "devsys/dictionaryfaults.h"
#include "devsys/functions.h"

namespace zordev {

/** Layout with one or with two bytes a character. */
enum class Layout { narrow, wide };

/** A type by name. */
struct DictionaryType {
    enum class Kind { structure, tableType, element };
    Kind kind;
    std::string name;
    const StructureDescription* structure = nullptr; /**< Itself, or the rows of a table type. */
    FieldDescription element = {};                   /**< An elementary type, or elementary rows. */
    std::string line = {};                           /**< Name of a table type's rows' type. */
};

/** A field in the dictionary's list, in one layout. Structures stand in line, followed by their fields. */
struct FieldLine {
    std::string name;
    std::string path;
    std::string rollName;
    std::string domName;
    ZORTYPE type = ZORTYPE_CHAR;
    char compType = ' ';
    unsigned offset = 0;
    unsigned length = 0;
    unsigned decimals = 0;
};

/** All types; built once, read by any thread. */
class Dictionary {
  public:
    static const Dictionary& instance();

    /** Null for an unknown name. Before release 400 a type is known by ten characters of its name. */
    const DictionaryType* find(std::string_view name, unsigned version) const;

    /**
     * The table types and the types of their rows that a type uses, directly or below, each once, in the
     * order in which they are met. Of a table type itself its rows.
     */
    std::vector<const DictionaryType*> linesOf(const DictionaryType& type) const;

    /** A structure with a field of an elementary type, by which older releases tell about that. */
    std::string_view structureWith(std::string_view element) const;

  private:
    Dictionary();
    void add(DictionaryType type);
    void addStructure(const StructureDescription& structure, std::string_view tableName = {});

    std::map<std::string, DictionaryType, std::less<>> types_;
};

/** Types that no function uses: nested, recursive, tables of tables, elementary ones. */
std::vector<DictionaryType> specimenTypes();

/** True for rows that are one value: their field has no name. */
bool isLine(const StructureDescription& rows);

/** Name of the table type of a table field or parameter; empty if its rows aren't described. */
std::string tableTypeName(const StructureDescription* rows, std::string_view typeName);

/** @name Layouts */
/** @{ */
unsigned fieldLength(const FieldDescription& field, Layout layout);
unsigned recordLength(const StructureDescription& structure, Layout layout);
/** Offsets of the fields, in their order. */
std::vector<unsigned> fieldOffsets(const StructureDescription& structure, Layout layout);
/** @} */

/** The fields of a structure in the dictionary's list. */
std::vector<FieldLine> listFields(const StructureDescription& structure, Layout layout);
/** The one line that an elementary type is listed as. */
FieldLine listElement(const FieldDescription& element, std::string_view name, Layout layout);
/** The one line that stands for the rows of a table type. */
FieldLine listRows(const DictionaryType& tableType, Layout layout);

/** The letter of a type, and its name among the dictionary's data types. */
char letterOf(ZORTYPE type);
std::string_view dataTypeOf(ZORTYPE type);

}  // namespace zordev
