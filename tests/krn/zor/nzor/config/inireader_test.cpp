#include "config/inireader.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;

/** Writes down what is found: "*KEY=VALUE;" in the default section, "NAME{KEY=VALUE;...}" for a destination.
 */
struct Notes final : IniSink {
    std::string text;

    void defaultSetting(std::string_view key, std::string_view value) override {
        text.append("*").append(key).append("=").append(value).append(";");
    }
    void destination(const KEL_string& name, const ZorOptionMap& settings) override {
        text += name + "{";
        for (const auto& [key, value] : settings)
            text += key + "=" + value + ";";
        text += "}";
    }
};

std::string notesOf(std::string file) {
    std::FILE* const stream = ::fmemopen(file.data(), file.size(), "r");
    Notes notes;
    readIniFile(stream, notes);
    std::fclose(stream);
    return notes.text;
}

TEST(IniReader, Lines) {
    const struct {
        std::string file;
        std::string found;
    } cases[] = {
        {"USER=early\nDEST=A\nUSER=u", "A{USER=u;}"},
        {"DEST=A\n# U=1\n// U=2\n/* U=3 */\n\t/* U=4\nV=5\n / U=6\n", "A{/ U=6;V=5;}"},
        {" \t\v DEST\t =\v A B \r\n\tUSER = u  v \r\n \r\n", "A B{USER=u  v;}"},
        {"DEST=A\fB\f\nU=\f\n", "A\fB\f{U=\f;}"},
        {"DEST=A\rU=1\rV=2\n", "A\rU=1\rV=2{}"},
        {"DEST=A=B\nU==1=\nV = = \n", "A=B{U==1=;V==;}"},
        {"DEST=A\nU\n=1\nV=\n = \nW=1\n", "A{W=1;}"},
        {"DEST=A\nU=1\nDEST=\nV=2\nDEST\nW=3\n", "A{U=1;V=2;W=3;}"},
        {"DEST=A\nu=1\nU=2\nU=3\ndest=x\n", "A{U=3;dest=x;u=1;}"},
        {"DEST=A\nU=1\nDEST=A\nV=2\n", "A{U=1;}A{V=2;}"},
        {"DEST=A\nU=1\n DEFAULT \nV=2\nDEFAULT=3\nV=4\nDEST=B\n", "A{U=1;}*V=2;*DEFAULT=3;*V=4;B{}"},
        {"DEST=A\nDefault\nDEFAULTS\n[B]\nU=1\n", "A{U=1;}"},
        {"DEST=A\nU=1\0V=2\nW=3\0\n\0X=4\nY=5\n"s, "A{U=1;W=3;Y=5;}"},
        {"DEST=\xE4\n\xFC=\xFF\n", "\xE4{\xFC=\xFF;}"},
        {"\n", ""},
    };
    for (const auto& test : cases)
        EXPECT_EQ(notesOf(test.file), test.found) << (&test - cases);
}

TEST(IniReader, LongLinesReadAsSeveral) {
    // A line holds 1023 characters; what is behind them stands on the next.
    const auto filled = [](std::string start, size_t length, char with) {
        return start.append(length - start.size(), with);
    };
    const std::string full = filled("U=", 1023, 'u');
    EXPECT_EQ(notesOf("DEST=A\n" + full + "\nV=1\n"), "A{" + full + ";V=1;}");
    EXPECT_EQ(notesOf("DEST=A\n" + full + "V=1\n"), "A{" + full + ";V=1;}");
    EXPECT_EQ(notesOf("DEST=A\n" + full + "\r\nV=1\n"), "A{" + full + ";V=1;}");
    EXPECT_EQ(notesOf("DEST=A\n" + filled("# ", 1023, '#') + "V=1\n"), "A{V=1;}") << "the rest is no comment";
    EXPECT_EQ(notesOf(filled("DEST=A", 1023, ' ') + filled("", 1023, ' ') + "DEFAULT\nV=1\n"), "A{}*V=1;");
}

}  // namespace
