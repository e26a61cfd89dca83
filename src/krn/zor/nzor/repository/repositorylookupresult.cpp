#include "repository/repositorylookupresult.h"

#include <algorithm>

void RepositoryLookupResult::add(ElementType type, const KEL_string& name, const KEL_string* errorText) {
    if (!isKnown(type)) return;
    if (errorText == nullptr)
        succeeded[type].push_back(name);
    else
        failed[type].push_back({name, *errorText});
}

void RepositoryLookupResult::clear() noexcept {
    for (auto& names : succeeded)
        names.clear();
    for (auto& failures : failed)
        failures.clear();
}

unsigned RepositoryLookupResult::getSucceededCount(ElementType type) const noexcept {
    return isKnown(type) ? static_cast<unsigned>(succeeded[type].size()) : 0;
}

unsigned RepositoryLookupResult::getFailedCount(ElementType type) const noexcept {
    return isKnown(type) ? static_cast<unsigned>(failed[type].size()) : 0;
}

const KEL_string* RepositoryLookupResult::getSucceeded(ElementType type, unsigned index) const noexcept {
    return index < getSucceededCount(type) ? &succeeded[type][index] : nullptr;
}

const RepositoryLookupResult::Failure* RepositoryLookupResult::getFailed(ElementType type,
                                                                         unsigned index) const noexcept {
    return index < getFailedCount(type) ? &failed[type][index] : nullptr;
}

bool RepositoryLookupResult::hasFailures() const noexcept {
    return std::any_of(failed.begin(), failed.end(), [](const auto& failures) { return !failures.empty(); });
}
