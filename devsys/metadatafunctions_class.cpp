// Classes, and how a client is told about them.

#include <algorithm>

#include "devsys/call.h"
#include "devsys/metadatafunctions.h"

namespace zordev {

namespace {

const std::vector<ClassDescription>& classes() {
    static const std::vector<ClassDescription> all = {
        // Two that refer to each other.
        {"ZCL_DEV_ORDER",
         {"ZCL_DEV_BASE"},
         {"ZIF_DEV_THING", "ZIF_DEV_OTHER"},
         {
             {"BUYER", '2', '0', ZORTYPE_UBIXOBJECT, "ZCL_DEV_PERSON", 8, true},
             {"ITEMS", '2', '0', ZORTYPE_TABLE, "ZDEV_ITEM_T"},
             {"SECRET", '0', '0', ZORTYPE_CHAR, {}, 10},
             {"COUNT", '2', '1', ZORTYPE_INT, {}, 4, true, "0", "Orders so far"},
             {"KIND", '2', '2', ZORTYPE_CHAR, {}, 4, true, "'SALE'"},
         }},
        {"ZCL_DEV_PERSON",
         {"ZCL_DEV_BASE"},
         {},
         {
             {"NAME", '2', '0', ZORTYPE_CHAR, {}, 30},
             {"LAST_ORDER", '2', '0', ZORTYPE_UBIXOBJECT, "ZCL_DEV_ORDER"},
             {"FRIEND", '2', '0', ZORTYPE_UBIXOBJECT, "ZCL_DEV_PERSON"},
         }},
        {"ZCL_DEV_BROKEN", {}, {}, {{"LOST", '2', '0', ZORTYPE_UBIXOBJECT, "ZCL_DEV_NOWHERE"}}},
    };
    return all;
}

void writeAttribute(XmlRowWriter row, std::string_view owner, const AttributeDescription& attribute) {
    const char letter = letterOf(attribute.type);
    row.text("CLIF_NAME", owner);
    row.text("ATTRIBUTE_NAME", attribute.name);
    row.text("VISIBILITY", {&attribute.visibility, 1});
    row.text("ATTRIBUTE_KIND", {&attribute.kind, 1});
    row.text("READ_ONLY", attribute.readOnly ? "X" : "");
    row.text("DATA_TYPE", {&letter, 1});
    row.text("TYPE_NAME", attribute.typeName);
    row.number("LENGTH", attribute.length);
    row.text("DEFAULT_VALUE", attribute.defaultValue);
    row.text("DESCRIPTION", attribute.description);
}

}  // namespace

const ClassDescription* findClass(std::string_view name) {
    const auto found = std::ranges::find(classes(), name, &ClassDescription::name);
    return found != classes().end() ? &*found : nullptr;
}

Outcome getClass(Call& call) {
    MetadataAnswer answer(call);
    const ClassDescription* const known = findClass(answer.given("CLASS_KEY"));
    if (known == nullptr) return raise(call, "NOT_EXISTING");
    answer.xmlTable("ATTRIBUTES", known->attributes,
                    [&](XmlRowWriter row, const AttributeDescription& attribute) {
                        writeAttribute(row, known->name, attribute);
                    });
    const auto writeName = [](XmlRowWriter row, std::string_view name) { row.text("CLSNAME", name); };
    answer.xmlTable("IMPLEMENTED_INTERFACES", known->interfaces, writeName);
    answer.xmlTable("PARENT_CLASSES", known->parents, writeName);
    return Outcome::reply;
}

}  // namespace zordev
