/** @file A function container: the parameters of one remote function. */
#pragma once

#include <memory>
#include <vector>

#include "data/zorclassexception.h"
#include "data/zorparameter.h"
#include "meta/zorfunctionmetadata.h"

class KEL_ofstream;
class ZorConnection;
class ZorItemStream;
enum ZORID : std::uint16_t;

/**
 * A function container; its fields are the parameters. Writing a scalar or string parameter through the
 * container makes it active. Holds its description by a counted reference. May serve several calls.
 */
class ZorFunction : public ZorRecord {
  public:
    /** Locks the description and makes all parameters, without children. */
    explicit ZorFunction(ZorFunctionMetaData& desc);
    ZorFunction(const ZorFunction&) = delete;

    ZorRecordType getRecordType() const noexcept override { return ZOR_RECORD_FUNCTION; }
    ZorAbstractMetaData* getDescriptor() override { return metaData.get(); }
    const ZorFieldTypeBase& describe(unsigned index) const noexcept override { return params[index]->desc(); }
    ZorFieldSlot locate(unsigned index) override { return paramSlots[index]; }

    /** The function's name in capitals. */
    const KEL_string& getName() const noexcept { return name; }
    using ZorRecord::getName;
    ZorFunctionMetaData* getFunctionMetaData() const noexcept { return metaData.get(); }

    /** The parameter at an index below `getFieldCount`. */
    ZorParameter& parameter(unsigned index) noexcept { return *params[index]; }
    /**
     * The parameter of a name if it is active, or is made so by `activate`; null if it isn't or if the
     * name is unknown. Allocates nothing.
     */
    ZorParameter* getParameter(std::string_view name, bool activate) noexcept;
    /** Does nothing for an unknown name. */
    void setParameterActive(std::string_view name, bool active) noexcept;
    /** False for an unknown name. */
    bool isParameterActive(std::string_view name) const noexcept;

    /** @name Class exceptions */
    /** @{ */
    /**
     * Lets the partner answer with a class exception, whose class is looked up on a connection. The handle
     * is looked up in the list when it is needed: the connection may be gone by then.
     */
    void enableClassException(ZOR_CONNECTION_HANDLE repositoryConnection) noexcept {
        classExceptionEnabled = true;
        connRepository = repositoryConnection;
    }
    bool isClassExceptionEnabled() const noexcept { return classExceptionEnabled; }
    ZOR_CONNECTION_HANDLE repositoryConnection() const noexcept { return connRepository; }
    /** Null if there is none. */
    ZorClassException* getClassException() const noexcept { return classException.get(); }
    /**
     * Stores an exception in the place of the one before. Throws ZorIllegalStateException unless class
     * exceptions are enabled.
     */
    void setClassException(std::unique_ptr<ZorClassException> exception);
    /**
     * The same of an object that a caller made, which is taken over; on failure it stays the caller's. The
     * object that is held already gets another text. ZorInvalidHandleException for one that belongs to
     * another container.
     */
    void setClassException(std::string_view text, ZorUbixObject& object);
    /** @} */

    /** @name The call */
    /** @{ */
    void zorSerialize(ZorConnection& conn, ZORID rid);
    void zorSerializeParams(ZorItemStream& conn);
    void zorCallReceive(ZorConnection& conn, ZORID rid);
    /** Reads the parameters of a call of the partner, to the end of its message. */
    void zorDeserialize(ZorItemStream& conn);
    /**
     * On the side that serves: switches off what the caller didn't ask for, after its call was read. A
     * partner of a kernel release below 46 doesn't say which results it wants, so it gets all.
     */
    void deactivateUnrequestedParameters(std::string_view partnerKernelRelease) noexcept;
    /** @} */

    /** The parameters; above level 2 the values of the active ones too. Makes no children. */
    void writeTraceEntry(KEL_ofstream* trace);

    /**
     * Whether nothing in the value of a parameter has the name of a secret, so that a dump may show its
     * bytes; false for an unknown name.
     */
    bool showsParameter(std::string_view name) const noexcept;
    /** The same of all parameters. */
    bool showsAll() const noexcept;

    bool isCall = true;  ///< False while the container serves an incoming call.

  private:
    void checkClassExceptionEnabled() const;
    ZorParameter* find(std::string_view name) const noexcept;

    ZorMetaDataRef<ZorFunctionMetaData> metaData;
    KEL_string name;
    std::vector<std::unique_ptr<ZorParameter>> params;
    std::vector<ZorFieldSlot> paramSlots;  ///< Of each parameter, whose storage never moves.
    bool classExceptionEnabled = false;    ///< The partner may answer with a class exception.
    ZOR_CONNECTION_HANDLE connRepository = nullptr;
    std::unique_ptr<ZorClassException> classException;
};
