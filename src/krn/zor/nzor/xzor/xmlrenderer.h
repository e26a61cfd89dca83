/** @file What the renderers of the XML forms have in common. */
#pragma once

#include <kelzor/types.h>

#include <string>
#include <string_view>

#include "xzor/xmlos.h"

class ZorConverter;

class XmlRenderer {
  public:
    XmlRenderer(const XmlRenderer&) = delete;
    XmlRenderer& operator=(const XmlRenderer&) = delete;

    /**
     * Appends the name of a field as the name of an element: what no such name may hold becomes "_-" for a
     * slash, "_--" and two hexadecimal digits for any other byte. The result is 7-bit text. Throws
     * ZorLumxException for an empty name.
     */
    static void escapeTag(std::string_view name, std::string& tag);

  protected:
    /** `utf8converter` goes from the code page of the containers to UTF-8. */
    XmlRenderer(XmlOs& os, const ZorConverter& utf8converter) : os(os), utf8converter(utf8converter) {}
    ~XmlRenderer() = default;

    XmlOs& os;
    const ZorConverter& utf8converter;
};
