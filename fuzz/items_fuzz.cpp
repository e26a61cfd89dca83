// An answer as items: whatever comes, it is read or refused, and what a dump shows doesn't depend on where
// the blocks end. The first byte says where the items are cut, the second one who reads them.

#include <cstdlib>
#include <memory>

#include "data/zorfunction.h"
#include "error/zorexception.h"
#include "meta/zorfunctionmetadata.h"
#include "meta/zorrecordmetadata.h"
#include "tests/krn/zor/nzor/wire/memorystream.h"
#include "wire/zordumpcover.h"

namespace itemsfuzz {
namespace {

using Records = ZorMetaDataRef<ZorRecordMetaData>;
using Functions = ZorMetaDataRef<ZorFunctionMetaData>;

/** Parameters of every form that travels: plain, text and bytes of any length, image, rows, document. */
Functions makeFunction() {
    constexpr unsigned pointer = sizeof(void*);
    Records flat = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("FLAT", "fuzz", 2, false);
    flat->add("C", ZORTYPE_CHAR, 4, 0, 0, 0, 0);
    flat->add("PASSWORD", ZORTYPE_INT, 4, 4, 0, 0, 0);
    flat->setRecordLength(8, 0);
    Records nested = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("NESTED", "fuzz", 2, false);
    nested->add("I", ZORTYPE_INT2, 2, 0, 0, 0, 0);
    nested->add("F", ZORTYPE_STRUCTURE, 8, 4, 0, 0, 0, flat.get());
    nested->setRecordLength(12, 0);
    Records deep = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>("DEEP", "fuzz", 2, false);
    deep->add("S", ZORTYPE_STRING, pointer, 0, 0, 0, 0);
    deep->add("T", ZORTYPE_TABLE, pointer, 8, 0, 0, 0, flat.get());
    deep->setRecordLength(16, 0);
    Functions made = ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>("FUZZ", "fuzz", 9, false);
    made->add("C", ZORTYPE_CHAR, ZOR_EXPORT, 8, 0, 0);
    made->add("I", ZORTYPE_INT, ZOR_EXPORT, 4, 0, 0);
    made->add("F", ZORTYPE_FLOAT, ZOR_EXPORT, 8, 0, 0);
    made->add("S", ZORTYPE_STRING, ZOR_EXPORT, pointer, 0, 0);
    made->add("X", ZORTYPE_XSTRING, ZOR_EXPORT, pointer, 0, 0);
    made->add("N", ZORTYPE_STRUCTURE, ZOR_EXPORT, 12, 0, 0, nested.get());
    made->add("T", ZORTYPE_TABLE, ZOR_TABLES, 8, 0, 0, flat.get());
    made->add("M", ZORTYPE_TABLE, ZOR_TABLES, 12, 0, 0, nested.get());
    made->add("D", ZORTYPE_STRUCTURE, ZOR_EXPORT, 16, 0, 0, deep.get());
    return made;
}

void requireSameCover(const Bytes& items, std::size_t cut, const ZorFunction& function) {
    Bytes whole = items, pieces = items;
    ZorDumpCover cover(true);
    cover.cover(whole, 0, &function);
    cover.cover(std::span(pieces).first(cut), 0, &function);
    cover.cover(std::span(pieces).subspan(cut), 1, &function);
    if (whole != pieces) std::abort();
}

void read(const Bytes& items, ZorFunction& function, bool serving) {
    MemoryItemStream stream;
    if (serving) stream.callbackCount = 1;
    stream.control.zor_role = serving ? 'S' : 'C';
    stream.layIn(items);
    stream.readUpTo(serving ? ZORGET_FUNCTIONNAME : ZORGET_DATA, &function, ZORID_NotUsed);
    stream.takeOut();
    function.zorSerializeParams(stream);  // what was read can be sent
}

}  // namespace
}  // namespace itemsfuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace itemsfuzz;
    if (size < 2) return 0;
    static const Functions meta = makeFunction();
    const Bytes items(data + 2, data + size);
    ZorFunction function(*meta);
    requireSameCover(items, std::min<std::size_t>(data[0], items.size()), function);
    try {
        read(items, function, data[1] % 2 != 0);
    } catch (const ZorBaseException&) {
    }
    return 0;
}
