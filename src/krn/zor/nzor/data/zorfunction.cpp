#include "data/zorfunction.h"

#include <algorithm>

namespace {

constexpr KEL_CHAR toCapital(KEL_CHAR c) {
    return c >= 'a' && c <= 'z' ? static_cast<KEL_CHAR>(c - 'a' + 'A') : c;
}

}  // namespace

ZorFunction::ZorFunction(ZorFunctionMetaData& desc) : metaData(&desc), name(desc.getName()) {
    desc.lock();
    std::transform(name.begin(), name.end(), name.begin(), toCapital);
    params.reserve(desc.getFieldCount());
    paramSlots.reserve(desc.getFieldCount());
    for (unsigned index = 0; index < desc.getFieldCount(); ++index)
        paramSlots.push_back(params.emplace_back(std::make_unique<ZorParameter>(desc[index]))->slot());
    slots = paramSlots.data();
    fieldCount = desc.getFieldCount();
    names = &desc.getNameIndex();
}

ZorParameter* ZorFunction::find(std::string_view parameterName) const noexcept {
    unsigned index = 0;
    return metaData->hasField(parameterName, &index) ? params[index].get() : nullptr;
}

ZorParameter* ZorFunction::getParameter(std::string_view parameterName, bool activate) noexcept {
    ZorParameter* parameter = find(parameterName);
    if (parameter == nullptr) return nullptr;
    if (activate) parameter->setActive(true);
    return parameter->isActive() ? parameter : nullptr;
}

void ZorFunction::setParameterActive(std::string_view parameterName, bool active) noexcept {
    if (ZorParameter* parameter = find(parameterName)) parameter->setActive(active);
}

bool ZorFunction::isParameterActive(std::string_view parameterName) const noexcept {
    const ZorParameter* parameter = find(parameterName);
    return parameter != nullptr && parameter->isActive();
}

void ZorFunction::deactivateUnrequestedParameters(std::string_view partnerKernelRelease) noexcept {
    const bool tellsRequests = partnerKernelRelease >= "5" || partnerKernelRelease.starts_with("46");
    for (const auto& parameter : params) {
        const bool wanted =
            parameter->isRequested() || (!tellsRequests && parameter->direction() == ZOR_EXPORT);
        if (!wanted) parameter->setActive(false);
    }
}

void ZorFunction::checkClassExceptionEnabled() const {
    if (!classExceptionEnabled)
        throw ZorIllegalStateException("UBIX class exeception support not enabled for this function handle");
}

void ZorFunction::setClassException(std::unique_ptr<ZorClassException> exception) {
    checkClassExceptionEnabled();
    classException = std::move(exception);
}

void ZorFunction::setClassException(std::string_view text, ZorUbixObject& object) {
    checkClassExceptionEnabled();
    if (classException != nullptr && classException->getExceptionObj() == &object)
        return classException->setExceptionText(text);
    if (object.isHeld()) throw ZorInvalidHandleException("An invalid handle was passed to the API call");
    setClassException(std::make_unique<ZorClassException>(text, &object));
}
