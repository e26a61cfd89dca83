// Answers of a partner, read through the public functions. The first byte says what is asked for, a call or a
// description from a release of the partner; then come the answers, each behind its length in two bytes. What
// is asked beyond them is answered with nothing but the end.

#include <kelzor.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace repliesfuzz {
namespace {

using namespace std::string_literals;

const std::string endOfStream = "\xFF\xFF\0\0\xFF\xFF"s;

std::string item(unsigned id, std::string_view payload) {
    const auto number = [](size_t value) {
        return std::string{static_cast<char>(value >> 8), static_cast<char>(value)};
    };
    return number(id) + number(payload.size()) + std::string(payload) + number(id);
}

/** Whether a stream has an end that a reader comes to. */
bool isWhole(std::string_view stream) {
    const auto byte = [&stream](size_t at) { return static_cast<unsigned char>(stream[at]); };
    for (size_t at = 0; at + 6 <= stream.size();) {
        if (byte(at) == 0xFF && byte(at + 1) == 0xFF) return true;
        size_t length = byte(at + 2) * 256u + byte(at + 3);
        if (length == 0xFFFF) {
            if (at + 8 > stream.size()) return false;
            length = ((byte(at + 4) * 256ull + byte(at + 5)) * 256 + byte(at + 6)) * 256 + byte(at + 7) + 4;
        }
        if (length > stream.size() || at + 6 + length > stream.size()) return false;
        at += 6 + length;
    }
    return false;
}

/** A partner that listens on a socket of its own and gives the answers that it was given. */
class Partner {
  public:
    Partner() : listener(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener, 8) != 0)
            std::abort();
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
        port = std::to_string(ntohs(address.sin_port));
        std::thread([this] {
            for (int line; (line = accept(listener, nullptr, nullptr)) >= 0;)
                std::thread([this, line] { serve(line); }).detach();
        }).detach();
    }

    void expect(std::deque<std::string> given) {
        const std::lock_guard lock(mutex);
        answers = std::move(given);
    }

    std::string port;

  private:
    void serve(int line) {
        while (readRequest(line)) {
            const std::string answer = next();
            if (send(line, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) break;
            if (!isWhole(answer)) break;
        }
        close(line);
    }

    static bool readRequest(int line) {
        std::string request;
        char bytes[4096];
        while (!request.ends_with(endOfStream)) {
            const ssize_t got = recv(line, bytes, sizeof bytes, 0);
            if (got <= 0) return false;
            request.append(bytes, static_cast<size_t>(got));
        }
        return true;
    }

    std::string next() {
        const std::lock_guard lock(mutex);
        if (answers.empty()) return endOfStream;
        std::string answer = std::move(answers.front());
        answers.pop_front();
        return answer;
    }

    const int listener;
    std::mutex mutex;
    std::deque<std::string> answers;
};

Partner& partner() {
    static Partner& one = *new Partner;  // its threads never end
    return one;
}

/** A connection to a partner of a release, opened anew when it broke. */
class Line {
  public:
    ZOR_CONNECTION_HANDLE open(const char* release, const char* roundTrips) {
        int valid = 0;
        ZorIsConnectionHandleValid(handle, &valid, nullptr);
        if (valid != 0 && this->release == release && this->roundTrips == roundTrips) return handle;
        if (valid != 0) ZorCloseConnection(handle, nullptr);
        this->release = release;
        this->roundTrips = roundTrips;
        partner().expect({item(17, "3") + item(18, release) + item(9, "HOST_FZZ_00") + endOfStream});
        const ZOR_CONNECTION_PARAMETER parameters[] = {{"SERVER_HOST", "127.0.0.1"},
                                                       {"SERVER_PORT", partner().port.c_str()},
                                                       {"USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION", roundTrips}};
        ZOR_ERROR_INFO info;
        handle = ZorOpenConnection(parameters, 3, &info);
        if (handle == nullptr) std::abort();
        return handle;
    }

  private:
    ZOR_CONNECTION_HANDLE handle = nullptr;
    std::string release, roundTrips;
};

/** A field: its place with characters of one byte and of two. */
struct Field {
    const char* name;
    ZORTYPE type;
    unsigned length, offset, ucLength, ucOffset;
    ZOR_TYPE_DESC_HANDLE desc = nullptr;
};

ZOR_TYPE_DESC_HANDLE makeType(const char* name, std::initializer_list<Field> fields) {
    const ZOR_TYPE_DESC_HANDLE type = ZorCreateTypeDesc(name, nullptr);
    for (const Field& one : fields) {
        ZOR_FIELD_DESC field{};
        std::snprintf(field.name, sizeof field.name, "%s", one.name);
        field.type = one.type;
        field.nucLength = one.length;
        field.nucOffset = one.offset;
        field.ucLength = one.ucLength;
        field.ucOffset = one.ucOffset;
        field.typeDescHandle = one.desc;
        ZorAddTypeField(type, &field, nullptr);
    }
    ZorSetTypeLength(type, 32, 48, nullptr);
    return type;
}

/** A function with a parameter of each way to travel. */
ZOR_FUNCTION_DESC_HANDLE makeFunction() {
    const ZOR_TYPE_DESC_HANDLE flat = makeType("FLAT", {{"TEXT", ZORTYPE_CHAR, 8, 0, 16, 0},
                                                        {"NUMBER", ZORTYPE_INT, 4, 8, 4, 16},
                                                        {"PRICE", ZORTYPE_BCD, 8, 12, 8, 20}});
    const ZOR_TYPE_DESC_HANDLE nested =
        makeType("NESTED", {{"INNER", ZORTYPE_STRUCTURE, 32, 0, 48, 0, flat}});
    const ZOR_TYPE_DESC_HANDLE deep =
        makeType("DEEP", {{"TEXT", ZORTYPE_STRING, 8, 0, 8, 0}, {"ROWS", ZORTYPE_TABLE, 8, 8, 8, 8, flat}});
    const ZOR_FUNCTION_DESC_HANDLE function = ZorCreateFunctionDesc("F", nullptr);
    const struct {
        const char* name;
        ZORTYPE type;
        unsigned length;
        ZOR_TYPE_DESC_HANDLE desc = nullptr;
        ZOR_DIRECTION direction = ZOR_EXPORT;
    } rows[] = {
        {"C", ZORTYPE_CHAR, 10},
        {"I", ZORTYPE_INT, 4},
        {"N", ZORTYPE_FLOAT, 8},
        {"D", ZORTYPE_DECF34, 16},
        {"S", ZORTYPE_STRING, 8},
        {"X", ZORTYPE_XSTRING, 8},
        {"FLAT", ZORTYPE_STRUCTURE, 32, flat},
        {"NESTED", ZORTYPE_STRUCTURE, 32, nested},
        {"DEEP", ZORTYPE_STRUCTURE, 32, deep},
        {"LINES", ZORTYPE_TABLE, 32, flat, ZOR_TABLES},
        {"INNERS", ZORTYPE_TABLE, 32, nested, ZOR_TABLES},
        {"DEEPS", ZORTYPE_TABLE, 32, deep, ZOR_CHANGING},
    };
    for (const auto& row : rows) {
        ZOR_PARAMETER_DESC parameter{};
        std::snprintf(parameter.name, sizeof parameter.name, "%s", row.name);
        parameter.type = row.type;
        parameter.direction = row.direction;
        parameter.nucLength = row.length;
        parameter.ucLength = row.type == ZORTYPE_CHAR ? 2 * row.length : row.length;
        parameter.typeDescHandle = row.desc;
        ZorAddParameter(function, &parameter, nullptr);
    }
    return function;
}

/** A failure has a code, whatever the answer was. */
void expectReason(bool failed, const ZOR_ERROR_INFO& info) {
    if (failed && info.code == ZOR_OK) std::abort();
}

void call(ZOR_CONNECTION_HANDLE connection) {
    static const ZOR_FUNCTION_DESC_HANDLE description = makeFunction();
    const ZOR_FUNCTION_HANDLE function = ZorCreateFunction(description, nullptr);
    ZOR_TABLE_HANDLE lines = nullptr;
    ZorGetTable(function, "LINES", &lines, nullptr);
    ZorAppendNewRows(lines, 2, nullptr);  // for changes that are told one by one
    ZOR_ERROR_INFO info{};
    expectReason(ZorInvoke(connection, function, &info) != ZOR_OK, info);
    ZorDestroyFunction(function, nullptr);
}

/** A description that was told makes a container, or says why not. */
void describeFunction(ZOR_CONNECTION_HANDLE connection) {
    ZOR_ERROR_INFO info{};
    const ZOR_FUNCTION_DESC_HANDLE told = ZorGetFunctionDesc(connection, "F", &info);
    expectReason(told == nullptr, info);
    if (told == nullptr) return;
    const ZOR_FUNCTION_HANDLE function = ZorCreateFunction(told, &info);
    expectReason(function == nullptr, info);
    if (function != nullptr) ZorDestroyFunction(function, nullptr);
}

void describeType(ZOR_CONNECTION_HANDLE connection) {
    ZOR_ERROR_INFO info{};
    const ZOR_TYPE_DESC_HANDLE told = ZorGetTypeDesc(connection, "T", &info);
    expectReason(told == nullptr, info);
    if (told == nullptr) return;
    const ZOR_STRUCTURE_HANDLE structure = ZorCreateStructure(told, &info);
    expectReason(structure == nullptr, info);
    if (structure != nullptr) ZorDestroyStructure(structure, nullptr);
}

void describeClass(ZOR_CONNECTION_HANDLE connection) {
    ZOR_ERROR_INFO info{};
    expectReason(ZorGetClassDesc(connection, "C", &info) == nullptr, info);
}

constexpr struct {
    const char* release;
    const char* roundTrips;
    void (*ask)(ZOR_CONNECTION_HANDLE connection);
} questions[] = {
    {"753", "0", call},         {"31H", "0", describeType},     {"45B", "0", describeType},
    {"46C", "0", describeType}, {"753", "0", describeType},     {"620", "0", describeFunction},
    {"753", "1", describeType}, {"753", "1", describeFunction}, {"753", "0", describeClass},
};

std::deque<std::string> answersOf(std::string_view input) {
    std::deque<std::string> answers;
    while (input.size() > 2) {
        const size_t length =
            static_cast<unsigned char>(input[0]) * 256u + static_cast<unsigned char>(input[1]);
        answers.emplace_back(input.substr(2, length));
        input.remove_prefix(std::min(2 + length, input.size()));
    }
    return answers;
}

}  // namespace
}  // namespace repliesfuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace repliesfuzz;
    if (size == 0) return 0;
    static const ZOR_RC started = ZorInit();  // in a static library nobody does that at load
    if (started != ZOR_OK) std::abort();
    static Line line;
    const auto& question = questions[data[0] % std::size(questions)];
    const ZOR_CONNECTION_HANDLE connection = line.open(question.release, question.roundTrips);
    partner().expect(answersOf({reinterpret_cast<const char*>(data) + 1, size - 1}));
    question.ask(connection);
    ZorClearRepository("FZZ", nullptr);
    return 0;
}
