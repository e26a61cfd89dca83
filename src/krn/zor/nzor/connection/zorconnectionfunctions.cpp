#include "connection/zorconnectionfunctions.h"

#include <iterator>
#include <span>
#include <vector>

#include "config/immortal.h"
#include "meta/zorfunctionmetadata.h"

namespace {

/** A parameter, with its lengths in bytes for characters of one and of two bytes. */
struct Parameter {
    const KEL_UC* name;
    ZORTYPE type;
    unsigned length1;
    unsigned length2;
    ZOR_DIRECTION direction = ZOR_IMPORT;
};

struct Row {
    const KEL_UC* name;
    const KEL_UC* origin;
    std::span<const Parameter> parameters;
};

constexpr Parameter prepareAttachGui[] = {
    {"DEBUG", ZORTYPE_INT, 4, 4},
    {"GUI", ZORTYPE_INT, 4, 4},
    {"VSL", ZORTYPE_INT, 4, 4},
    {"START_GUI_COMMAND", ZORTYPE_CHAR, 1024, 2048, ZOR_EXPORT},
    {"SYSTEM_ID", ZORTYPE_CHAR, 32, 64, ZOR_EXPORT},
    {"SYSTEM_NR", ZORTYPE_INT, 4, 4, ZOR_EXPORT},
    {"KELGUI_ID", ZORTYPE_CHAR, 32, 64, ZOR_EXPORT},
};

constexpr Parameter finishAttachGui[] = {
    {"MESSAGE", ZORTYPE_CHAR, 512, 1024},
    {"CONNECTSTRING", ZORTYPE_CHAR, 1024, 2048},
    {"KELGUI_ID", ZORTYPE_CHAR, 32, 64},
};

constexpr Parameter version3Init[] = {
    {"DEBUG", ZORTYPE_INT, 4, 4},
    {"GUI", ZORTYPE_INT, 4, 4},
    {"VSL", ZORTYPE_INT, 4, 4},
};

constexpr Parameter changePassword[] = {
    {"BNAME", ZORTYPE_CHAR, 12, 24},
    {"PASSWORD", ZORTYPE_CHAR, 40, 80},
    {"NEW_PASSWORD", ZORTYPE_CHAR, 40, 80},
};

// In the order of the enumeration.
constexpr Row rows[] = {
    {"SYSTEM_PREPARE_ATTACH_GUI", "Static", prepareAttachGui},
    {"SYSTEM_FINISH_ATTACH_GUI", "Static", finishAttachGui},
    {"SYSTEM_ZOR_VERSION_3_INIT", "Static", version3Init},
    {"SYSTEM_INVISIBLE_GUI", "Static", {}},
    {"SUSR_USER_CHANGE_PASSWORD_ZOR", "Static", changePassword},
    {"SYSTEM_RESET_ZOR_SERVER", "custom", {}},
};

struct Descriptions {
    Descriptions() {
        for (const Row& row : rows) {
            all.push_back(ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>(
                row.name, row.origin, static_cast<unsigned>(row.parameters.size()), false));
            for (const Parameter& p : row.parameters)
                all.back()->add(p.name, p.type, p.direction, p.length1, p.length2, 0);
            all.back()->lock();
        }
    }

    std::vector<ZorMetaDataRef<ZorFunctionMetaData>> all;
};

const Descriptions& descriptions() {
    static const Immortal<Descriptions> made;
    return made.value;
}

}  // namespace

void ZorConnectionFunctions::init() {
    (void)descriptions();
}

ZorFunctionMetaData& ZorConnectionFunctions::get(ZorConnectionFunction function) {
    return *descriptions().all[static_cast<size_t>(function)];
}
