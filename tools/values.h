/**
 * @file
 * Values of containers as JSON, both ways. What comes out of `toJson` goes into `fromJson`.
 *
 *     CHAR, STRING, NUM      text
 *     DATE, TIME             text, "2026-11-23" and "10:30:00"; without separators too on the way in
 *     BCD, DECF16, DECF34    text, since a JSON number is a double for most readers; in as a number too
 *     INT, INT1, INT2, INT8  number
 *     FLOAT                  number; "NaN", "Inf", "-Inf"
 *     BYTE, XSTRING          text of hexadecimal digits
 *     UTCLONG and its kin    the same; out only
 *     STRUCTURE, object      object
 *     TABLE                  array of objects; in as bare values too if a row has one field
 *
 * Texts are UTF-8. What doesn't fit a field is refused, not cut, and so is a character that the code page
 * lacks. null means the initial value.
 */
#pragma once

#include <kelzor.hpp>
#include <map>
#include <string>
#include <vector>

#include "jsontext.h"

namespace zortool {

/** What a field or a parameter is, as far as its value goes. */
struct FieldType {
    std::string name;
    ZORTYPE type;
    unsigned length;
    ZOR_TYPE_DESC_HANDLE rowType;
};

/**
 * The fields of the types behind one container, asked for once each. Not to outlive the container, which
 * keeps the types alive; for one thread.
 */
class TypeCache {
  public:
    const std::vector<FieldType>& fields(kelzor::TypeView type);

  private:
    std::map<ZOR_TYPE_DESC_HANDLE, std::vector<FieldType>> known_;
};

/** A field as it is now. Failures: `kelzor::Error`. */
Json fieldToJson(TypeCache& types, const kelzor::Fields& container, unsigned index, const FieldType& field);

/** The fields of a structure or row. */
Json structureToJson(TypeCache& types, const kelzor::StructureView& structure);

/**
 * Writes a field. A failure is a `Problem` that begins with `path`, as "LINES[3].PRICE".
 */
void fieldFromJson(TypeCache& types, kelzor::Fields& container, unsigned index, const FieldType& field,
                   const Json& value, const std::string& path);

/** Advice for a name that isn't among those that are: the closest one, or all of them. */
std::string adviceOn(const std::vector<std::string>& names, const std::string& wanted);

/**
 * The name among `names` that a user meant: the same one, or one that differs in case only. Throws a
 * `Problem` that names the closest ones otherwise.
 *
 * @param what what kind of name it is, as "parameter".
 */
std::size_t findName(const std::vector<std::string>& names, const std::string& wanted,
                     const std::string& what);

}  // namespace zortool
