#include "data/zorfieldcells_number.h"

#include <limits>

#include "data/zorfieldcells_text.h"
#include "data/zorfieldfailure.h"

namespace zorcells {

void parsed(const ZorFieldSlot& slot, ZOR_INT& value) {
    value = leadingInteger({reinterpret_cast<const KEL_CHAR*>(slot.addr), slot.field.length1});
}

void parsedBcd(const ZorFieldSlot& slot, ZOR_INT& value) {
    ZorTextScratch scratch;
    value = leadingInteger(packed(slot, scratch));
}

void bigEndian(const ZorFieldSlot& slot, ZOR_INT& value) {
    const unsigned length = slot.field.length1;
    if (length != 1 && length != 2 && length != 4 && length != 8)
        throwReadFailure(slot.field, numberName<ZOR_INT>);
    KEL_UINT bits = 0;  // of 8 bytes the low-order half
    for (unsigned at = 0; at < length; ++at)
        bits = bits << 8 | slot.addr[at];
    value = length == 2 ? static_cast<ZOR_INT2>(bits) : static_cast<ZOR_INT>(bits);
}

void truncated(const ZorFieldSlot& slot, ZOR_INT& value) {
    constexpr ZOR_FLOAT beyond = 2147483648.0;
    const auto number = loadScalar<ZOR_FLOAT>(slot);
    value = number > -beyond - 1 && number < beyond ? static_cast<ZOR_INT>(number)
                                                    : std::numeric_limits<ZOR_INT>::min();
}

void plainFloat(const ZorFieldSlot& slot, ZOR_FLOAT& value) {
    value = loadScalar<ZOR_FLOAT>(slot);
}

void floatOfBcd(const ZorFieldSlot& slot, ZOR_FLOAT& value) {
    ZorTextScratch scratch;
    ZOR_FLOAT number = 0;
    int position = -1;
    // What the cell wrote is always a number: it can only be too large.
    if (charsToDouble(packed(slot, scratch), number, position) != ZOR_CONV_OK)
        throwReadFailure(slot.field, numberName<ZOR_FLOAT>);
    value = number;
}

void textOfFloat(const ZorFieldSlot& slot, ZOR_FLOAT value) {
    KEL_CHAR text[maxDoubleText];
    zorFieldRow(slot.field.type).writeText(slot, {text, doubleToString(text, value)}, ZORTYPE_FLOAT);
}

}  // namespace zorcells
