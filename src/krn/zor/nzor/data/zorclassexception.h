/** @file The class exception that a function ended with. */
#pragma once

#include <memory>
#include <string_view>

#include "data/zorubixobject.h"

/** A text and the exception object, which this owns. Its name is that of the object's class. */
class ZorClassException {
  public:
    /** Takes the object over, null for none; on failure it stays the caller's. */
    ZorClassException(std::string_view text, ZorUbixObject* object) : exceptionText(text) {
        setExceptionObj(object);
    }

    const KEL_string& getExceptionName() const noexcept { return exceptionName; }
    const KEL_string& getExceptionText() const noexcept { return exceptionText; }
    void setExceptionText(std::string_view text) { exceptionText = text; }
    ZorUbixObject* getExceptionObj() const noexcept { return exceptionObj.get(); }
    /** Takes the object over in the place of the one before; on failure it stays the caller's. */
    void setExceptionObj(ZorUbixObject* object);

  private:
    KEL_string exceptionName;
    KEL_string exceptionText;
    std::unique_ptr<ZorUbixObject> exceptionObj;
};
