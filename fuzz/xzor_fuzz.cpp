// The XML documents of parameters. The first byte says where the document is cut; what it leaves in the
// record must be a document that reads the same again.

#include <cstdlib>
#include <memory>
#include <string>

#include "convert/zorconverter.h"
#include "data/zorstructure.h"
#include "data/zortable.h"
#include "error/zorexception.h"
#include "xzor/xzorparser.h"
#include "xzor/xzorrenderer.h"

namespace xzorfuzz {
namespace {

using Type = ZorMetaDataRef<ZorRecordMetaData>;

Type makeType(const char* name) {
    return ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(name, "fuzz", 5, false);
}

/** A structure with leaves of several kinds, a structure, tables of rows and of lines. */
Type rootType() {
    constexpr unsigned pointer = sizeof(void*);
    Type line = makeType("LINE");
    line->add("", ZORTYPE_STRING, pointer, 0, 0, 0, 0);
    line->setRecordLength(pointer, 0);
    Type row = makeType("ROW");
    row->add("NO", ZORTYPE_INT, 4, 0, 0, 0, 0);
    row->add("LINES", ZORTYPE_TABLE, pointer, 8, 0, 0, 0, line.get());
    row->setRecordLength(16, 0);
    Type root = makeType("ROOT");
    root->add("T", ZORTYPE_STRING, pointer, 0, 0, 0, 0);
    root->add("X", ZORTYPE_XSTRING, pointer, 8, 0, 0, 0);
    root->add("C", ZORTYPE_CHAR, 6, 16, 0, 0, 0);
    root->add("D", ZORTYPE_DATE, 8, 22, 0, 0, 0);
    root->add("B", ZORTYPE_BCD, 4, 30, 0, 0, 2);
    root->add("/N", ZORTYPE_BYTE, 3, 34, 0, 0, 0);
    root->add("S", ZORTYPE_STRUCTURE, 16, 40, 0, 0, 0, row.get());
    root->add("R", ZORTYPE_TABLE, pointer, 56, 0, 0, 0, row.get());
    root->setRecordLength(64, 0);
    return root;
}

struct Roots final : XZorRoots {
    explicit Roots(ZorRecord& record) : record(record) {}
    ZorRecord* recordOf(std::string_view name) override { return name == "P" ? &record : nullptr; }
    ZorRecord& record;
};

struct Text final : XmlOs {
    void close() override { flush(); }
    void send(std::span<const KEL_RAW> piece) override {
        text.append(reinterpret_cast<const char*>(piece.data()), piece.size());
    }
    std::string text;
};

std::string rendered(ZorRecord& record) {
    Text os;
    XZorRenderer(os, *ZorConverter::getConverter("1100", "4110", 0, '#')).encode(record, "P");
    return os.text;
}

void parse(ZorRecord& record, std::span<const KEL_RAW> document, std::size_t cut) {
    Roots roots(record);
    XZorParser parser(roots, *ZorConverter::getConverter("4110", "1100", 0, '#'));
    parser.parse(document.first(cut));
    parser.parse(document.subspan(cut));
    parser.setFinished();
}

}  // namespace
}  // namespace xzorfuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace xzorfuzz;
    if (size == 0) return 0;
    static const Type type = rootType();
    const std::span<const KEL_RAW> document(data + 1, size - 1);
    ZorStructure record(type.get());
    try {
        parse(record, document, std::min<std::size_t>(data[0], document.size()));
        const std::string first = rendered(record);
        ZorStructure again(type.get());
        parse(again, {reinterpret_cast<const KEL_RAW*>(first.data()), first.size()}, 0);
        if (rendered(again) != first) std::abort();
    } catch (const ZorBaseException&) {
    }
    return 0;
}
