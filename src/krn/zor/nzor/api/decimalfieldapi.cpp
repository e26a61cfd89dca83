// Exported functions of the families "Field read" and "Field write" for decimal floating point.

#include <kelzor/data.h>

#include "api/fieldcall.h"
#include "base/keldecf/keldecf.h"

using namespace zorapi;

namespace {

/** A key that has decimal floating point loaded before the field is looked for. */
template <class Key>
struct DecimalKey : Key {
    unsigned indexIn(const ZorRecord& record) const {
        ZorRecord::initDecfloatLib();
        return Key::indexIn(record);
    }
};

DECF_RETURN toText(ZOR_DECF16 value, DecFloat16Buff* text) noexcept {
    return DecFloat16ToString(value, text);
}

DECF_RETURN toText(ZOR_DECF34 value, DecFloat34Buff* text) noexcept {
    return DecFloat34ToString(value, text);
}

template <class Value>
struct DecimalBuffer;
template <>
struct DecimalBuffer<ZOR_DECF16> {
    DecFloat16Buff text;
};
template <>
struct DecimalBuffer<ZOR_DECF34> {
    DecFloat34Buff text;
};

/** A value as lines show it; "?" if nothing can render it. */
template <class Value>
struct DecimalText : DecimalBuffer<Value> {
    explicit DecimalText(Value value) noexcept : DecimalBuffer<Value>{"?"} {
        try {
            ZorRecord::initDecfloatLib();
            toText(value, &this->text);
        } catch (...) {
            // The call itself reports what is the matter.
        }
    }
};

template <class Key, class Value>
ZOR_RC readDecimal(const FieldCall& call, Key key, Value* value) {
    return onField(
        call, DecimalKey<Key>{key}, [&] { traceArguments(call, key, "pval=%p", static_cast<void*>(value)); },
        [&](ZorRecord& record, unsigned index) { record.getValue(index, value); },
        [&] { traceResult(call, key, "%s", DecimalText<Value>(*value).text); });
}

template <class Key, class Value>
ZOR_RC writeDecimal(const FieldCall& call, Key key, Value value) {
    return onField(
        call, DecimalKey<Key>{key},
        [&] {
            traceArguments(call, key, "value=%s",
                           isSecret(call, key) ? "***" : DecimalText<Value>(value).text);
        },
        [&](ZorRecord& record, unsigned index) { record.setValue(index, value); }, [] {});
}

}  // namespace

ZOR_RC ZorGetDecF16(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DECF16* value,
                    ZOR_ERROR_INFO* errorInfo) {
    return readDecimal({__func__, dataHandle, errorInfo}, ByName{name}, value);
}

ZOR_RC ZorGetDecF16ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DECF16* value,
                           ZOR_ERROR_INFO* errorInfo) {
    return readDecimal({__func__, dataHandle, errorInfo}, ByIndex{index}, value);
}

ZOR_RC ZorGetDecF34(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DECF34* value,
                    ZOR_ERROR_INFO* errorInfo) {
    return readDecimal({__func__, dataHandle, errorInfo}, ByName{name}, value);
}

ZOR_RC ZorGetDecF34ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DECF34* value,
                           ZOR_ERROR_INFO* errorInfo) {
    return readDecimal({__func__, dataHandle, errorInfo}, ByIndex{index}, value);
}

ZOR_RC ZorSetDecF16(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DECF16 value,
                    ZOR_ERROR_INFO* errorInfo) {
    return writeDecimal({__func__, dataHandle, errorInfo}, ByName{name}, value);
}

ZOR_RC ZorSetDecF16ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DECF16 value,
                           ZOR_ERROR_INFO* errorInfo) {
    return writeDecimal({__func__, dataHandle, errorInfo}, ByIndex{index}, value);
}

ZOR_RC ZorSetDecF34(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DECF34 value,
                    ZOR_ERROR_INFO* errorInfo) {
    return writeDecimal({__func__, dataHandle, errorInfo}, ByName{name}, value);
}

ZOR_RC ZorSetDecF34ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DECF34 value,
                           ZOR_ERROR_INFO* errorInfo) {
    return writeDecimal({__func__, dataHandle, errorInfo}, ByIndex{index}, value);
}
