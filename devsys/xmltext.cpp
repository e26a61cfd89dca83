#include "devsys/xmltext.h"

#include <algorithm>
#include <cstdio>

namespace zordev {
namespace {

constexpr std::size_t DEEPEST = 100;

bool needsEntity(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == '<' || c == '>' || c == '&' || (byte < ' ' && c != '\t' && c != '\n' && c != '\r');
}

bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/** Walks through a document by recursive descent. */
class Reader {
  public:
    Reader(std::string_view document, XmlFault& fault) : document_(document), fault_(fault) {}

    bool read(XmlElement& root) {
        return element(root, 1) && (at_ == document_.size() || wrong("nothing behind the root element"));
    }

  private:
    bool wrong(std::string expected) {
        fault_ = {at_, std::move(expected)};
        return false;
    }
    bool take(std::string_view text) {
        if (document_.substr(at_, text.size()) != text) return wrong("\"" + std::string(text) + '"');
        at_ += text.size();
        return true;
    }
    bool next(char c) const { return at_ < document_.size() && document_[at_] == c; }

    bool element(XmlElement& element, std::size_t depth) {
        if (depth > DEEPEST) return wrong("at most 100 elements within each other");
        if (!take("<") || !name(element.name) || !take(">")) return false;
        while (next('<') && document_.substr(at_, 2) != "</") {
            if (!this->element(element.children.emplace_back(), depth + 1)) return false;
        }
        if (element.children.empty() && !text(element.text)) return false;
        return take("</") && take(element.name) && take(">");
    }

    bool name(std::string& name) {
        while (at_ < document_.size()) {
            const char c = document_[at_];
            if (!isLetter(c) && !(isDigit(c) || c == '-')) break;
            name += c;
            ++at_;
        }
        return (!name.empty() && isLetter(name[0])) || wrong("the name of an element");
    }

    bool text(std::string& text) {
        for (; at_ < document_.size() && document_[at_] != '<'; ++at_) {
            char c = document_[at_];
            if (c == '&') {
                if (!entity(c)) return false;
            } else if (needsEntity(c)) {
                return wrong("an entity");
            }
            text += c;
        }
        return true;
    }

    // At the end the position is that of the semicolon.
    bool entity(char& c) {
        const std::string_view form = document_.substr(at_, 5);
        if (form.size() < 5 || form[1] != '#' || !isDigit(form[2]) || !isDigit(form[3]) || form[4] != ';')
            return wrong("\"&#\", two digits and \";\"");
        c = static_cast<char>((form[2] - '0') * 10 + (form[3] - '0'));
        if (!needsEntity(c)) return wrong("no entity for a character that needs none");
        at_ += 4;
        return true;
    }

    std::string_view document_;
    XmlFault& fault_;
    std::size_t at_ = 0;
};

void write(const XmlElement& element, std::string& out) {
    out.append("<").append(element.name).append(">");
    for (const XmlElement& child : element.children)
        write(child, out);
    for (const char c : element.text) {
        if (!needsEntity(c)) {
            out += c;
            continue;
        }
        char entity[8];
        std::snprintf(entity, sizeof entity, "&#%02u;", static_cast<unsigned>(c));
        out += entity;
    }
    out.append("</").append(element.name).append(">");
}

// --- Text forms of values

std::size_t characters(std::string_view utf8) {
    return static_cast<std::size_t>(std::ranges::count_if(utf8, [](char c) { return (c & 0xC0) != 0x80; }));
}

bool allDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, isDigit);
}

// Digits with a separator at each of two places.
bool isParted(std::string_view text, std::size_t length, std::size_t first, std::size_t second,
              char separator) {
    if (text.size() != length) return false;
    for (std::size_t i = 0; i < length; ++i) {
        if (i == first || i == second ? text[i] != separator : !isDigit(text[i])) return false;
    }
    return true;
}

bool isInteger(std::string_view text) {
    if (text.starts_with('-')) text.remove_prefix(1);
    return allDigits(text);
}

bool isDecimal(std::string_view text, std::size_t decimals) {
    if (text.starts_with('-')) text.remove_prefix(1);
    if (decimals == 0) return allDigits(text);
    const std::size_t point = text.find('.');
    return point != text.npos && allDigits(text.substr(0, point)) && allDigits(text.substr(point + 1)) &&
           text.size() - point - 1 == decimals;
}

bool isFloat(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789.-+E") == text.npos;
}

// The number of bytes behind a Base64 text; -1 for one that isn't.
long base64Bytes(std::string_view text) {
    if (text.size() % 4 != 0) return -1;
    std::string_view body = text;
    while (body.ends_with('=') && text.size() - body.size() < 2)
        body.remove_suffix(1);
    const bool known = std::ranges::all_of(
        body, [](char c) { return (isLetter(c) && c != '_') || isDigit(c) || c == '+' || c == '/'; });
    return known ? static_cast<long>(text.size() / 4 * 3 - (text.size() - body.size())) : -1;
}

bool isValue(const FieldDescription& field, std::string_view text) {
    switch (field.type) {
        case ZORTYPE_CHAR:
            return characters(text) <= field.length && !text.ends_with(' ');
        case ZORTYPE_NUM:
            return allDigits(text) && text.size() == field.length;
        case ZORTYPE_DATE:
            return isParted(text, 10, 4, 7, '-');
        case ZORTYPE_TIME:
            return isParted(text, 8, 2, 5, ':');
        case ZORTYPE_BCD:
            return isDecimal(text, field.decimals);
        case ZORTYPE_BYTE:
            return base64Bytes(text) == static_cast<long>(field.length);
        case ZORTYPE_XSTRING:
            return base64Bytes(text) >= 0;
        case ZORTYPE_INT:
        case ZORTYPE_INT1:
        case ZORTYPE_INT2:
        case ZORTYPE_INT8:
            return isInteger(text);
        case ZORTYPE_FLOAT:
        case ZORTYPE_DECF16:
        case ZORTYPE_DECF34:
            return isFloat(text);
        case ZORTYPE_STRING:
            return true;
        default:
            return text.empty();
    }
}

bool isLine(const StructureDescription& row) {
    return row.fields.size() == 1 && row.fields[0].name.empty();
}

std::string checkFields(const StructureDescription& structure, const XmlElement& element);

std::string checkRows(const StructureDescription& row, const XmlElement& table) {
    if (!table.text.empty()) return table.name + ": rows and no text";
    for (const XmlElement& item : table.children) {
        if (item.name != "item") return table.name + ": rows named \"item\"";
        std::string wrong;
        if (!isLine(row))
            wrong = checkFields(row, item);
        else if (!item.children.empty() || !isValue(row.fields[0], item.text))
            wrong = "item: a value of its type";
        if (!wrong.empty()) return table.name + "/" + wrong;
    }
    return {};
}

std::string checkField(const FieldDescription& field, const XmlElement& element) {
    if (element.name != elementName(field.name)) return element.name + ": " + elementName(field.name);
    if (field.type == ZORTYPE_STRUCTURE) return checkFields(*field.structure, element);
    if (field.type == ZORTYPE_TABLE) return checkRows(*field.structure, element);
    if (!element.children.empty() || !isValue(field, element.text))
        return element.name + ": a value of its type";
    return {};
}

std::string checkFields(const StructureDescription& structure, const XmlElement& element) {
    if (element.children.size() != structure.fields.size() || !element.text.empty())
        return element.name + ": an element for each field";
    for (std::size_t i = 0; i < structure.fields.size(); ++i) {
        std::string wrong = checkField(structure.fields[i], element.children[i]);
        if (!wrong.empty()) return element.name + "/" + wrong;
    }
    return {};
}

void addInitialFields(const StructureDescription& structure, XmlElement& element) {
    for (const FieldDescription& field : structure.fields) {
        XmlElement& child = element.children.emplace_back();
        child.name = elementName(field.name);
        if (field.type == ZORTYPE_STRUCTURE) addInitialFields(*field.structure, child);
    }
}

}  // namespace

const XmlElement* XmlElement::child(std::string_view childName) const {
    const auto found = std::ranges::find(children, childName, &XmlElement::name);
    return found == children.end() ? nullptr : &*found;
}

bool readXml(std::string_view document, XmlElement& root, XmlFault& fault) {
    return Reader(document, fault).read(root);
}

std::string writeXml(const XmlElement& root) {
    std::string document;
    write(root, document);
    return document;
}

std::string elementName(std::string_view fieldName) {
    std::string name;
    for (const char c : fieldName) {
        char escape[8];
        std::snprintf(escape, sizeof escape, "_--%02X", static_cast<unsigned char>(c));
        if (isLetter(c) || (isDigit(c) && !name.empty()))
            name += c;
        else
            name += c == '/' ? "_-" : escape;
    }
    return name;
}

std::string checkXml(const ParameterDescription& parameter, const XmlElement& root) {
    if (root.name != elementName(parameter.name)) return root.name + ": " + elementName(parameter.name);
    return parameter.type == ZORTYPE_TABLE ? checkRows(*parameter.structure, root)
                                           : checkFields(*parameter.structure, root);
}

XmlElement initialXml(const ParameterDescription& parameter) {
    XmlElement root;
    root.name = elementName(parameter.name);
    if (parameter.type == ZORTYPE_STRUCTURE) addInitialFields(*parameter.structure, root);
    return root;
}

}  // namespace zordev
