// Exported functions of the family "Language and character helpers".

#include <kelzor/language.h>

#include "api/frame.h"
#include "convert/zorconverter.h"
#include "error/zorexception.h"
#include "krn/rscp/rscplanguage.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

namespace {

void traceIso(const KEL_UC* laiso) noexcept {
    if (ZorConfig::getGlobalTraceLevel() > 2) ZorTraceWrite("laiso: >>%.2s<<", laiso);
}

void traceKey(const KEL_UC* lang) noexcept {
    if (ZorConfig::getGlobalTraceLevel() > 2)
        ZorTraceWrite("lang: hex %x", static_cast<unsigned>(static_cast<KEL_RAW>(*lang)));
}

/** A target may be absent when it has no room. */
const void* targetOrEmpty(const void* target, const unsigned* size) noexcept {
    return target == nullptr && size != nullptr && *size == 0 ? size : target;
}

constexpr auto textChecks(const void* source, const unsigned* size, const void* target) {
    return checks(Required{source, "NAME"}, Required{size, "NAME"}, Required{target, "NAME"});
}

/** Runs a conversion that stores its result's length, also where it fails. */
template <class Conversion>
void convertText(unsigned sourceLength, unsigned* size, unsigned* resultLength, const KEL_UC* targetType,
                 const Conversion& conversion) {
    unsigned ignored;
    unsigned& length = resultLength != nullptr ? *resultLength : ignored;
    length = 0;
    if (sourceLength == 0) return;
    const unsigned room = *size;
    if (conversion(length) == ZOR_BUFFER_TOO_SMALL)
        throw ZorBufferTooSmallException({}, targetType, room, *size);
}

}  // namespace

ZOR_RC ZorLanguageIsoToKel(const KEL_UC* laiso, KEL_UC* lang, ZOR_ERROR_INFO* errorInfo) {
    const auto needed = checks(Required{laiso, "KEL_UC*"}, Required{lang, "KEL_UC*"});
    return guarded(__func__, errorInfo, GlobalLevel{}, needed, [&] {
        traceIso(laiso);
        if (rscpLangIsoToKel(lang, laiso) != RSCP_LANGUAGE_FOUND) return ZOR_INVALID_PARAMETER;
        traceKey(lang);
        return ZOR_OK;
    });
}

ZOR_RC ZorLanguageKelToIso(const KEL_UC* lang, KEL_UC* laiso, ZOR_ERROR_INFO* errorInfo) {
    const auto needed = checks(Required{lang, "KEL_UC*"}, Required{laiso, "KEL_UC*"});
    return guarded(__func__, errorInfo, GlobalLevel{}, needed, [&] {
        traceKey(lang);
        if (rscpLangKelToIso(laiso, lang) != RSCP_LANGUAGE_FOUND) return ZOR_INVALID_PARAMETER;
        traceIso(laiso);
        return ZOR_OK;
    });
}

ZOR_RC ZorUTF8ToKELUC(const ZOR_BYTE* utf8, unsigned utf8Length, KEL_UC* keluc, unsigned* kelucSize,
                      unsigned* resultLength, ZOR_ERROR_INFO* errorInfo) {
    const auto needed = textChecks(utf8, kelucSize, targetOrEmpty(keluc, kelucSize));
    return guarded(__func__, errorInfo, GlobalLevel{}, needed, [&] {
        convertText(utf8Length, kelucSize, resultLength, "KEL_UC", [&](unsigned& length) {
            return ZorConverter::utf8Tokeluc(nullptr, utf8, utf8Length, keluc, kelucSize, &length);
        });
    });
}

ZOR_RC ZorKELUCToUTF8(const KEL_UC* keluc, unsigned kelucLength, ZOR_BYTE* utf8, unsigned* utf8Size,
                      unsigned* resultLength, ZOR_ERROR_INFO* errorInfo) {
    const auto needed = textChecks(keluc, utf8Size, targetOrEmpty(utf8, utf8Size));
    return guarded(__func__, errorInfo, GlobalLevel{}, needed, [&] {
        convertText(kelucLength, utf8Size, resultLength, "ZOR_BYTE", [&](unsigned& length) {
            return ZorConverter::kelucToutf8(nullptr, keluc, kelucLength, utf8, utf8Size, &length);
        });
    });
}
