#include "repository/zortypecircles.h"

#include <unordered_set>

#include "meta/zorlockplan.h"

namespace {

class Walk {
  public:
    void visit(const ZorRecordMetaData& type) {
        if (done.contains(&type)) return;
        if (!above.insert(&type).second)
            throw ZorInvalidParameterException("Type " + type.getName() + " contains itself");
        ZorLockPlan::checkNesting(static_cast<unsigned>(above.size()));
        for (unsigned i = 0; i < type.getFieldCount(); ++i)
            if (const ZorRecordMetaData* const nested = type.getRecordMetaData(i);
                nested != nullptr && type.getType(i) == ZORTYPE_STRUCTURE)
                visit(*nested);
        above.erase(&type);
        done.insert(&type);
    }

  private:
    std::unordered_set<const ZorRecordMetaData*> above;
    std::unordered_set<const ZorRecordMetaData*> done;  ///< Structures may be used many times over.
};

}  // namespace

void zorRefuseCircles(const ZorRecordMetaData& type) {
    Walk().visit(type);
}
