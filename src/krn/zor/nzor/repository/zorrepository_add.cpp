// Adding descriptions to a repository, together with what they refer to.

#include <mutex>
#include <vector>

#include "config/zorconfig.h"
#include "error/zorliterals.h"
#include "repository/zorrepository.h"
#include "trace/zortracefunctions.h"

namespace {

template <class F>
void traceName(const ZorMetaDataBase<F>& desc) noexcept {
    ZorTraceWrite("\t name=%s (origin=%s) with %i parameters", desc.getName().c_str(),
                  desc.getOrigin().c_str(), static_cast<int>(desc.getFieldCount()));
}

void traceFields(const ZorRecordMetaData& desc) noexcept {
    for (unsigned i = 0; i < desc.getFieldCount(); ++i) {
        const ZorRecordFieldType& field = desc[i];
        ZorTraceWrite("\t parameter %i (%s, %s, %u, %u, %u, %u, %u,  %p, %p)", static_cast<int>(i),
                      field.name.c_str(), zorTypeName(field.type), field.length1, field.length2,
                      field.offset1, field.offset2, field.decimals,
                      static_cast<void*>(desc.getRecordMetaData(i)), field.extendedMeta);
    }
}

void traceFields(const ZorFunctionMetaData& desc) noexcept {
    for (unsigned i = 0; i < desc.getFieldCount(); ++i) {
        const ZorParameterFieldType& field = desc[i];
        ZorTraceWrite("\t parameter %i (%s, %s, %s, %u, %u, %u, %p, %s, %s, %i, %p)", static_cast<int>(i),
                      field.name.c_str(), zorTypeName(field.type), zorDirectionName(field.direction),
                      field.length1, field.length2, field.decimals,
                      static_cast<void*>(desc.getRecordMetaData(i)), field.defaultValue.c_str(),
                      field.paramDesc.c_str(), field.optional, field.extendedMeta);
    }
}

}  // namespace

/**
 * What one call adds. It is collected beside the caches first, because collecting can fail, and taken over
 * in one step that can't. Made and used with the repository's lock held.
 */
class ZorRepository::Addition {
  public:
    explicit Addition(ZorRepository& target) : target(target), level(target.traceLevel()) {}

    /** Collects a description and all that it refers to. */
    template <class T>
    ZorMetaDataRef<T> add(T& desc) {
        ZorMetaDataRef<T> cached = collect(desc);
        // Not by recursion: chains of classes may be of any length.
        while (!open.empty()) {
            ZorAbstractMetaData* const next = open.back();
            open.pop_back();
            if (next->getMetaType() == ZOR_META_CLASS)
                (void)collect(static_cast<ZorClassMetaData&>(*next));
            else
                (void)collect(static_cast<ZorRecordMetaData&>(*next));
        }
        return cached;
    }

    void commit() noexcept {
        target.structureCache.take(structures);
        target.functionCache.take(functions);
        target.classCache.take(classes);
    }

  private:
    template <class T>
    using Entries = typename ZorDescriptionCache<T>::Entries;

    RecordRef collect(ZorRecordMetaData& desc) {
        return collect("structure", "addStructureDescToCache", desc, target.structureCache, structures);
    }
    FunctionRef collect(ZorFunctionMetaData& desc) {
        return collect("function", "addFunctionDescToCache", desc, target.functionCache, functions);
    }
    ClassRef collect(ZorClassMetaData& desc) {
        return collect("class", "addClassDescToCache", desc, target.classCache, classes);
    }

    template <class T>
    ZorMetaDataRef<T> collect(const KEL_UC* kind, const KEL_UC* operation, T& desc,
                              const ZorDescriptionCache<T>& cache, Entries<T>& additions) {
        const KEL_string& name = desc.getName();
        if (level > 0) {
            ZorTraceWrite("Repository::%s(%p)", operation, static_cast<const void*>(&desc));
            traceName(desc);
            traceFields(desc);
        }
        desc.lock();
        if (level > 1) traceAdding(kind, desc, name);
        ZorMetaDataRef<T> known = cache.find(name);
        if (!known) known = cache.findIn(additions, name);
        if (level > 1) traceFound(kind, desc, known.get());
        if (!known) {
            known = ZorMetaDataRef<T>(&desc);
            additions.emplace(name, known);
            openNested(desc);
        }
        if (level > 1)
            ZorTraceWrite("ZorRepository: add %s (%s, %p) to cache %s returned %p", kind, name.c_str(),
                          static_cast<void*>(&desc), target.name.c_str(), static_cast<void*>(known.get()));
        return known;
    }

    /** Puts what the fields refer to on the list, so that the first field's comes next. */
    template <class F>
    void openNested(const ZorMetaDataBase<F>& desc) {
        for (unsigned i = desc.getFieldCount(); i-- > 0;)
            if (ZorRecordMetaData* const nested = desc.getRecordMetaData(i)) open.push_back(nested);
    }
    void openNested(const ZorClassMetaData& desc) {
        for (unsigned i = desc.getFieldCount(); i-- > 0;)
            if (ZorAbstractMetaData* const nested = desc.getMetaData(i)) open.push_back(nested);
    }

    void traceAdding(const KEL_UC* kind, const ZorAbstractMetaData& desc,
                     const KEL_string& name) const noexcept {
        if (desc.getMetaType() == ZOR_META_RECORD)
            ZorTraceWrite("ZorRepository: add %s (%s, %p) to cache %s", kind, name.c_str(),
                          static_cast<const void*>(&desc), target.name.c_str());
        else
            ZorTraceWrite("ZorRepository: add %s (%s) to cache %s", kind, name.c_str(), target.name.c_str());
    }

    template <class T>
    void traceFound(const KEL_UC* kind, const T& desc, const T* known) const noexcept {
        const KEL_UC* const name = desc.getName().c_str();
        ZorTraceWrite("ZorRepository: add %s %p (%s) to cache %s, cached %p (%s)", kind,
                      static_cast<const void*>(&desc), name, target.name.c_str(),
                      static_cast<const void*>(known), known != nullptr ? name : "");
    }

    ZorRepository& target;
    const unsigned level;
    std::vector<ZorAbstractMetaData*> open;  ///< Referred to by what was collected, and not looked at yet.
    Entries<ZorRecordMetaData> structures;
    Entries<ZorFunctionMetaData> functions;
    Entries<ZorClassMetaData> classes;
};

template <class T>
ZorMetaDataRef<T> ZorRepository::add(T& desc) {
    const std::unique_lock lock(mutex);
    Addition addition(*this);
    ZorMetaDataRef<T> cached = addition.add(desc);
    addition.commit();
    return cached;
}

ZorRepository::RecordRef ZorRepository::addStructureDescToCache(ZorRecordMetaData& desc) {
    return add(desc);
}

ZorRepository::FunctionRef ZorRepository::addFunctionDescToCache(ZorFunctionMetaData& desc) {
    return add(desc);
}

void ZorRepository::traceDescription(const ZorFunctionMetaData& desc) noexcept {
    traceName(desc);
    traceFields(desc);
}

void ZorRepository::addToCache(std::span<const RecordRef> types, std::span<const FunctionRef> functions) {
    const std::unique_lock lock(mutex);
    Addition addition(*this);
    for (const RecordRef& type : types)
        (void)addition.add(*type);
    for (const FunctionRef& function : functions)
        (void)addition.add(*function);
    addition.commit();
}

ZorRepository::ClassRef ZorRepository::addClassDescToCache(ZorClassMetaData& desc) {
    return add(desc);
}
