// The layer for C++: what it adds to the C functions, which is ownership, types, iteration and failures.

#include <atomic>
#include <kelzor.hpp>
#include <map>
#include <ranges>
#include <thread>

#include "session.h"

namespace {

using namespace std::chrono_literals;
using kelzor::attempt;

static_assert(std::ranges::forward_range<kelzor::TableView>);
static_assert(!std::is_copy_constructible_v<kelzor::Connection> &&
              !std::is_copy_constructible_v<kelzor::Function> &&
              !std::is_copy_constructible_v<kelzor::TypeBuilder>);
static_assert(std::is_nothrow_move_constructible_v<kelzor::Table> &&
              std::is_nothrow_move_assignable_v<kelzor::Connection>);

// A type of every layout rule: gaps before the aligned fields, and a nested structure.
kelzor::TypeBuilder everyField() {
    kelzor::TypeBuilder inner("INNER");
    inner.add("CITY", ZORTYPE_CHAR, 15).add("ZIP", ZORTYPE_NUM, 5);
    kelzor::TypeBuilder type("EVERY");
    type.add("CODE", ZORTYPE_CHAR, 3)
        .add("SMALL", ZORTYPE_INT2)
        .add("FLAG", ZORTYPE_INT1)
        .add("WHOLE", ZORTYPE_INT);
    type.add("LONG", ZORTYPE_INT8)
        .add("RATIO", ZORTYPE_FLOAT)
        .add("DAY", ZORTYPE_DATE)
        .add("AT", ZORTYPE_TIME);
    type.add("PRICE", ZORTYPE_BCD, 8, 2).add("DEC", ZORTYPE_DECF34).add("RAW", ZORTYPE_BYTE, 4);
    type.addStructure("ADDRESS", inner).add("TEXT", ZORTYPE_STRING).add("BLOB", ZORTYPE_XSTRING);
    return type;
}

TEST(CppLayer, BuildersLayFieldsOutByTheRulesOfAlignment) {
    const kelzor::TypeBuilder type = everyField();
    const struct {
        const char* name;
        unsigned nucOffset, nucLength, ucOffset, ucLength;
    } expected[] = {
        {"CODE", 0, 3, 0, 6},     {"SMALL", 4, 2, 6, 2},    {"FLAG", 6, 1, 8, 1},
        {"WHOLE", 8, 4, 12, 4},   {"LONG", 16, 8, 16, 8},   {"RATIO", 24, 8, 24, 8},
        {"DAY", 32, 8, 32, 16},   {"AT", 40, 6, 48, 12},    {"PRICE", 46, 8, 60, 8},
        {"DEC", 64, 16, 80, 16},  {"RAW", 80, 4, 96, 4},    {"ADDRESS", 84, 20, 100, 40},
        {"TEXT", 104, 8, 140, 8}, {"BLOB", 112, 8, 148, 8},
    };
    for (const auto& e : expected) {
        const ZOR_FIELD_DESC field = type.field(e.name);
        EXPECT_EQ(field.nucOffset, e.nucOffset) << e.name;
        EXPECT_EQ(field.nucLength, e.nucLength) << e.name;
        EXPECT_EQ(field.ucOffset, e.ucOffset) << e.name;
        EXPECT_EQ(field.ucLength, e.ucLength) << e.name;
    }
    EXPECT_EQ(type.lengths().narrow, 120u);
    EXPECT_EQ(type.lengths().wide, 156u);
    EXPECT_EQ(type.name(), "EVERY");
    EXPECT_EQ(type.fieldCount(), std::size(expected));
}

TEST(CppLayer, FieldsAreReadAndWrittenByTheirTypes) {
    kelzor::Structure structure(everyField());  // the description may end at once
    structure.set("CODE", u8"Zürich");
    structure.set("SMALL", std::int16_t{-3});
    structure.set("FLAG", std::uint8_t{255});
    structure.set("WHOLE", -2147483648);
    structure.set("LONG", std::int64_t{-9007199254740993});
    structure.set("RATIO", 0.1);
    structure.set("DAY", std::chrono::year_month_day{2026y, std::chrono::November, 23d});
    structure.set("AT", 10h + 20min + 30s);
    structure.set("PRICE", std::string("-12.345"));
    structure.set("DEC", "1E+3");
    structure.set("RAW", kelzor::Bytes{0xDE, 0xAD});
    structure.structure("ADDRESS").set("CITY", "Bern");
    structure.set("TEXT", std::string(1000, 'x'));
    structure.set("BLOB", kelzor::Bytes(300, 0x5A));

    EXPECT_EQ(structure.text("CODE"), "Z\xFCr");
    EXPECT_EQ(structure.utf8("CODE"), u8"Zür");
    EXPECT_EQ(structure.get<std::int16_t>("SMALL"), -3);
    EXPECT_EQ(structure.get<std::uint8_t>("FLAG"), 255);
    EXPECT_EQ(structure.get<int>("WHOLE"), -2147483648);
    EXPECT_EQ(structure.get<std::int64_t>("LONG"), -9007199254740993);
    EXPECT_EQ(structure.get<double>("RATIO"), 0.1);
    EXPECT_EQ(structure.get<std::chrono::year_month_day>("DAY"), 2026y / 11 / 23);
    EXPECT_EQ(structure.text("DAY"), "20261123");
    EXPECT_EQ(structure.get<std::chrono::seconds>("AT"), 37230s);
    EXPECT_EQ(structure.text("PRICE"), "-12.35");
    EXPECT_EQ(structure.text("DEC"), "1E+3");
    EXPECT_EQ(structure.bytes("RAW"), (kelzor::Bytes{0xDE, 0xAD, 0, 0}));
    EXPECT_EQ(structure.get<kelzor::StructureView>("ADDRESS").text(0), "Bern");
    EXPECT_EQ(structure.get<std::string>("TEXT"), std::string(1000, 'x'));
    EXPECT_EQ(structure.get<kelzor::Bytes>("BLOB"), kelzor::Bytes(300, 0x5A));

    const kelzor::Structure initial{everyField()};
    EXPECT_FALSE(initial.get<std::chrono::year_month_day>("DAY").ok());
    EXPECT_EQ(initial.get<std::string>("TEXT"), "");
    EXPECT_TRUE(initial.bytes("BLOB").empty());
    structure.set("BLOB", kelzor::Bytes());
    EXPECT_TRUE(structure.bytes("BLOB").empty());
}

TEST(CppLayer, TablesAreRanges) {
    kelzor::TypeBuilder type("ROW");
    type.add("ID", ZORTYPE_INT).add("NAME", ZORTYPE_CHAR, 10);
    kelzor::Table table(type);
    for (int i = 0; i < 5; i++)
        table.append().set("ID", i);
    table.erase(1);
    table.insert(0).set("ID", 9);
    table.append(kelzor::Structure::copyOf(table[2]));

    std::vector<int> ids;
    for (const auto row : table)
        ids.push_back(row.get<int>("ID"));
    EXPECT_EQ(ids, (std::vector<int>{9, 0, 2, 3, 4, 2}));
    auto odd = table | std::views::filter([](const auto& row) { return row.template get<int>(0) % 2 == 1; });
    EXPECT_EQ(std::ranges::distance(odd), 2);

    kelzor::Table copy = kelzor::Table::copyOf(table);
    table.clear();
    EXPECT_TRUE(table.empty());
    EXPECT_EQ(copy.size(), 6u);
    const auto beyond = attempt([&] { return copy[6]; });
    ASSERT_FALSE(beyond);
    EXPECT_EQ(beyond.error().code(), ZOR_TABLE_MOVE_EOF);
}

TEST(CppLayer, OwnersMoveAndEndWhatTheyHold) {
    kelzor::TypeBuilder type("ROW");
    type.add("ID", ZORTYPE_INT);
    kelzor::Table first(type), second(type);
    const ZOR_TABLE_HANDLE handle = first.handle(), other = second.handle();
    second = std::move(first);
    EXPECT_EQ(second.handle(), handle);
    kelzor::Table third(std::move(second));
    EXPECT_EQ(third.handle(), handle);
    EXPECT_EQ(second.handle(), nullptr);
    EXPECT_EQ(first.handle(), other);  // swapped; ends with its new owner
    const ZOR_TABLE_HANDLE released = third.release();
    EXPECT_EQ(ZorDestroyTable(released, nullptr), ZOR_OK);
}

TEST(CppLayer, DescriptionsAreListedAndPublished) {
    kelzor::TypeBuilder row("CPP_ROW");
    row.add("ID", ZORTYPE_INT);
    kelzor::FunctionBuilder function("CPP_FUNCTION");
    function.add("TEXT", ZOR_IMPORT, ZORTYPE_CHAR, 20, 0,
                 {.optional = true, .defaultValue = "'A'", .text = "a text"});
    function.addTable("ROWS", ZOR_TABLES, row).addException("NOT_FOUND", "nothing there");
    const ZOR_PARAMETER_DESC parameter = function.parameter("TEXT");
    EXPECT_EQ(parameter.ucLength, 40u);
    EXPECT_TRUE(parameter.optional);
    EXPECT_STREQ(parameter.defaultValue, "'A'");
    ASSERT_EQ(function.parameters().size(), 2u);
    EXPECT_STREQ(function.exceptions().at(0).message, "nothing there");

    const kelzor::FunctionView published = kelzor::publish("CPP", std::move(function));
    EXPECT_EQ(kelzor::cachedFunction("CPP", "CPP_FUNCTION").handle(), published.handle());
    EXPECT_EQ(kelzor::cachedType("CPP", "CPP_ROW").fields().size(), 1u);
    EXPECT_EQ(attempt([] { return kelzor::cachedClass("CPP", "NONE"); }).error().code(), ZOR_NOT_FOUND);

    kelzor::ClassBuilder type("CPP_CLASS");
    type.add("TEXT", ZORTYPE_CHAR, 20).addParent("ROOT").addInterface("SHOWN");
    EXPECT_EQ(type.parents(), std::vector<std::string>{"ROOT"});
    EXPECT_EQ(type.interfaces(), std::vector<std::string>{"SHOWN"});
    kelzor::Object object{type};
    object.set("TEXT", "in an object");
    EXPECT_EQ(object.text(0), "in an object");
    EXPECT_EQ(object.type().name(), "CPP_CLASS");
    ZorClearRepository("CPP", nullptr);
}

TEST(CppLayer, FailuresCarryTheWholeRecord) {
    kelzor::TypeBuilder type("ROW");
    type.add("ID", ZORTYPE_INT);
    kelzor::Structure row(type);
    try {
        row.set("ID", "many");
        FAIL() << "no failure";
    } catch (const kelzor::Error& error) {
        EXPECT_EQ(error.code(), ZOR_CONVERSION_FAILURE);
        EXPECT_EQ(error.group(), EXTERNAL_RUNTIME_FAILURE);
        EXPECT_EQ(error.key(), "ZOR_CONVERSION_FAILURE");
        EXPECT_STREQ(error.function(), "ZorSetString");
        EXPECT_EQ(std::string(error.what()),
                  "ZorSetString: " + std::string(error.message()) + " [ZOR_CONVERSION_FAILURE]");
        EXPECT_FALSE(error.endsConnection());
    }
    const auto failed = attempt([&] { return row.get<int>("NONE"); });
    EXPECT_EQ(failed.valueOr(7), 7);
    EXPECT_THROW(failed.value(), kelzor::Error);
    EXPECT_EQ(attempt([&] { return row.get<int>("ID"); }).value(), 0);
    EXPECT_THROW((void)attempt([] { throw std::logic_error("not ours"); }), std::logic_error);
    EXPECT_EQ(attempt([&] { type.add(std::string(31, 'N'), ZORTYPE_INT); }).error().message(),
              "Text of 31 characters where 30 are allowed: " + std::string(31, 'N'));
    EXPECT_EQ(attempt([] { return kelzor::fromUtf8("\xC3"); }).error().code(), ZOR_CONVERSION_FAILURE);
}

TEST(CppLayer, TextIsConvertedAtAnyLength) {
    std::string wide, narrow;
    for (int i = 0; i < 1000; i++) {
        wide += "é";
        narrow += '\xE9';
    }
    EXPECT_EQ(kelzor::fromUtf8(wide), narrow);
    EXPECT_EQ(kelzor::toUtf8(narrow), wide);
    EXPECT_EQ(kelzor::fromUtf8(""), "");
    EXPECT_EQ(kelzor::fromUtf8("a€b"), "a#b");
}

class CppSession : public SessionTest {
  protected:
    kelzor::Connection openCpp(const Parameters& changes = {}) const {
        return kelzor::Connection::open(logon(changes));
    }
};

kelzor::FunctionBuilder countryList() {
    kelzor::TypeBuilder row("COUNTRY");
    row.add("ALPHA2", ZORTYPE_CHAR, 2).add("ALPHA3", ZORTYPE_CHAR, 3).add("NUMCODE", ZORTYPE_NUM, 3);
    row.add("NAME", ZORTYPE_CHAR, 60).add("OFFICIAL", ZORTYPE_CHAR, 120);
    kelzor::FunctionBuilder function("COUNTRY_GET_LIST");
    function.add("LANGUAGE", ZOR_IMPORT, ZORTYPE_CHAR, 2).add("COUNT", ZOR_EXPORT, ZORTYPE_INT);
    function.addTable("COUNTRIES", ZOR_TABLES, row);
    return function;
}

TEST_F(CppSession, aCallGoesOutAndComesBack) {
    kelzor::Connection connection = openCpp();
    connection.ping();
    EXPECT_STREQ(connection.attributes().sysId, "ZDV");
    kelzor::Function call{countryList()};
    call.set("LANGUAGE", "DE");
    connection.invoke(call);
    std::map<std::string, std::string> names;
    for (const auto row : call.table("COUNTRIES"))
        names[row.text("ALPHA2")] = kelzor::toUtf8(row.text("NAME"));
    EXPECT_EQ(call.get<int>("COUNT"), static_cast<int>(names.size()));
    EXPECT_EQ(names["AT"], "Österreich");

    call.set("LANGUAGE", "?");
    const auto refused = attempt([&] { connection.invoke(call); });
    EXPECT_EQ(refused.error().key(), "LANGUAGE_UNKNOWN");
    EXPECT_FALSE(refused.error().endsConnection());
    EXPECT_TRUE(connection.valid());
    connection.close();
    EXPECT_FALSE(connection.valid());
    EXPECT_EQ(attempt([&] { connection.ping(); }).error().code(), ZOR_INVALID_HANDLE);
}

TEST_F(CppSession, thePartnerDescribesWhatItHas) {
    kelzor::Connection connection = openCpp();
    EXPECT_EQ(connection.functionDescription("COUNTRY_GET_LIST").parameter("LANGUAGE").nucLength, 2u);
    EXPECT_EQ(connection.typeDescription("COUNTRY_ROW").field("ALPHA3").nucOffset, 2u);
    const kelzor::ClassView order = connection.classDescription("ZCL_DEV_ORDER");
    EXPECT_EQ(order.parents(), std::vector<std::string>({"ZCL_DEV_BASE"}));
    EXPECT_EQ(order.attributes().size(), 4u);  // those that aren't public stay untold
    EXPECT_EQ(attempt([&] { return connection.classDescription("ZCL_NONE"); }).error().key(), "NOT_EXISTING");
}

TEST_F(CppSession, aConnectionEndsWithItsOwner) {
    kelzor::Connection kept = openCpp();
    {
        const kelzor::Connection inner = openCpp();
        EXPECT_TRUE(inner.valid());
    }
    kept = openCpp();
    EXPECT_TRUE(kept.valid());
    EXPECT_EQ(attempt([&] { return openCpp({{"PASSWD", "wrong"}}); }).error().code(), ZOR_LOGON_FAILURE);
}

TEST_F(CppSession, aSecondThreadCancels) {
    kelzor::Connection connection = openCpp();
    kelzor::FunctionBuilder sleep("SLEEP");
    sleep.add("MILLISECONDS", ZOR_IMPORT, ZORTYPE_INT).add("SLEPT", ZOR_EXPORT, ZORTYPE_INT);
    kelzor::Function call{sleep};
    call.set("MILLISECONDS", 60000);
    std::atomic<bool> canceled{false};
    std::thread second([&] {
        while (!attempt([&] { connection.cancel(); }))
            std::this_thread::yield();  // until the call has begun
        canceled = true;
    });
    const auto called = attempt([&] { connection.invoke(call); });
    second.join();
    EXPECT_TRUE(canceled);
    EXPECT_EQ(called.error().code(), ZOR_CANCELED);
    EXPECT_TRUE(called.error().endsConnection());
    EXPECT_FALSE(connection.valid());
}

}  // namespace
