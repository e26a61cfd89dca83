/** @file What the dictionary tells about a type, read out of its answers in both layouts. */
#pragma once

#include <string_view>
#include <vector>

#include "error/zorexception.h"

class ZorConnection;
class ZorSystemCall;
class ZorTable;
class ZorStructure;

/** Length and offset of a field in both layouts, in bytes; the second is 0 where it wasn't asked for. */
struct ZorDictionaryPlace {
    unsigned nucLength = 0;
    unsigned nucOffset = 0;
    unsigned ucLength = 0;
    unsigned ucOffset = 0;
};

/** A field as the dictionary lists it. Nested structures stand in line, each followed by its fields. */
struct ZorDictionaryField {
    /** `wide` is the same field with 2-byte characters; null if that wasn't asked for. */
    ZorDictionaryField(ZorStructure& row, ZorStructure* wide);

    KEL_string name;
    KEL_string path;      ///< From the top, parts joined by "-".
    KEL_string rollName;  ///< Of the type that the field refers to.
    KEL_string domName;
    KEL_string dataType;  ///< "STRU", "TTYP" or that of an elementary type.
    KEL_UC compType;      ///< 'S' structure in line, 'T' line type, 'L' table; others are elementary.
    ZORTYPE type;
    ZorDictionaryPlace place;
    unsigned decimals;
};

using ZorDictionaryFields = std::vector<ZorDictionaryField>;

/** A type that is used by the one that was asked for. */
struct ZorDictionaryLine {
    KEL_string typeName;
    KEL_string typeKind;
    ZorDictionaryFields fields;
};

/** Record lengths in both layouts. */
struct ZorDictionaryLengths {
    unsigned nuc = 0;
    unsigned uc = 0;
};

/** The answer about one type, from a release that knows nested types. */
struct ZorDictionaryAnswer {
    /** Asks for a type, once for each layout that is wanted. */
    static ZorDictionaryAnswer ask(ZorConnection& connection, unsigned version, bool bothLayouts,
                                   std::string_view typeName);
    /** Asks for the record lengths of a type only. */
    static ZorDictionaryLengths askLengths(ZorConnection& connection, unsigned version,
                                           std::string_view typeName);

    ZorDictionaryFields fields;
    std::vector<ZorDictionaryLine> lines;
    ZorDictionaryLengths lengths;
    bool isTableType = false;
    unsigned layoutFlags = 0;
};
