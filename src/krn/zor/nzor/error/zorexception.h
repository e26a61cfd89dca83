/**
 * @file
 * The tree of exceptions by which the object layer reports failure. They are thrown by value,
 * caught by reference, and turned into a ZOR_ERROR_INFO at the exported boundary.
 */
#pragma once

#include <kelzor/error.h>

#include <algorithm>
#include <exception>
#include <string>
#include <string_view>

using KEL_string = std::string;

/** Return code of the conversation layer; 0 is success. */
using CM_RETCODE = KEL_INT;

/** Name of a code, as ZorGetRcAsString gives it; empty for a value outside the enumeration. */
const KEL_UC* zorRcName(ZOR_RC rc) noexcept;

/** Root of the tree: a code, a group, a key and a text. */
class ZorBaseException : public std::exception {
  public:
    ZorBaseException(ZOR_RC code, ZOR_ERROR_GROUP group, std::string_view key, std::string_view message)
        : code(code), errorGroup(group), key(key), message(message) {}

    ZOR_RC getCode() const noexcept { return code; }
    ZOR_ERROR_GROUP getGroup() const noexcept { return errorGroup; }
    const KEL_string& getKey() const noexcept { return key; }
    const KEL_string& getMessage() const noexcept { return message; }
    const char* what() const noexcept override { return message.c_str(); }

    /**
     * Fills the caller's record: all bytes zero first, then what this exception carries; key and
     * message are cut to their width. NULL is allowed. Returns the code.
     */
    virtual ZOR_RC getErrorInfo(ZOR_ERROR_INFO* errorInfo) const noexcept;

  protected:
    ZOR_RC code;
    ZOR_ERROR_GROUP errorGroup;
    KEL_string key;
    KEL_string message;
};

/** A class whose code and group are fixed and whose key, unless given, is the name of the code. */
template <class Tag, ZOR_RC Code, ZOR_ERROR_GROUP Group = EXTERNAL_RUNTIME_FAILURE>
class ZorFixedException : public ZorBaseException {
  public:
    explicit ZorFixedException(std::string_view message)
        : ZorBaseException(Code, Group, zorRcName(Code), message) {}

  protected:
    ZorFixedException(std::string_view key, std::string_view message)
        : ZorBaseException(Code, Group, key, message) {}
};

using ZorSerializationException = ZorFixedException<struct ZorSerializationTag, ZOR_SERIALIZATION_FAILURE>;
using ZorXmlParserException = ZorFixedException<struct ZorXmlParserTag, ZOR_SERIALIZATION_FAILURE>;
using ZorGZIPException = ZorFixedException<struct ZorGZIPTag, ZOR_SERIALIZATION_FAILURE>;
using ZorLZException = ZorFixedException<struct ZorLZTag, ZOR_SERIALIZATION_FAILURE>;
using ZorLumxException = ZorFixedException<struct ZorLumxTag, ZOR_SERIALIZATION_FAILURE>;
using NgZorSerializerException = ZorFixedException<struct NgZorSerializerTag, ZOR_SERIALIZATION_FAILURE>;
using ZorInvalidParameterException = ZorFixedException<struct ZorInvalidParameterTag, ZOR_INVALID_PARAMETER>;
using ZorInvalidHandleException = ZorFixedException<struct ZorInvalidHandleTag, ZOR_INVALID_HANDLE>;
using ZorIllegalStateException = ZorFixedException<struct ZorIllegalStateTag, ZOR_ILLEGAL_STATE>;
using ZorOutOfMemoryException = ZorFixedException<struct ZorOutOfMemoryTag, ZOR_MEMORY_INSUFFICIENT>;
using ZorStartGUIException = ZorFixedException<struct ZorStartGUITag, ZOR_START_KELGUI_FAILURE>;

/** Failure of the transport; carries the conversation layer's code, 0 when none was given. */
class ZorCommunicationException
    : public ZorFixedException<struct ZorCommunicationTag, ZOR_COMMUNICATION_FAILURE, COMMUNICATION_FAILURE> {
  public:
    explicit ZorCommunicationException(std::string_view message, CM_RETCODE cpicErrorCode = 0)
        : ZorFixedException(message), cpicErrorCode(cpicErrorCode) {}
    CM_RETCODE getCpicErrorCode() const noexcept { return cpicErrorCode; }

  private:
    CM_RETCODE cpicErrorCode;
};

/** The partner refused the logon. */
class ZorLogonException : public ZorFixedException<struct ZorLogonTag, ZOR_LOGON_FAILURE, LOGON_FAILURE> {
  public:
    explicit ZorLogonException(std::string_view message) : ZorFixedException(message) {}
    ZorLogonException(std::string_view key, std::string_view message) : ZorFixedException(key, message) {}
};

/** A function of the partner raised a class exception; the key is the name of its class. */
class ZorUBIXClassException
    : public ZorFixedException<struct ZorUBIXClassTag, ZOR_UBIX_CLASS_EXCEPTION, UBIX_APPLICATION_FAILURE> {
  public:
    ZorUBIXClassException(std::string_view key, std::string_view message) : ZorFixedException(key, message) {}
};

/** A server has no function of the wanted name. */
class ZorServerNotFoundException : public ZorFixedException<struct ZorServerNotFoundTag, ZOR_NOT_FOUND> {
  public:
    explicit ZorServerNotFoundException(std::string_view funcName);
};

/** A text has no counterpart in the target code page, or there is no converter for a pair of pages. */
class ZorCodepageConversionException
    : public ZorFixedException<struct ZorCodepageConversionTag, ZOR_CONVERSION_FAILURE> {
  public:
    explicit ZorCodepageConversionException(std::string_view message) : ZorFixedException(message) {}
    /** Code pages are given by at least four characters, of which exactly four count. */
    ZorCodepageConversionException(const KEL_UC* fromCodepage, const KEL_UC* toCodepage);
};

/** A value can't be read or written as the wanted type. */
class ZorTypeConversionException
    : public ZorFixedException<struct ZorTypeConversionTag, ZOR_CONVERSION_FAILURE> {
  public:
    explicit ZorTypeConversionException(std::string_view message) : ZorFixedException(message) {}
    /** A field can't be read as reqType. */
    ZorTypeConversionException(std::string_view fieldName, ZORTYPE realType, std::string_view reqType);
    /** A value of a field can't be read as reqType. */
    ZorTypeConversionException(std::string_view fieldName, ZORTYPE realType, std::string_view valStr,
                               std::string_view reqType);
    /** A value of type reqType can't be written to a field. */
    ZorTypeConversionException(std::string_view fieldName, std::string_view reqType, ZORTYPE realType);
};

/** The caller's buffer doesn't hold the value; lengths in characters or bytes. */
class ZorBufferTooSmallException
    : public ZorFixedException<struct ZorBufferTooSmallTag, ZOR_BUFFER_TOO_SMALL> {
  public:
    explicit ZorBufferTooSmallException(std::string_view message) : ZorFixedException(message) {}
    ZorBufferTooSmallException(std::string_view fieldName, std::string_view reqType, unsigned actBufLength,
                               unsigned reqBufLength);
};

/** The text in a member of a record, which a user filled and may have forgotten to end. */
template <size_t size>
KEL_string zorTextOf(const KEL_UC (&member)[size]) {
    return KEL_string(member, std::find(member, member + size, '\0'));
}

/** The fields of a message of the back-end. */
struct ZorUBIXMessageFields {
    /** Those that a user filled in. */
    static ZorUBIXMessageFields of(const ZOR_ERROR_INFO& info);

    KEL_string msgId;
    KEL_string msgTy;
    KEL_string msgNo;
    KEL_string msgV1;
    KEL_string msgV2;
    KEL_string msgV3;
    KEL_string msgV4;
};

/** A failure that carries a message of the back-end. */
class ZorUBIXBaseException : public ZorBaseException {
  public:
    ZorUBIXBaseException(ZOR_RC code, ZOR_ERROR_GROUP group, std::string_view key, std::string_view message,
                         ZorUBIXMessageFields fields = {});

    /**
     * As the base, but a text that doesn't fit with its terminator leaves its member empty. Of the
     * message type only the first character is stored.
     */
    ZOR_RC getErrorInfo(ZOR_ERROR_INFO* errorInfo) const noexcept override;

    const ZorUBIXMessageFields& getFields() const noexcept { return fields; }

  private:
    ZorUBIXMessageFields fields;
};

/** The partner's program ended with a message. */
class ZorUBIXMessageException : public ZorUBIXBaseException {
  public:
    explicit ZorUBIXMessageException(std::string_view message);
    ZorUBIXMessageException(std::string_view key, std::string_view message);
    ZorUBIXMessageException(ZOR_ERROR_GROUP group, std::string_view key, std::string_view message,
                            ZorUBIXMessageFields fields);
};

/** The called function raised one of the exceptions of its interface. */
class ZorUBIXException : public ZorUBIXBaseException {
  public:
    explicit ZorUBIXException(std::string_view message);
    ZorUBIXException(std::string_view key, std::string_view message);
    ZorUBIXException(ZOR_ERROR_GROUP group, std::string_view key, std::string_view message,
                     ZorUBIXMessageFields fields);
};

/** The partner's program ended with a short dump or another system failure. */
class ZorSystemException : public ZorUBIXBaseException {
  public:
    explicit ZorSystemException(std::string_view message);
    ZorSystemException(std::string_view key, std::string_view message);
    ZorSystemException(ZOR_RC code, ZOR_ERROR_GROUP group, std::string_view key, std::string_view message,
                       ZorUBIXMessageFields fields = {});
};
