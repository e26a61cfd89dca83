#include "data/zorfieldcells_decimal.h"

#include <algorithm>
#include <limits>

#include "base/keldecf/keldecf.h"
#include "config/zorconfig.h"
#include "data/zorfieldcells_number.h"
#include "data/zorfieldfailure.h"
#include "data/zorfieldslot.h"
#include "error/zorliterals.h"
#include "trace/zortracefunctions.h"

namespace zorcells {

namespace {

/** The decimal layer by the type of the values. */
template <class Decimal>
struct Layer;

template <>
struct Layer<ZOR_DECF16> {
    using Text = DecFloat16Buff;
    static constexpr auto toText = DecFloat16ToString;
    static constexpr auto fromText = StringToDecFloat16;
    static constexpr auto toInt = DecFloat16ToKEL_INT;
    static constexpr auto fromInt = KEL_INTToDecFloat16;
    static constexpr auto toLong = DecFloat16ToKEL_LLONG;
    static constexpr auto fromLong = KEL_LLONGToDecFloat16;
    static constexpr auto toDouble = DecFloat16ToKEL_DOUBLE;
    static constexpr auto fromDouble = KEL_DOUBLEToDecFloat16;
};

template <>
struct Layer<ZOR_DECF34> {
    using Text = DecFloat34Buff;
    static constexpr auto toText = DecFloat34ToString;
    static constexpr auto fromText = StringToDecFloat34;
    static constexpr auto toInt = DecFloat34ToKEL_INT;
    static constexpr auto fromInt = KEL_INTToDecFloat34;
    static constexpr auto toLong = DecFloat34ToKEL_LLONG;
    static constexpr auto fromLong = KEL_LLONGToDecFloat34;
    static constexpr auto toDouble = DecFloat34ToKEL_DOUBLE;
    static constexpr auto fromDouble = KEL_DOUBLEToDecFloat34;
};

DECF_RETURN convert(ZOR_DECF16 value, ZOR_DECF34& result) {
    return DecFloat16ToDecFloat34(&result, value);
}

DECF_RETURN convert(ZOR_DECF34 value, ZOR_DECF16& result) {
    return DecFloat34ToDecFloat16(&result, value);
}

/** A value's text with its type, for failures. */
struct Shown {
    ZORTYPE type;
    KEL_string value;
};

template <class Decimal>
Shown show(Decimal value) {
    typename Layer<Decimal>::Text text;
    Layer<Decimal>::toText(value, &text);
    return {zorTypeOf<Decimal>, text};
}

Shown show(ZORTYPE type, ZOR_FLOAT value) {
    KEL_CHAR text[maxDoubleText];
    return {type, {text, doubleToString(text, value)}};
}

/** A conversion that didn't go well; without a target the text names none. */
[[noreturn]] void fail(const ZorFieldTypeBase& field, DECF_RETURN rc, const Shown& source,
                       std::string_view target) {
    KEL_string text("unable to convert ");
    text.append(zorTypeName(source.type)).append(" [").append(shownValue(field, source.value)).append("]");
    if (!target.empty()) text.append(" to ").append(target);
    text.append(" with rc = ").append(std::to_string(static_cast<int>(rc)));
    if (rc == DECF_NO_MEMORY) throw ZorOutOfMemoryException(text);
    throw ZorTypeConversionException(text);
}

/** Parses text that need not end with a NUL; within, a NUL is as wrong as any other character. */
template <class Decimal>
DECF_RETURN parse(std::string_view text, Decimal& value) {
    if (text.find('\0') != text.npos) return DECF_CONV_SYNTAX;
    KEL_CHAR small[64];
    if (text.size() >= sizeof small) return Layer<Decimal>::fromText(KEL_string(text).c_str(), &value);
    small[text.copy(small, text.size())] = 0;
    return Layer<Decimal>::fromText(small, &value);
}

bool isNear(DECF_RETURN rc) {
    return rc == DECF_OK || rc == DECF_INEXACT;
}

/** The trace of a double that has no decimal counterpart. */
void traceNoDecimal(const ZorFieldTypeBase& field, ZORTYPE type, DECF_RETURN rc, ZOR_FLOAT value) {
    if (ZorConfig::getGlobalTraceLevel() <= 2 || isSecretName(field.name)) return;
    const KEL_CHAR* const name = rc == DECF_OVERFLOW    ? "DECF_DECF_OVERFLOW"
                                 : rc == DECF_NO_MEMORY ? "DECF_NO_MEMORY"
                                                        : " ?";
    const KEL_string text =
        KEL_string("unable to convert to ") + KEL_string(zorTypeName(type)) + ": rc = " + name;
    KEL_RAW bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    ZorTraceHexDump(bytes, sizeof bytes, "%s [%d]", text.c_str(), static_cast<int>(rc));
}

}  // namespace

template <class Decimal>
std::string_view decimalText(const ZorFieldSlot& slot, ZorTextScratch& scratch) {
    ZorRecord::initDecfloatLib();
    typename Layer<Decimal>::Text text;
    const DECF_RETURN rc = Layer<Decimal>::toText(loadScalar<Decimal>(slot), &text);
    if (rc != DECF_OK) {
        const KEL_string message = KEL_string("unable to convert ") +
                                   KEL_string(zorTypeName(zorTypeOf<Decimal>)) +
                                   " to ZORTYPE_CHAR with rc = " + std::to_string(static_cast<int>(rc));
        if (rc == DECF_NO_MEMORY) throw ZorOutOfMemoryException(message);
        throw ZorTypeConversionException(message);
    }
    const std::string_view view(text);
    return {scratch.small, view.copy(scratch.small, view.size())};
}

template <class Decimal>
void decimalInteger(const ZorFieldSlot& slot, ZOR_INT& value) {
    ZorRecord::initDecfloatLib();
    KEL_LLONG whole = 0;  // what the layer leaves there is right, whatever it says of the fraction and range
    Layer<Decimal>::toLong(&whole, loadScalar<Decimal>(slot));
    value = static_cast<ZOR_INT>(std::clamp<KEL_LLONG>(whole, std::numeric_limits<ZOR_INT>::min(),
                                                       std::numeric_limits<ZOR_INT>::max()));
}

template <class Decimal>
void parsedDecimal(const ZorFieldSlot& slot, std::string_view value, ZORTYPE) {
    ZorRecord::initDecfloatLib();
    Decimal number{};
    if (value.size() >= sizeof(typename Layer<Decimal>::Text) || parse(value, number) != DECF_OK)
        throwTextFailure(slot.field, value, -1);
    storeScalar(slot, number);
}

template <class Decimal>
void nearDecimal(const ZorFieldSlot& slot, ZOR_FLOAT value) {
    ZorRecord::initDecfloatLib();
    Decimal number{};
    const DECF_RETURN rc = Layer<Decimal>::fromDouble(&number, value);
    if (!isNear(rc)) {
        traceNoDecimal(slot.field, zorTypeOf<Decimal>, rc, value);
        throwReadFailure(slot.field, numberName<ZOR_FLOAT>);
    }
    storeScalar(slot, number);
}

template <class Decimal>
void readFromText(const ZorFieldSlot& slot, Decimal& value) {
    ZorTextScratch scratch;
    const std::string_view text = zorFieldRow(slot.field.type).readForm(slot, scratch);
    Decimal number{};
    const DECF_RETURN rc = parse(text, number);
    if (rc != DECF_OK)
        fail(slot.field, rc, {ZORTYPE_CHAR, KEL_string(text)}, zorTypeName(zorTypeOf<Decimal>));
    value = number;
}

template <class Decimal>
void readFromBytes(const ZorFieldSlot& slot, Decimal& value) {
    if (slot.field.length1 != sizeof value) throwReadFailure(slot.field, numberName<Decimal>);
    value = loadScalar<Decimal>(slot);
}

template <class Decimal>
void readFromFloat(const ZorFieldSlot& slot, Decimal& value) {
    const ZOR_FLOAT number = loadScalar<ZOR_FLOAT>(slot);
    const DECF_RETURN rc = Layer<Decimal>::fromDouble(&value, number);
    if (!isNear(rc)) fail(slot.field, rc, show(ZORTYPE_FLOAT, number), zorTypeName(zorTypeOf<Decimal>));
}

template <class Field, class Decimal>
void readFromInteger(const ZorFieldSlot& slot, Decimal& value) {
    const Field number = loadScalar<Field>(slot);
    Decimal result{};
    DECF_RETURN rc;
    if constexpr (sizeof number > sizeof(KEL_INT))
        rc = Layer<Decimal>::fromLong(&result, number);
    else
        rc = Layer<Decimal>::fromInt(&result, number);
    if (rc != DECF_OK)
        fail(slot.field, rc, {ZORTYPE_INT, std::to_string(number)}, zorTypeName(zorTypeOf<Decimal>));
    value = result;
}

template <class Field, class Decimal>
void readFromDecimal(const ZorFieldSlot& slot, Decimal& value) {
    const Field number = loadScalar<Field>(slot);
    if constexpr (std::is_same_v<Field, Decimal>) {
        value = number;
    } else {
        Decimal result{};
        const DECF_RETURN rc = convert(number, result);
        if (rc != DECF_OK) fail(slot.field, rc, show(number), zorTypeName(zorTypeOf<Decimal>));
        value = result;
    }
}

template <class Decimal>
void writeAsText(const ZorFieldSlot& slot, Decimal value) {
    const Shown text = show(value);
    zorFieldRow(slot.field.type).writeText(slot, text.value, text.type);
}

template <class Decimal>
void writeAsBcd(const ZorFieldSlot& slot, Decimal value) {
    const Shown text = show(value);
    if (const size_t exponent = text.value.find('E'); exponent != text.value.npos) {
        fillSlot(slot);
        throwTextFailure(slot.field, text.value, static_cast<int>(exponent));
    }
    zorFieldRow(slot.field.type).writeText(slot, text.value, text.type);
}

template <class Decimal>
void writeAsBytes(const ZorFieldSlot& slot, Decimal value) {
    if (slot.field.length1 != sizeof value) throwReadFailure(slot.field, numberName<Decimal>);
    storeScalar(slot, value);
}

template <class Decimal>
void writeAsFloat(const ZorFieldSlot& slot, Decimal value) {
    ZOR_FLOAT number = 0;
    const DECF_RETURN rc = Layer<Decimal>::toDouble(&number, value);
    if (!isNear(rc)) fail(slot.field, rc, show(value), {});
    storeScalar(slot, number);
}

template <class Field, class Decimal>
void writeAsInteger(const ZorFieldSlot& slot, Decimal value) {
    std::conditional_t<(sizeof(Field) > sizeof(KEL_INT)), KEL_LLONG, KEL_INT> number = 0;
    DECF_RETURN rc;
    if constexpr (sizeof number > sizeof(KEL_INT))
        rc = Layer<Decimal>::toLong(&number, value);
    else
        rc = Layer<Decimal>::toInt(&number, value);
    if (rc != DECF_OK) fail(slot.field, rc, show(value), {});
    storeScalar(slot, static_cast<Field>(number));
}

template <class Field, class Decimal>
void writeAsDecimal(const ZorFieldSlot& slot, Decimal value) {
    if constexpr (std::is_same_v<Field, Decimal>) {
        storeScalar(slot, value);
    } else {
        Field result{};
        const DECF_RETURN rc = convert(value, result);
        if (rc != DECF_OK) fail(slot.field, rc, show(value), zorTypeName(zorTypeOf<Field>));
        storeScalar(slot, result);
    }
}

#define ZOR_DECIMAL_CELLS(Decimal)                                                        \
    template std::string_view decimalText<Decimal>(const ZorFieldSlot&, ZorTextScratch&); \
    template void decimalInteger<Decimal>(const ZorFieldSlot&, ZOR_INT&);                 \
    template void parsedDecimal<Decimal>(const ZorFieldSlot&, std::string_view, ZORTYPE); \
    template void nearDecimal<Decimal>(const ZorFieldSlot&, ZOR_FLOAT);                   \
    template void readFromText(const ZorFieldSlot&, Decimal&);                            \
    template void readFromBytes(const ZorFieldSlot&, Decimal&);                           \
    template void readFromFloat(const ZorFieldSlot&, Decimal&);                           \
    template void readFromInteger<ZOR_INT>(const ZorFieldSlot&, Decimal&);                \
    template void readFromInteger<ZOR_INT1>(const ZorFieldSlot&, Decimal&);               \
    template void readFromInteger<ZOR_INT2>(const ZorFieldSlot&, Decimal&);               \
    template void readFromInteger<ZOR_INT8>(const ZorFieldSlot&, Decimal&);               \
    template void readFromDecimal<ZOR_DECF16>(const ZorFieldSlot&, Decimal&);             \
    template void readFromDecimal<ZOR_DECF34>(const ZorFieldSlot&, Decimal&);             \
    template void writeAsText(const ZorFieldSlot&, Decimal);                              \
    template void writeAsBcd(const ZorFieldSlot&, Decimal);                               \
    template void writeAsBytes(const ZorFieldSlot&, Decimal);                             \
    template void writeAsFloat(const ZorFieldSlot&, Decimal);                             \
    template void writeAsInteger<ZOR_INT>(const ZorFieldSlot&, Decimal);                  \
    template void writeAsInteger<ZOR_INT1>(const ZorFieldSlot&, Decimal);                 \
    template void writeAsInteger<ZOR_INT2>(const ZorFieldSlot&, Decimal);                 \
    template void writeAsInteger<ZOR_INT8>(const ZorFieldSlot&, Decimal);                 \
    template void writeAsDecimal<ZOR_DECF16>(const ZorFieldSlot&, Decimal);               \
    template void writeAsDecimal<ZOR_DECF34>(const ZorFieldSlot&, Decimal);

ZOR_DECIMAL_CELLS(ZOR_DECF16)
ZOR_DECIMAL_CELLS(ZOR_DECF34)
#undef ZOR_DECIMAL_CELLS

}  // namespace zorcells
