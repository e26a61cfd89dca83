// Exported functions of the family "Class descriptions".

#include <kelzor/classes.h>

#include <cstdio>

#include "api/boundedtext.h"
#include "api/frame.h"
#include "meta/zorclassmetadata.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

namespace {

/** Room for attributes in a description that a caller builds. */
constexpr unsigned expectedAttributes = 5;

/** Characters that count of the name of a class which comes as an argument of its own. */
constexpr size_t longestName = sizeof(ZOR_CLASS_NAME);

ZorMetaDataRef<ZorClassMetaData> classOf(ZOR_CLASS_DESC_HANDLE handle) {
    return ZorMetaDataStatics::classMetaDataFromHandle(handle);
}

void describeAttribute(const ZorClassMetaData& desc, unsigned index, ZOR_CLASS_ATTRIBUTE_DESC& target) {
    desc.checkIndex(index);
    const ZorRecordFieldType& field = desc[index];
    copyBounded(target.name, field.name);
    target.type = field.type;
    target.nucLength = field.length1;
    target.ucLength = field.length2;
    target.decimals = field.decimals;
    // The class of an object too: it is a record with more to it.
    target.typeDescHandle =
        ZorMetaDataStatics::toHandle(static_cast<const ZorRecordMetaData*>(desc.getMetaData(index)));
    copyBounded(target.defaultValue, desc.getDefault(index));
    copyBounded(target.declaringClass, desc.getDeclaringClass(index));
    copyBounded(target.description, desc.getDescription(index));
    target.isReadOnly = desc.isReadOnly(index) ? 1 : 0;
    target.attributeType = desc.getAttributeKind(index);
    target.extendedDescription = field.extendedMeta;
}

void addAttribute(ZorClassMetaData& desc, const ZOR_CLASS_ATTRIBUTE_DESC& attribute) {
    desc.add(readBounded(attribute.declaringClass, sizeof attribute.declaringClass),
             readBounded(attribute.name, sizeof attribute.name - 1), attribute.type, attribute.nucLength,
             attribute.decimals, readBounded(attribute.description, sizeof attribute.description),
             ZorMetaDataStatics::typeDescFromHandle(attribute.typeDescHandle).raw(),
             attribute.extendedDescription, attribute.attributeType, attribute.isReadOnly != 0,
             readBounded(attribute.defaultValue, sizeof attribute.defaultValue - 1));
}

/** Stores the name at an index of a list; `kind` is what the list holds. */
void copyName(const std::vector<KEL_string>& names, unsigned index, const KEL_UC* kind, KEL_UC* target) {
    if (index >= names.size()) {
        KEL_UC text[128];
        std::snprintf(text, sizeof text, "The index [%u] is out of range. The count of %s is %u", index, kind,
                      static_cast<unsigned>(names.size()));
        throw ZorInvalidParameterException(text);
    }
    copyBounded(target, sizeof(ZOR_CLASS_NAME), names[index]);
}

}  // namespace

ZOR_CLASS_DESC_HANDLE ZorCreateClassDesc(const KEL_UC* name, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(), [&] {
        if (name == nullptr) throw ZorInvalidParameterException("Class name is NULL");
        auto made =
            ZorMetaDataStatics::createMetaData<ZorClassMetaData>(name, "custom", expectedAttributes, true);
        return ZorMetaDataStatics::toHandle(made.release());
    });
}

ZOR_RC ZorDestroyClassDesc(ZOR_CLASS_DESC_HANDLE classDesc, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{classDesc}), [&](FrameTrace& trace) {
        if (trace.isOpen()) ZorTraceWrite("delete MD{%p}", static_cast<void*>(classDesc));
        ZorMetaDataStatics::destroyPending(*classOf(classDesc),
                                           "The instance was either removed or is cached in a repository.");
    });
}

ZOR_RC ZorGetClassName(ZOR_CLASS_DESC_HANDLE classDesc, ZOR_CHAR* bufferForName, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(Handle{classDesc}), [&] {
        const auto desc = classOf(classDesc);
        if (bufferForName == nullptr) throw ZorInvalidParameterException("bufferForName is NULL");
        copyBounded(bufferForName, sizeof(ZOR_CLASS_NAME),
                    std::string_view(desc->getName()).substr(0, sizeof(ZOR_CLASS_NAME) - 1));
        bufferForName[sizeof(ZOR_CLASS_NAME) - 1] = 0;
    });
}

ZOR_RC ZorAddClassAttribute(ZOR_CLASS_DESC_HANDLE classDesc, const ZOR_CLASS_ATTRIBUTE_DESC* attrDesc,
                            ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{classDesc}, Required{attrDesc, "pointer to ZOR_CLASS_ATTRIBUTE_DESC"}),
                   [&] { addAttribute(*classOf(classDesc), *attrDesc); });
}

ZOR_RC ZorGetClassAttributesCount(ZOR_CLASS_DESC_HANDLE classDesc, unsigned* count,
                                  ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{classDesc}, Required{count, "pointer to attributes count"}),
                   [&] { *count = classOf(classDesc)->getFieldCount(); });
}

ZOR_RC ZorGetClassAttributeDescByIndex(ZOR_CLASS_DESC_HANDLE classDesc, unsigned index,
                                       ZOR_CLASS_ATTRIBUTE_DESC* attrDesc, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{classDesc}, Required{attrDesc, "Pointer to ZOR_CLASS_ATTRIBUTE_DESC"}),
                   [&] { describeAttribute(*classOf(classDesc), index, *attrDesc); });
}

ZOR_RC ZorGetClassAttributeDescByName(ZOR_CLASS_DESC_HANDLE classDesc, const KEL_UC* name,
                                      ZOR_CLASS_ATTRIBUTE_DESC* attrDesc, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{classDesc}, Required{name, "NAME"},
                          Required{attrDesc, "Pointer to ZOR_CLASS_ATTRIBUTE_DESC"}),
                   [&] {
                       const auto desc = classOf(classDesc);
                       describeAttribute(*desc, desc->getIndex(name), *attrDesc);
                   });
}

ZOR_RC ZorAddParentClass(ZOR_CLASS_DESC_HANDLE classDesc, const KEL_UC* name, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{classDesc}, Required{name, "class names"}),
                   [&] { classOf(classDesc)->addParentClass(readBounded(name, longestName)); });
}

ZOR_RC ZorGetParentClassesCount(ZOR_CLASS_DESC_HANDLE classDesc, unsigned* parentClassesCount,
                                ZOR_ERROR_INFO* errorInfo) {
    return guarded(
        __func__, errorInfo, GlobalLevel{},
        checks(Handle{classDesc}, Required{parentClassesCount, "pointer to parentClassesCount"}),
        [&] { *parentClassesCount = static_cast<unsigned>(classOf(classDesc)->getParentClasses().size()); });
}

ZOR_RC ZorGetParentClassByIndex(ZOR_CLASS_DESC_HANDLE classDesc, unsigned index, ZOR_CLASS_NAME name,
                                ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{classDesc}, Required{name, "buffer for the class name"}),
                   [&] { copyName(classOf(classDesc)->getParentClasses(), index, "parent classes", name); });
}

ZOR_RC ZorAddImplementedInterface(ZOR_CLASS_DESC_HANDLE classDesc, const KEL_UC* name,
                                  ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{classDesc}, Required{name, "implemented interface name"}),
                   [&] { classOf(classDesc)->addImplementedInterface(readBounded(name, longestName)); });
}

ZOR_RC ZorGetImplementedInterfacesCount(ZOR_CLASS_DESC_HANDLE classDesc, unsigned* implementedInterfacesCount,
                                        ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{classDesc},
                          Required{implementedInterfacesCount, "pointer to implementedInterfacesCount"}),
                   [&] {
                       const auto desc = classOf(classDesc);
                       *implementedInterfacesCount =
                           static_cast<unsigned>(desc->getImplementedInterfaces().size());
                   });
}

ZOR_RC ZorGetImplementedInterfaceByIndex(ZOR_CLASS_DESC_HANDLE classDesc, unsigned index, ZOR_CLASS_NAME name,
                                         ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{},
                   checks(Handle{classDesc}, Required{name, "buffer for the interface name"}), [&] {
                       copyName(classOf(classDesc)->getImplementedInterfaces(), index,
                                "implemented interfaces", name);
                   });
}
