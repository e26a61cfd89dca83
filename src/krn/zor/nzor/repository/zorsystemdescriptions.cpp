#include "repository/zorsystemdescriptions.h"

#include <algorithm>

#include "config/immortal.h"
#include "meta/zortypelayout.h"

namespace {

constexpr const KEL_UC* origin = "Static";

/**
 * Second length of a parameter: a description has second lengths for all or for none, so where some are
 * given, a missing one is filled in by the rule for the type.
 */
unsigned secondLength(const ZorSystemParameter& parameter, bool given) noexcept {
    if (!given || parameter.ucLength != 0) return parameter.ucLength;
    return zorIsCharacterType(parameter.type) ? 2 * parameter.nucLength : parameter.nucLength;
}

}  // namespace

ZorSystemDescriptions::ZorSystemDescriptions() {
    for (const ZorSystemRecordRow& row : zorSystemRecordRows())
        records.push_back(build(row));
    for (const ZorSystemFunctionRow& row : zorSystemFunctionRows())
        functions.push_back(build(row));
}

ZorRecordMetaData* ZorSystemDescriptions::built(ZorSystemRecord record) const noexcept {
    return record != ZorSystemRecord::none ? records[static_cast<size_t>(record)].get() : nullptr;
}

ZorMetaDataRef<ZorRecordMetaData> ZorSystemDescriptions::build(const ZorSystemRecordRow& row) const {
    auto made = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(
        row.name, origin, static_cast<unsigned>(row.fields.size()), false);
    const bool given = row.ucLength != 0;
    for (const ZorSystemField& field : row.fields)
        made->add(field.name, field.type, field.nucLength, field.nucOffset, given ? field.ucLength : 0,
                  given ? field.ucOffset : 0, 0, built(field.rows));
    made->setRecordLength(row.nucLength, row.ucLength);
    made->lock();
    return made;
}

ZorMetaDataRef<ZorFunctionMetaData> ZorSystemDescriptions::build(const ZorSystemFunctionRow& row) const {
    auto made = ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>(
        row.name, origin, static_cast<unsigned>(row.parameters.size()), false);
    const bool given = std::any_of(row.parameters.begin(), row.parameters.end(),
                                   [](const ZorSystemParameter& one) { return one.ucLength != 0; });
    for (const ZorSystemParameter& parameter : row.parameters)
        made->add(parameter.name, parameter.type, parameter.direction, parameter.nucLength,
                  secondLength(parameter, given), 0, built(parameter.record), {}, {},
                  parameter.optional ? 1 : 0);
    made->lock();
    return made;
}

const ZorSystemDescriptions& ZorSystemDescriptions::instance() {
    static const Immortal<ZorSystemDescriptions> all;
    return all.value;
}

void ZorSystemDescriptions::init() {
    (void)instance();
}

ZorRecordMetaData& ZorSystemDescriptions::get(ZorSystemRecord record) {
    return *instance().records[static_cast<size_t>(record)];
}

ZorFunctionMetaData& ZorSystemDescriptions::get(ZorSystemFunction function) {
    return *instance().functions[static_cast<size_t>(function)];
}
