// Real data: the lists of countries, currencies and languages, in several languages.

#include <map>

#include "session.h"

namespace {

class ListsTest : public SessionTest {
  protected:
    /** The rows of a list as key and name. */
    std::map<std::string, std::string> list(const char* name, const char* table, const char* key,
                                            const char* language) {
        const ZOR_CONNECTION_HANDLE connection = connect();
        Function function(name);
        function.setText("LANGUAGE", language);
        EXPECT_EQ(invoke(connection, function), ZOR_OK) << error.message;
        std::map<std::string, std::string> rows;
        const ZOR_TABLE_HANDLE handle = function.table(table);
        unsigned count = 0;
        EXPECT_EQ(ZorGetRowCount(handle, &count, &error), ZOR_OK);
        EXPECT_EQ(function.integer("COUNT"), static_cast<ZOR_INT>(count));
        for (ZOR_RC rc = ZorMoveToFirstRow(handle, &error); rc == ZOR_OK;
             rc = ZorMoveToNextRow(handle, &error))
            rows[textOf(handle, key)] = textOf(handle, "NAME");
        EXPECT_EQ(rows.size(), count) << "every key once";
        date = function.text("RUN_DATE");
        source = textOf(function.structure("INFO"), "LANGU_ISO");
        return rows;
    }

    std::string date;    ///< Of the last list.
    std::string source;  ///< Language of the last list.
};

TEST_F(ListsTest, countriesInTheLanguageAskedFor) {
    const struct {
        const char* language;
        const char* iso;
        std::map<std::string, std::string> names;
    } cases[] = {
        {"E", "EN", {{"DE", "Germany"}, {"AT", "Austria"}, {"CI", "C\xF4te d'Ivoire"}}},
        {"D", "DE", {{"DE", "Deutschland"}, {"AT", "\xD6sterreich"}, {"FR", "Frankreich"}}},
        {"FR", "FR", {{"DE", "Allemagne"}, {"AT", "Autriche"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.language);
        const auto rows = list("COUNTRY_GET_LIST", "COUNTRIES", "ALPHA2", c.language);
        EXPECT_GT(rows.size(), 240u);
        for (const auto& [key, name] : c.names)
            EXPECT_EQ(rows.at(key), name);
        EXPECT_EQ(source, c.iso);
        EXPECT_EQ(date.size(), 8u);
        EXPECT_EQ(date.substr(0, 2), "20");
    }
}

TEST_F(ListsTest, currenciesAndLanguages) {
    const auto currencies = list("CURRENCY_GET_LIST", "CURRENCIES", "ALPHA3", "EN");
    EXPECT_EQ(currencies.at("EUR"), "Euro");
    EXPECT_EQ(currencies.at("CHF"), "Swiss Franc");
    const auto languages = list("LANGUAGE_GET_LIST", "LANGUAGES", "ALPHA3", "DE");
    EXPECT_EQ(languages.at("fra"), "Franz\xF6sisch");
}

TEST_F(ListsTest, anUnknownLanguageIsTheFunctionsException) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    Function function("COUNTRY_GET_LIST");
    function.setText("LANGUAGE", "?");
    EXPECT_EQ(invoke(connection, function), ZOR_UBIX_EXCEPTION);
    EXPECT_STREQ(error.key, "LANGUAGE_UNKNOWN");
}

}  // namespace
