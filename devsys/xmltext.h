/**
 * @file
 * The XML form of a parameter: elements named after the fields, character data, Base64; no attributes, no
 * declaration, nothing between elements. A document is read into a tree, checked against the description of
 * its parameter, and written from a tree.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "devsys/functions.h"

namespace zordev {

/** An element. Text is UTF-8, without entities; an element has text or children. */
struct XmlElement {
    std::string name;
    std::string text;
    std::vector<XmlElement> children;

    /** The child of that name, or null. */
    const XmlElement* child(std::string_view childName) const;
};

/** What is wrong with a document. */
struct XmlFault {
    std::size_t offset = 0;
    std::string expected;
};

/**
 * Reads a document that is written as a client has to write it: end tags name their element, entities stand
 * for what needs them and for nothing else. False with `fault` filled if it isn't.
 */
bool readXml(std::string_view document, XmlElement& root, XmlFault& fault);

/** Writes a document. */
std::string writeXml(const XmlElement& root);

/** The name of a field as the name of an element. */
std::string elementName(std::string_view fieldName);

/**
 * Checks that a tree has exactly the elements and values of a parameter: each field in its order, values in
 * the text form of their types. Returns what is wrong, empty if nothing is.
 */
std::string checkXml(const ParameterDescription& parameter, const XmlElement& root);

/** A parameter without content: a structure of empty fields, a table without rows. */
XmlElement initialXml(const ParameterDescription& parameter);

}  // namespace zordev
