/** @file Descriptions of the back-end's metadata functions and their row types. */
#pragma once

#include <vector>

#include "meta/zorfunctionmetadata.h"
#include "meta/zorrecordmetadata.h"
#include "repository/zorsystemtables.h"

/**
 * What zorsystemtables.h tells, as locked descriptions. They belong to no repository, never change and live
 * until the process ends; any thread may use them.
 */
class ZorSystemDescriptions {
  public:
    /** Builds all of them; further calls change nothing. Throws only what memory shortage throws. */
    static void init();

    static ZorRecordMetaData& get(ZorSystemRecord record);
    static ZorFunctionMetaData& get(ZorSystemFunction function);

    ZorSystemDescriptions();

  private:
    static const ZorSystemDescriptions& instance();

    /** A row type that was built before; null for none. */
    ZorRecordMetaData* built(ZorSystemRecord record) const noexcept;

    ZorMetaDataRef<ZorRecordMetaData> build(const ZorSystemRecordRow& row) const;
    ZorMetaDataRef<ZorFunctionMetaData> build(const ZorSystemFunctionRow& row) const;

    // In the order of their enumerations.
    std::vector<ZorMetaDataRef<ZorRecordMetaData>> records;
    std::vector<ZorMetaDataRef<ZorFunctionMetaData>> functions;
};
