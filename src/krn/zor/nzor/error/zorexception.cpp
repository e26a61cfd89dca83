#include "error/zorexception.h"

#include <cstring>

#include "error/zorliterals.h"

namespace {

/** Copies at most size - 1 characters and a terminator. */
template <size_t size>
void copyCut(KEL_UC (&target)[size], const KEL_string& text) noexcept {
    const size_t length = text.size() < size ? text.size() : size - 1;
    std::memcpy(target, text.data(), length);
    target[length] = 0;
}

/** Copies a text that fits with its terminator; any other leaves the target as it is. */
template <size_t size>
void copyWhole(KEL_UC (&target)[size], const KEL_string& text) noexcept {
    if (text.size() < size) copyCut(target, text);
}

KEL_string joined(std::initializer_list<std::string_view> parts) {
    size_t length = 0;
    for (const auto part : parts)
        length += part.size();
    KEL_string text;
    text.reserve(length);
    for (const auto part : parts)
        text.append(part);
    return text;
}

void startRecord(ZOR_ERROR_INFO& record, ZOR_RC code, ZOR_ERROR_GROUP group) noexcept {
    std::memset(&record, 0, sizeof record);
    record.code = code;
    record.group = group;
}

}  // namespace

ZOR_RC ZorBaseException::getErrorInfo(ZOR_ERROR_INFO* errorInfo) const noexcept {
    if (errorInfo == nullptr) return code;
    startRecord(*errorInfo, code, errorGroup);
    copyCut(errorInfo->key, key);
    copyCut(errorInfo->message, message);
    return code;
}

ZOR_RC ZorUBIXBaseException::getErrorInfo(ZOR_ERROR_INFO* errorInfo) const noexcept {
    if (errorInfo == nullptr) return code;
    startRecord(*errorInfo, code, errorGroup);
    copyWhole(errorInfo->key, key);
    copyWhole(errorInfo->message, message);
    copyWhole(errorInfo->ubixMsgClass, fields.msgId);
    errorInfo->ubixMsgType[0] = fields.msgTy.empty() ? KEL_UC{} : fields.msgTy.front();
    copyWhole(errorInfo->ubixMsgNumber, fields.msgNo);
    copyWhole(errorInfo->ubixMsgV1, fields.msgV1);
    copyWhole(errorInfo->ubixMsgV2, fields.msgV2);
    copyWhole(errorInfo->ubixMsgV3, fields.msgV3);
    copyWhole(errorInfo->ubixMsgV4, fields.msgV4);
    return code;
}

ZorServerNotFoundException::ZorServerNotFoundException(std::string_view funcName)
    : ZorFixedException(joined({"Function ", funcName, " not found"})) {}

ZorCodepageConversionException::ZorCodepageConversionException(const KEL_UC* fromCodepage,
                                                               const KEL_UC* toCodepage)
    : ZorFixedException(joined({"cannot convert from codepage ", std::string_view(fromCodepage, 4),
                                " to codepage ", std::string_view(toCodepage, 4)})) {}

ZorTypeConversionException::ZorTypeConversionException(std::string_view fieldName, ZORTYPE realType,
                                                       std::string_view reqType)
    : ZorFixedException(
          joined({fieldName, " of type ", zorTypeName(realType), " cannot be converted to type ", reqType})) {
}

ZorTypeConversionException::ZorTypeConversionException(std::string_view fieldName, ZORTYPE realType,
                                                       std::string_view valStr, std::string_view reqType)
    : ZorFixedException(joined({fieldName, " of type ", zorTypeName(realType), " value=", valStr,
                                " cannot be converted to type ", reqType})) {}

ZorTypeConversionException::ZorTypeConversionException(std::string_view fieldName, std::string_view reqType,
                                                       ZORTYPE realType)
    : ZorFixedException(joined({"value with the type ", reqType, " cannot be converted to type ",
                                zorTypeName(realType), " on the field ", fieldName})) {}

ZorBufferTooSmallException::ZorBufferTooSmallException(std::string_view, std::string_view reqType,
                                                       unsigned actBufLength, unsigned reqBufLength)
    : ZorFixedException(
          joined({"value with the type ", reqType, " does not fit into given buffer with the length ",
                  std::to_string(actBufLength), " required buffer length ", std::to_string(reqBufLength)})) {}

ZorUBIXMessageFields ZorUBIXMessageFields::of(const ZOR_ERROR_INFO& info) {
    return {zorTextOf(info.ubixMsgClass), zorTextOf(info.ubixMsgType), zorTextOf(info.ubixMsgNumber),
            zorTextOf(info.ubixMsgV1),    zorTextOf(info.ubixMsgV2),   zorTextOf(info.ubixMsgV3),
            zorTextOf(info.ubixMsgV4)};
}

ZorUBIXBaseException::ZorUBIXBaseException(ZOR_RC code, ZOR_ERROR_GROUP group, std::string_view key,
                                           std::string_view message, ZorUBIXMessageFields fields)
    : ZorBaseException(code, group, key, message), fields(std::move(fields)) {}

ZorUBIXMessageException::ZorUBIXMessageException(std::string_view message)
    : ZorUBIXMessageException(zorRcName(ZOR_UBIX_MESSAGE), message) {}

ZorUBIXMessageException::ZorUBIXMessageException(std::string_view key, std::string_view message)
    : ZorUBIXBaseException(ZOR_UBIX_MESSAGE, UBIX_APPLICATION_FAILURE, key, message) {}

ZorUBIXMessageException::ZorUBIXMessageException(ZOR_ERROR_GROUP group, std::string_view key,
                                                 std::string_view message, ZorUBIXMessageFields fields)
    : ZorUBIXBaseException(ZOR_UBIX_MESSAGE, group, key, message, std::move(fields)) {}

ZorUBIXException::ZorUBIXException(std::string_view message)
    : ZorUBIXException(zorRcName(ZOR_UBIX_EXCEPTION), message) {}

ZorUBIXException::ZorUBIXException(std::string_view key, std::string_view message)
    : ZorUBIXBaseException(ZOR_UBIX_EXCEPTION, UBIX_APPLICATION_FAILURE, key, message) {}

ZorUBIXException::ZorUBIXException(ZOR_ERROR_GROUP group, std::string_view key, std::string_view message,
                                   ZorUBIXMessageFields fields)
    : ZorUBIXBaseException(ZOR_UBIX_EXCEPTION, group, key, message, std::move(fields)) {}

ZorSystemException::ZorSystemException(std::string_view message)
    : ZorSystemException(zorRcName(ZOR_UBIX_RUNTIME_FAILURE), message) {}

ZorSystemException::ZorSystemException(std::string_view key, std::string_view message)
    : ZorUBIXBaseException(ZOR_UBIX_RUNTIME_FAILURE, UBIX_RUNTIME_FAILURE, key, message) {}

ZorSystemException::ZorSystemException(ZOR_RC code, ZOR_ERROR_GROUP group, std::string_view key,
                                       std::string_view message, ZorUBIXMessageFields fields)
    : ZorUBIXBaseException(code, group, key, message, std::move(fields)) {}
