// Exported functions of the family "Structures".

#include <kelzor/data.h>

#include "api/recordframe.h"
#include "data/zorstructure.h"
#include "data/zortable.h"

using namespace zorapi;

namespace {

ZorStructure& structure(ZOR_STRUCTURE_HANDLE handle) noexcept {
    return static_cast<ZorStructure&>(*ZorRecord::fromHandle(handle));
}

/** Check: a structure that the caller owns; a row belongs to its table. */
struct OwnStructure {
    ZOR_STRUCTURE_HANDLE handle;
    Verdict operator()() const noexcept {
        const Verdict verdict = OwnContainer{ZOR_RECORD_STRUCTURE, handle}();
        if (verdict.rc != ZOR_OK || !structure(handle).isRow()) return verdict;
        return {ZOR_INVALID_HANDLE, nullptr};
    }
};

/** Check: a container that has a type description. */
struct Describable {
    DATA_CONTAINER_HANDLE handle;
    Verdict operator()() const noexcept {
        const ZorRecord* record = liveRecord(handle);
        if (record == nullptr) return {ZOR_INVALID_HANDLE, "Invalid handle passed to ZorDescribeType"};
        const ZorRecordType type = record->getRecordType();
        if (type == ZOR_RECORD_STRUCTURE || type == ZOR_RECORD_TABLE) return {};
        return {ZOR_INVALID_HANDLE, "Only structure or table handles are allowed in ZorDescribeType"};
    }
};

}  // namespace

ZOR_STRUCTURE_HANDLE ZorCreateStructure(ZOR_TYPE_DESC_HANDLE typeDescHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{typeDescHandle}), [&] {
        const auto desc = ZorMetaDataStatics::recordMetaDataFromHandle(typeDescHandle);
        return std::make_unique<ZorStructure>(desc.get()).release()->toHandle();
    });
}

ZOR_STRUCTURE_HANDLE ZorCloneStructure(ZOR_STRUCTURE_HANDLE structHandle, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, ContainerLevel{structHandle},
                   checks(ContainerOf{ZOR_RECORD_STRUCTURE, structHandle}),
                   [&] { return structure(structHandle).clone().release()->toHandle(); });
}

ZOR_RC ZorDestroyStructure(ZOR_STRUCTURE_HANDLE structHandle, ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, ContainerLevel{structHandle}, checks(OwnStructure{structHandle}),
                 [&] { delete &structure(structHandle); });
}

ZOR_TYPE_DESC_HANDLE ZorDescribeType(DATA_CONTAINER_HANDLE dataHandle, ZOR_ERROR_INFO* errorInfo) {
    return light(
        __func__, errorInfo, ContainerLevel{dataHandle},
        checks(TraceDescribeType{dataHandle, errorInfo}, Handle{dataHandle}, Describable{dataHandle}), [&] {
            ZorAbstractMetaData* desc = ZorRecord::fromHandle(dataHandle)->getDescriptor();
            return ZorMetaDataStatics::toHandle(static_cast<ZorRecordMetaData*>(desc));
        });
}
