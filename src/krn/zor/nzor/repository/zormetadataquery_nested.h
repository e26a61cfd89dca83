/** @file From the flat list of fields, in which nested structures stand in line, to a tree of descriptions.
 */
#pragma once

#include "repository/zormetadataquery.h"

/** Builds descriptions out of the fields that the dictionary lists, for one type and what it contains. */
class ZorMetadataQuery::NestedRows {
  public:
    /** `lines` are the types that the one in work uses. */
    NestedRows(ZorMetadataQuery& query, const std::vector<ZorDictionaryLine>& lines)
        : query(query), lines(lines) {}

    /**
     * Adds the fields to an open description and keeps it. Throws ZorBaseException for a type that neither
     * the cache nor the answer knows, and ZorInvalidParameterException for lengths that contradict each
     * other and for types nested beyond reason.
     */
    void construct(const ZorDictionaryFields& fields, const RecordRef& meta);

  private:
    /** A description in work, with the part of the list that belongs to it. */
    struct Level {
        const ZorDictionaryFields& fields;
        size_t& at;
        const RecordRef& meta;
        KEL_string prefix;  ///< Of the paths of its fields; empty for a whole list.
        unsigned baseOffset = 0;
        unsigned baseOffsetUC = 0;
        unsigned level = 1;
    };
    /** A type of the answer, and the name of the line that it was found to be. */
    struct Line {
        const ZorDictionaryFields& fields;
        KEL_string nameReached;
    };

    void constructMetaData(const Level& level);
    void addField(const Level& level, const ZorDictionaryField& field, ZorRecordMetaData* description);
    void addNested(const Level& level, const ZorDictionaryField& field);
    void addInline(const Level& level, const ZorDictionaryField& field);
    void addLine(const Level& level, const ZorDictionaryField& field);
    void addKnownLine(const Level& level, const ZorDictionaryField& field, const RecordRef& line);
    RecordRef makeTableType(const Level& level, const ZorDictionaryField& field, const Line& line);
    void becomeLineOf(const Level& level, const ZorDictionaryField& field, const Line& line);
    Line findLine(const Level& level, const KEL_string& rollName) const;
    const ZorDictionaryLine* findType(const KEL_string& typeName) const;
    ZorDictionaryLengths lengthsOf(const KEL_string& typeName) const;

    ZorMetadataQuery& query;
    const std::vector<ZorDictionaryLine>& lines;
};
