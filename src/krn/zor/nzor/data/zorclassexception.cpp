#include "data/zorclassexception.h"

void ZorClassException::setExceptionObj(ZorUbixObject* object) {
    if (object == exceptionObj.get()) return;
    if (object != nullptr) {
        const ZorClassMetaData* const desc = object->getClassMetaData();
        exceptionName = desc != nullptr ? desc->getName() : KEL_string();
        object->setHeld();
    }
    exceptionObj.reset(object);
}
