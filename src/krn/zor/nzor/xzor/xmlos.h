/** @file The output buffer of the XML forms: full buffers become items. */
#pragma once

#include <kelzor/types.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

/**
 * Collects a document and hands it on in pieces of `bufferSize` bytes; only the last piece is shorter. What
 * is written may be cut anywhere. Throws what `send` throws.
 */
class XmlOs {
  public:
    static constexpr unsigned bufferSize = 16384;

    XmlOs() = default;
    XmlOs(const XmlOs&) = delete;
    XmlOs& operator=(const XmlOs&) = delete;
    virtual ~XmlOs() = default;

    void write(KEL_RAW byte) {
        if (pos == bufferSize) flush();
        buf[pos++] = byte;
    }
    void write(std::span<const KEL_RAW> bytes) {
        while (!bytes.empty()) {
            if (pos == bufferSize) flush();
            const size_t piece = std::min<size_t>(bytes.size(), bufferSize - pos);
            std::memcpy(buf + pos, bytes.data(), piece);
            pos += static_cast<unsigned>(piece);
            bytes = bytes.subspan(piece);
        }
    }
    void write(std::string_view text) {
        write(std::span(reinterpret_cast<const KEL_RAW*>(text.data()), text.size()));
    }
    /** Sends what is there, if anything. */
    void flush() {
        if (pos != 0) send({buf, pos});
        pos = 0;
    }
    /** Sends the rest and ends the document. */
    virtual void close() = 0;

  protected:
    /** Takes a piece of the document. */
    virtual void send(std::span<const KEL_RAW> piece) = 0;

  private:
    KEL_RAW buf[bufferSize];
    unsigned pos = 0;
};
