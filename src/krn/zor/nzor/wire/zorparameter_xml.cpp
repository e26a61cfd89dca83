// A parameter as an XML document, in items of at most 16384 bytes and an empty one at its end.

#include "data/zorparameter.h"
#include "wire/zoritemstream.h"
#include "xzor/xzorrenderer.h"

namespace {

class XZorXmlOs final : public XmlOs {
  public:
    explicit XZorXmlOs(ZorItemStream& conn) : conn(conn) {}

    void close() override {
        flush();
        conn.writeZorFlag(ZORID_XMLParameter);
    }

  private:
    void send(std::span<const KEL_RAW> piece) override { conn.writeZorData(ZORID_XMLData, piece); }

    ZorItemStream& conn;
};

}  // namespace

void ZorParameter::serializeXZorParameter(ZorItemStream& conn, ZorRecord& record) {
    XZorXmlOs os(conn);
    XZorRenderer(os, conn.toUtf8()).encode(record, field.name);
}
