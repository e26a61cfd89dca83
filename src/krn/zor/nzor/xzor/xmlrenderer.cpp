#include "xzor/xmlrenderer.h"

#include "error/zorexception.h"

namespace {

constexpr bool startsTag(KEL_UC c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

constexpr bool continuesTag(KEL_UC c) noexcept {
    return startsTag(c) || (c >= '0' && c <= '9');
}

constexpr KEL_UC hexDigits[] = "0123456789ABCDEF";

}  // namespace

void XmlRenderer::escapeTag(std::string_view name, std::string& tag) {
    if (name.empty()) throw ZorLumxException("XmlRenderer::escapeTag: tag of length zero encounted");
    for (size_t at = 0; at < name.size(); ++at) {
        const KEL_UC c = name[at];
        const auto byte = static_cast<KEL_RAW>(c);
        if (at == 0 ? startsTag(c) : continuesTag(c))
            tag += c;
        else if (c == '/')
            tag += "_-";
        else
            tag.append("_--").append(1, hexDigits[byte >> 4]).append(1, hexDigits[byte & 0xF]);
    }
}
