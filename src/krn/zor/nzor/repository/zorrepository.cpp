#include "repository/zorrepository.h"

#include <mutex>

#include "config/immortal.h"
#include "config/zorconfig.h"
#include "repository/repository.h"
#include "trace/zortracefunctions.h"

namespace {

/** All repositories of the process. */
struct Registry {
    std::shared_mutex globalMutex;  ///< Guards `repositories`; held for finding or making one only.
    std::map<KEL_string, Repository, std::less<>> repositories;
};

/** Never destroyed: threads may still look something up while the process ends. */
Registry& registry() {
    static Immortal<Registry> instance;
    return instance.value;
}

ZorRepository* findRepository(std::string_view id) {
    Registry& all = registry();
    const std::shared_lock lock(all.globalMutex);
    const auto found = all.repositories.find(id);
    return found != all.repositories.end() ? &found->second : nullptr;
}

ZorRepository& makeRepository(std::string_view id) {
    Registry& all = registry();
    const std::unique_lock lock(all.globalMutex);
    return all.repositories.try_emplace(KEL_string(id), id).first->second;
}

}  // namespace

ZorRepository& ZorRepository::getRepository(std::string_view id) {
    ZorRepository* const existing = findRepository(id);
    ZorRepository& repository = existing != nullptr ? *existing : makeRepository(id);
    if (repository.traceLevel() > 1)
        ZorTraceWrite(existing != nullptr ? "ZorRepository: return the existing cache %s"
                                          : "ZorRepository: create new cache %s",
                      repository.name.c_str());
    return repository;
}

unsigned ZorRepository::traceLevel() const {
    return ZorConfig::getDestinationTraceLevel(name);
}

ZorRepository::RecordRef ZorRepository::getStructureDesc(ZOR_CONNECTION_HANDLE, std::string_view descName) {
    return getStructureDescFromCache(descName);
}

ZorRepository::FunctionRef ZorRepository::getFunctionDesc(ZOR_CONNECTION_HANDLE, std::string_view descName) {
    return getFunctionDescFromCache(descName);
}

ZorRepository::ClassRef ZorRepository::getClassDesc(ZOR_CONNECTION_HANDLE, std::string_view descName) {
    return getClassDescFromCache(descName);
}

void ZorRepository::lookupMetadataInBatch(const Names&, ZorConnection&, RepositoryLookupResult&) {}

ZorRepository::RecordRef ZorRepository::getStructureDescFromCache(std::string_view descName) const {
    const std::shared_lock lock(mutex);
    return structureCache.find(descName);
}

ZorRepository::FunctionRef ZorRepository::getFunctionDescFromCache(std::string_view descName) const {
    const std::shared_lock lock(mutex);
    return functionCache.find(descName);
}

ZorRepository::ClassRef ZorRepository::getClassDescFromCache(std::string_view descName) const {
    const std::shared_lock lock(mutex);
    return classCache.find(descName);
}

void ZorRepository::removeStructureDescFromCache(std::string_view descName) noexcept {
    const std::unique_lock lock(mutex);
    structureCache.remove(descName);
}

void ZorRepository::removeFunctionDescFromCache(std::string_view descName) noexcept {
    const std::unique_lock lock(mutex);
    functionCache.remove(descName);
}

void ZorRepository::removeClassDescFromCache(std::string_view descName) noexcept {
    const std::unique_lock lock(mutex);
    classCache.remove(descName);
}

void ZorRepository::clearRepository() {
    if (traceLevel() > 1) ZorTraceWrite("ZorRepository: clear cache %s", name.c_str());
    // What ends, ends after the lock: nobody has to wait for that.
    decltype(structureCache)::Entries structures;
    decltype(functionCache)::Entries functions;
    decltype(classCache)::Entries classes;
    const std::unique_lock lock(mutex);
    structures = structureCache.clear();
    functions = functionCache.clear();
    classes = classCache.clear();
}
