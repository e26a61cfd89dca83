// JSON and containers, on descriptions made by hand.

#include "tools/values.h"

#include <gtest/gtest.h>

#include <kelzor.hpp>

#include "tools/callvalues.h"
#include "tools/problem.h"

namespace {

using zortool::Json;

kelzor::FunctionBuilder everyParameter() {
    kelzor::TypeBuilder address("ADDRESS");
    address.add("CITY", ZORTYPE_CHAR, 15).add("ZIP", ZORTYPE_NUM, 5);
    kelzor::TypeBuilder note("NOTE");
    note.add("TEXT", ZORTYPE_STRING);
    kelzor::TypeBuilder row("ITEM");
    row.add("ID", ZORTYPE_INT)
        .addStructure("ADDRESS", address)
        .addTable("NOTES", note)
        .add("PRICE", ZORTYPE_BCD, 8, 2);
    kelzor::FunctionBuilder function("EVERY");
    const struct {
        const char* name;
        ZORTYPE type;
        unsigned length, decimals;
    } scalars[] = {
        {"CHAR", ZORTYPE_CHAR, 5, 0},       {"NUM", ZORTYPE_NUM, 4, 0},
        {"DATE", ZORTYPE_DATE, 0, 0},       {"TIME", ZORTYPE_TIME, 0, 0},
        {"BCD", ZORTYPE_BCD, 16, 2},        {"BYTE", ZORTYPE_BYTE, 4, 0},
        {"FLOAT", ZORTYPE_FLOAT, 0, 0},     {"INT", ZORTYPE_INT, 0, 0},
        {"INT1", ZORTYPE_INT1, 0, 0},       {"INT2", ZORTYPE_INT2, 0, 0},
        {"INT8", ZORTYPE_INT8, 0, 0},       {"DECF34", ZORTYPE_DECF34, 0, 0},
        {"STRING", ZORTYPE_STRING, 0, 0},   {"XSTRING", ZORTYPE_XSTRING, 0, 0},
        {"UTCLONG", ZORTYPE_UTCLONG, 0, 0},
    };
    for (const auto& s : scalars)
        function.add(s.name, ZOR_CHANGING, s.type, s.length, s.decimals);
    function.addStructure("WHERE", ZOR_CHANGING, address).addTable("ITEMS", ZOR_TABLES, row);
    function.addTable("NOTES", ZOR_TABLES, note).add("RESULT", ZOR_EXPORT, ZORTYPE_INT);
    return function;
}

kelzor::Function filled(const std::string& json) {
    kelzor::Function function{everyParameter()};
    zortool::fillFunction(function, zortool::parseJson(json, "the text"));
    return function;
}

TEST(Values, WhatGoesInComesOut) {
    const struct {
        const char* name;
        const char* in;   // JSON
        const char* out;  // JSON
    } cases[] = {
        {"CHAR", R"("Zürü")", R"("Zürü")"},
        {"CHAR", "17", R"("17")"},
        {"NUM", R"("7")", R"("0007")"},
        {"NUM", "42", R"("0042")"},
        {"DATE", R"("2026-11-23")", R"("2026-11-23")"},
        {"DATE", R"("20261123")", R"("2026-11-23")"},
        {"TIME", R"("10:30:00")", R"("10:30:00")"},
        {"TIME", R"("235959")", R"("23:59:59")"},
        {"BCD", "12345678901234567890.25", R"("12345678901234567890.25")"},
        {"BCD", R"("-0.5")", R"("-0.50")"},
        {"BCD", "7", R"("7.00")"},
        {"BYTE", R"("c0FF")", R"("C0FF0000")"},
        {"FLOAT", "0.1", "0.1"},
        {"FLOAT", "1e300", "1e+300"},
        {"FLOAT", R"("NaN")", R"("NaN")"},
        {"FLOAT", R"("-Inf")", R"("-Inf")"},
        {"INT", "-2147483648", "-2147483648"},
        {"INT", R"("12")", "12"},
        {"INT1", "255", "255"},
        {"INT2", "-32768", "-32768"},
        {"INT8", "-9223372036854775808", "-9223372036854775808"},
        {"DECF34", "0.1234567890123456789012345678901234", R"("0.1234567890123456789012345678901234")"},
        {"STRING", R"("a\nb ")", R"("a\nb ")"},
        {"XSTRING", R"("00ff")", R"("00FF")"},
        {"UTCLONG", R"("0000000000000000")", R"("0000000000000000")"},
        {"WHERE", R"({"city": "Bern", "ZIP": 3000})", R"({"CITY":"Bern","ZIP":"03000"})"},
        {"ITEMS",
         R"([{"ID": 1, "ADDRESS": {"CITY": "Genève"}, "NOTES": [{"TEXT": "x"}, "y"], "PRICE": 1.5}, {}])",
         R"([{"ID":1,"ADDRESS":{"CITY":"Genève","ZIP":"00000"},"NOTES":[{"TEXT":"x"},{"TEXT":"y"}],"PRICE":"1.50"},)"
         R"({"ID":0,"ADDRESS":{"CITY":"","ZIP":"00000"},"NOTES":[],"PRICE":"0.00"}])"},
        {"NOTES", R"(["a", null, {"TEXT": "b"}])", R"([{"TEXT":"a"},{"TEXT":""},{"TEXT":"b"}])"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " " + c.in);
        const std::string object = std::string("{\"") + c.name + "\": " + c.in + "}";
        const Json values = zortool::readFunction(filled(object), zortool::Selection::all);
        EXPECT_EQ(values[c.name].dump(), c.out);
        // What was shown can be given again.
        kelzor::Function again{everyParameter()};
        zortool::fillFunction(again, {{c.name, values[c.name]}});
        EXPECT_EQ(zortool::readFunction(again, zortool::Selection::all)[c.name], values[c.name]);
    }
}

TEST(Values, WhatDoesNotFitIsRefusedAtItsPlace) {
    const struct {
        const char* json;
        const char* text;
    } cases[] = {
        {R"({"CHAR": "sixsix"})", "CHAR: 'sixsix' has 6 characters, and 5 fit"},
        {R"({"CHAR": "€"})", "CHAR: the system code page has no character '€' (KEL_CODEPAGE chooses it)"},
        {R"({"CHAR": "a#€b"})", "CHAR: the system code page has no character '€' (KEL_CODEPAGE chooses it)"},
        {R"({"CHAR": true})", "CHAR: type CHAR takes text (a flag is \"X\" or \"\"), not true"},
        {R"({"NUM": "1x"})", "NUM: '1x' isn't made of digits"},
        {R"({"NUM": 12345})", "NUM: '12345' has 5 characters, and 4 fit"},
        {R"({"DATE": "23.11.2026"})", "DATE: '23.11.2026' is no DATE; it takes text such as \"2026-11-23\""},
        {R"({"DATE": 20261123})", "DATE: type DATE takes text such as \"2026-11-23\", not a number"},
        {R"({"TIME": "25"})", "TIME: '25' is no TIME; it takes text such as \"10:30:00\""},
        {R"({"INT": 2147483648})",
         "INT: 2147483648 is beyond the type INT, which goes from -2147483648 to 2147483647"},
        {R"({"INT": 1.5})", "INT: '1.5' is no integer"},
        {R"({"INT": ""})", "INT: '' is no integer"},
        {R"({"INT1": -1})", "INT1: -1 is beyond the type INT1, which goes from 0 to 255"},
        {R"({"INT8": 9223372036854775808})", "INT8: 9223372036854775808 is beyond all integers of 64 bits"},
        {R"({"INT8": 1e300})", "INT8: '1e300' is no integer"},
        {R"({"FLOAT": 1e999})", "the text is no JSON at line 1, column 15: number overflow parsing '1e999'"},
        {R"({"UTCLONG": "0102030405060708"})",
         "UTCLONG: a value of type UTCLONG can be shown and not be given"},
        {R"({"FLOAT": "1e999"})", "FLOAT: 1e999 is beyond a FLOAT"},
        {R"({"FLOAT": "12,5"})", "FLOAT: '12,5' is no number"},
        {R"({"BYTE": "abc"})", "BYTE: 'abc' isn't pairs of hexadecimal digits"},
        {R"({"BYTE": "0102030405"})", "BYTE: 5 bytes, and 4 fit"},
        {R"({"WHERE": []})", "WHERE: type STRUCTURE takes an object, not an array"},
        {R"({"ITEMS": {}})", "ITEMS: type TABLE takes an array of rows, not an object"},
        {R"({"ITEMS": [{"ID": 1}, 5]})", "ITEMS[1]: a row is an object, not a number"},
        {R"({"ITEMS": [{"ADDRESS": {"ZIPP": 1}}]})", "ITEMS[0].ADDRESS: there is no field ZIPP"},
        {R"({"ITEMS": [{"NOTES": [{"TEXT": "€"}]}]})",
         "ITEMS[0].NOTES[0].TEXT: the system code page has no character '€' (KEL_CODEPAGE chooses it)"},
        {R"({"RESULT": 1})", "RESULT is a result of the function; it can't be given"},
        {R"({"CHARS": 1})", "there is no parameter CHARS"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.json);
        try {
            filled(c.json);
            FAIL() << "was taken";
        } catch (const zortool::Problem& problem) {
            EXPECT_STREQ(problem.what(), c.text);
            EXPECT_EQ(problem.exitStatus(), zortool::exitData);
        }
    }
}

TEST(Values, NullLeavesAParameterOut) {
    const kelzor::Function function = filled(R"({"INT": null, "CHAR": "x"})");
    EXPECT_FALSE(function.isActive("INT"));
    EXPECT_TRUE(function.isActive("CHAR"));
}

TEST(Values, ATemplateHasARowInEachTable) {
    const Json json = zortool::templateOf(everyParameter());
    EXPECT_FALSE(json.contains("RESULT"));
    EXPECT_EQ(json["ITEMS"].dump(),
              R"([{"ID":0,"ADDRESS":{"CITY":"","ZIP":"00000"},"NOTES":[{"TEXT":""}],"PRICE":"0.00"}])");
    kelzor::Function function{everyParameter()};
    zortool::fillFunction(function, json);
    EXPECT_EQ(zortool::readFunction(function, zortool::Selection::inputs), json);
}

TEST(Values, AssignmentsGoOverTheObject) {
    Json base = zortool::parseJson(R"({"A": 1, "S": {"X": 1, "Y": 2}})", "the text");
    const Json joined =
        zortool::joinParameters(std::move(base), {"A=2", "S.X=9", "T=[{\"F\": 1}]", "U=a=b", "V="});
    EXPECT_EQ(joined.dump(), R"({"A":"2","S":{"X":"9","Y":2},"T":[{"F":1}],"U":"a=b","V":""})");
    for (const char* wrong : {"A", "=1", "S.X.Z=1"})
        EXPECT_THROW(zortool::joinParameters({{"S", {{"X", 1}}}}, {wrong}), zortool::Problem) << wrong;
    EXPECT_THROW(zortool::joinParameters(Json::array(), {}), zortool::Problem);
}

TEST(Values, WrongTextsAreToldByTheirPlace) {
    const std::string deep(101, '[');
    const struct {
        std::string text;
        const char* begin;
    } cases[] = {
        {"", "the text is no JSON at line 1, column 1: syntax error"},
        {"{\"A\":\n  {\"B\":}}", "the text is no JSON at line 2, column 8: syntax error"},
        {"{\"A\": 1, \"A\": 2}", "the text has A twice in one object"},
        {"{} {}", "the text is no JSON at line 1, column 4: syntax error"},
        {"\"\xFF\"", "the text is no JSON at line 1, column 2"},
        {deep, "the text is nested more than 100 deep"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.begin);
        try {
            zortool::parseJson(c.text, "the text");
            FAIL() << "was taken";
        } catch (const zortool::Problem& problem) {
            EXPECT_EQ(std::string(problem.what()).substr(0, std::string(c.begin).size()), c.begin);
        }
    }
}

}  // namespace
