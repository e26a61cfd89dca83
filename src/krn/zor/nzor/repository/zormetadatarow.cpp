#include "repository/zormetadatarow.h"

namespace {

unsigned ofBytes(const KEL_RAW* bytes, unsigned length) noexcept {
    unsigned value = 0;
    for (unsigned i = 0; i < length; ++i)
        value = value << 8 | bytes[i];
    return value;
}

}  // namespace

std::string_view ZorMetadataRow::text(std::string_view field) const {
    const unsigned index = row.getIndex(field);
    const std::string_view all(reinterpret_cast<const KEL_UC*>(row.getBuffer(index)), row.getLength(index));
    return all.substr(0, all.find_last_not_of(' ') + 1);
}

KEL_UC ZorMetadataRow::letter(std::string_view field) const {
    return static_cast<KEL_UC>(*row.getBuffer(row.getIndex(field)));
}

unsigned ZorMetadataRow::number(std::string_view field) const {
    const unsigned index = row.getIndex(field);
    unsigned value = 0;
    if (row.getType(index) == ZORTYPE_BYTE) {
        value = ofBytes(row.getBuffer(index), row.getLength(index));
    } else {
        ZOR_INT read = 0;
        try {
            row.getValue(index, &read);
        } catch (const ZorBaseException& failure) {
            throw ZorBaseException(failure.getCode(), EXTERNAL_RUNTIME_FAILURE, {}, {});
        }
        value = static_cast<unsigned>(read);
    }
    // A negative number is a very large one here.
    if (value > longestRecord) throw ZorInvalidParameterException("record length is out of range");
    return value;
}
