// A user's program in C++: a table in memory, and a failure as a value.
#include <cstdio>
#include <kelzor.hpp>

int main() {
    kelzor::TypeBuilder row("ITEM");
    row.add("ID", ZORTYPE_INT).add("PRICE", ZORTYPE_DECF16);
    kelzor::Table table(row);
    table.append().set("PRICE", "-7.50");
    for (const auto item : table)
        if (item.text("PRICE") != "-7.50") return 1;
    const auto beyond = kelzor::attempt([&] { return table[1]; });
    std::printf("%s\n%s\n", kelzor::version().c_str(), beyond ? "?" : beyond.error().what());
    return beyond ? 2 : 0;
}
