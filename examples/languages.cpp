/*
 * Lists the languages of the world in several languages: a whole client in C++.
 *
 *     PASSWD=... languages GWHOST=127.0.0.1 GWSERV=3300 CLIENT=100 USER=DEMO
 *
 * Every argument is a connection parameter, NAME=VALUE. The password comes from the environment, since
 * everybody on the machine can read a command line.
 */
#include <cstdlib>
#include <iostream>
#include <kelzor.hpp>
#include <string>

namespace {

// The arguments and the password; those without a value don't count.
kelzor::Parameters readParameters(int argc, char** argv) {
    kelzor::Parameters parameters;
    for (int i = 1; i < argc; i++) {
        const std::string argument = argv[i];
        const std::size_t equals = argument.find('=');
        if (equals != std::string::npos)
            parameters.emplace_back(argument.substr(0, equals), argument.substr(equals + 1));
    }
    if (const char* password = std::getenv("PASSWD")) parameters.emplace_back("PASSWD", password);
    return parameters;
}

// Calls the function and prints the first few rows. A language that the partner doesn't know is an answer
// like another; any other failure passes.
void listLanguages(kelzor::Connection& connection, kelzor::Function& call, const std::string& in) {
    call.set("LANGUAGE", in);
    const auto called = kelzor::attempt([&] { connection.invoke(call); });
    if (!called && called.error().key() == "LANGUAGE_UNKNOWN") {
        std::cout << in << ": unknown to the partner\n";
        return;
    }
    called.value();
    std::cout << in << ": " << call.get<int>("COUNT") << " languages\n";
    int shown = 0;
    for (const auto row : call.table("LANGUAGES")) {
        if (++shown > 3) break;
        std::cout << "  " << row.text("ALPHA3") << "  " << kelzor::toUtf8(row.text("NAME")) << '\n';
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        auto connection = kelzor::Connection::open(readParameters(argc, argv));
        auto call = connection.prepare("LANGUAGE_GET_LIST");  // asks the partner what it looks like
        for (const char* language : {"EN", "DE", "?"})
            listLanguages(connection, call, language);
    } catch (const kelzor::Error& error) {
        std::cerr << error.what() << "\n  key: " << error.key() << ", group: " << error.group() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
