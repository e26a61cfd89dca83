// The answer of a back-end about many functions and types. A line of the input is a row: the letter of its
// table, a blank, and fields with their texts, `NAME=text;`. What is made of the rows has to serve for
// containers.

#include <memory>
#include <string>
#include <string_view>

#include "error/zorexception.h"
#include "repository/zorroundtrip.h"
#include "repository/zorsystemcall.h"

namespace metadatafuzz {
namespace {

constexpr unsigned version = 700;

/** The part in front of a mark; the text shrinks to what stands behind it. */
std::string_view split(std::string_view& text, char mark) {
    const std::string_view part = text.substr(0, text.find(mark));
    text.remove_prefix(std::min(text.size(), part.size() + 1));
    return part;
}

const char* tableOf(char letter) {
    switch (letter) {
        case 'D':
            return "DATATYPESCONT";
        case 'I':
            return "INDIRECTTYPES";
        case 'P':
            return "PARAMETERS";
        case 'F':
            return "FUNCTIONNAMES";
        default:
            return nullptr;
    }
}

void addRow(ZorSystemCall& call, std::string_view line) {
    const char* const table = line.empty() ? nullptr : tableOf(line[0]);
    if (table == nullptr) return;
    ZorStructure& row = call.table(table).appendNewRow();
    line.remove_prefix(std::min<std::size_t>(line.size(), 2));
    while (!line.empty()) {
        std::string_view text = split(line, ';');
        const std::string_view name = split(text, '=');
        const unsigned index = row.getDescriptor()->findIndex(name);
        if (index >= row.getFieldCount()) continue;
        try {
            row.setValue(index, text.data(), static_cast<unsigned>(text.size()), ZORTYPE_CHAR);
        } catch (const ZorBaseException&) {
            // The text is none of the field's type, or longer.
        }
    }
}

}  // namespace
}  // namespace metadatafuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace metadatafuzz;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    ZOR_METADATA_GET call(version);
    while (!rest.empty())
        addRow(call, split(rest, '\n'));
    for (const bool wide : {false, true}) {
        try {
            ZorRoundTrip answer("fuzz", call, wide);
            const auto types = answer.processTypes();
            for (const auto& [name, type] : types)
                if (type->getRecordLength() < 1u << 16) (void)std::make_unique<ZorStructure>(type.get());
            for (const auto& function : answer.processFunctions(types))
                (void)std::make_unique<ZorFunction>(*function);
        } catch (const ZorBaseException&) {
        }
    }
    return 0;
}
