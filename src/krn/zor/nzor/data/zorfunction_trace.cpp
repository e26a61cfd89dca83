// What the trace shows of a function container.

#include <algorithm>

#include "data/zorfieldfailure.h"
#include "data/zorfieldslot.h"
#include "data/zorfunction.h"
#include "data/zorstructure.h"
#include "data/zortable.h"
#include "meta/zorrecordmetadata.h"
#include "trace/zortrace.h"

namespace {

constexpr unsigned valuesAbove = 2;

void writeFields(KEL_ofstream* trace, const KEL_string& path, ZorRecord& record);

/** By the cursor: a row object for each row would stay with the table. */
void writeRows(KEL_ofstream* trace, const KEL_string& path, ZorTable& table) {
    const ZorTable::CursorKeeper keeper(table);
    for (unsigned row = 0; table.moveTo(row) == ZOR_OK; ++row)
        writeFields(trace, path + "[" + std::to_string(row) + "]", table);
}

/** The text of a plain value; that of a secret, or of anything within one, isn't read at all. */
KEL_string shownText(const KEL_string& path, ZorRecord& record, unsigned index) {
    if (isSecretName(path)) return KEL_string(zorHiddenValue);
    try {
        KEL_string text;
        record.getValue(index, text);
        return text;
    } catch (const ZorBaseException&) {
        return "(- no value of its type -)";
    }
}

/** A line for a value, or the lines of what a field holds; a child that isn't there is left out. */
void writeValue(KEL_ofstream* trace, const KEL_string& path, ZorRecord& record, unsigned index) {
    const ZorFieldSlot slot = record.locate(index);
    switch (slot.field.type) {
        case ZORTYPE_STRUCTURE:
            if (auto* structure = loadChild<ZorStructure>(slot.addr)) writeFields(trace, path, *structure);
            return;
        case ZORTYPE_TABLE:
            if (auto* table = loadChild<ZorTable>(slot.addr)) writeRows(trace, path, *table);
            return;
        case ZORTYPE_UBIXOBJECT:
            return;  // objects may refer to each other in a circle
        default:
            break;
    }
    ZorTrace::writeKeyValue(trace, path, shownText(path, record, index));
}

void writeFields(KEL_ofstream* trace, const KEL_string& path, ZorRecord& record) {
    for (unsigned index = 0; index < record.getFieldCount(); ++index)
        writeValue(trace, path + "." + record.getName(index), record, index);
}

/** Whether no field of a record, or of what it holds, has the name of a secret. */
bool showsFields(const ZorRecordMetaData* record, unsigned depth = 0) noexcept {
    constexpr unsigned deepest = 100;
    if (record == nullptr) return true;
    for (unsigned i = 0; i < record->getFieldCount(); ++i)
        if (isSecretName(record->getName(i)) || depth == deepest ||
            !showsFields(record->getRecordMetaData(i), depth + 1))
            return false;
    return true;
}

/** The description of what a parameter holds, which need not be the one that it was declared with. */
const ZorRecordMetaData* heldType(ZorParameter& parameter) noexcept {
    const ZorFieldSlot slot = parameter.slot();
    if (slot.field.type == ZORTYPE_STRUCTURE) {
        const auto* const structure = loadChild<ZorStructure>(slot.addr);
        return structure != nullptr ? structure->getDescriptor() : nullptr;
    }
    if (slot.field.type != ZORTYPE_TABLE) return nullptr;
    const auto* const table = loadChild<ZorTable>(slot.addr);
    return table != nullptr ? table->getRowType() : nullptr;
}

}  // namespace

bool ZorFunction::showsParameter(std::string_view name) const noexcept {
    ZorParameter* const parameter = name.empty() ? nullptr : find(name);
    return parameter != nullptr && !isSecretName(parameter->desc().name) &&
           showsFields(metaData->getRecordMetaData(metaData->findIndex(parameter->desc().name))) &&
           showsFields(heldType(*parameter));
}

bool ZorFunction::showsAll() const noexcept {
    return std::ranges::all_of(params,
                               [this](const auto& param) { return showsParameter(param->desc().name); });
}

void ZorFunction::writeTraceEntry(KEL_ofstream* trace) {
    constexpr std::string_view kind = "ZorFunction";
    ZorTrace::beginEntry(trace, kind, name);
    for (const auto& param : params) {
        const auto& field = param->desc();
        ZorTrace::writeParameter(trace, field.name, field.type, field.length1, param->isActive(),
                                 param->isRequested());
        if (getTraceLevel() > valuesAbove && param->isActive()) writeValue(trace, field.name, *param, 0);
    }
    ZorTrace::endEntry(trace, kind, name);
}
