// Every function of the shared library, called with nothing but zeros, refuses and says why, and works
// the same without a record. The list of functions is generated from the public headers, so a new one
// needs a row here only if its refusal isn't one of the frame's two. The trace opens and closes as the family
// of the function demands.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <kelzor.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "error/zorexception.h"
#include "testpaths.h"

namespace {

/** A refusal that isn't "13, the frame's text" or "20, the frame's text with a label". */
struct Refusal {
    ZOR_RC rc;
    const char* message;
    ZOR_ERROR_GROUP group = EXTERNAL_RUNTIME_FAILURE;
    const char* key = nullptr;  // NULL for the name of the code
};

const std::map<std::string, Refusal> ownRefusals = {
    {"ZorCreateTypeDesc", {ZOR_INVALID_PARAMETER, "Type name is NULL"}},
    {"ZorCreateFunctionDesc", {ZOR_INVALID_PARAMETER, "Function name is NULL"}},
    {"ZorCreateClassDesc", {ZOR_INVALID_PARAMETER, "Class name is NULL"}},
    {"ZorDescribeFunction", {ZOR_INVALID_HANDLE, "ZOR_FUNCTION_HANDLE is NULL"}},
    {"ZorDestroyMetadataQueryResult",
     {ZOR_INVALID_HANDLE, "Query result handle is NULL", EXTERNAL_APPLICATION_FAILURE,
      "EXTERNAL_APPLICATION_FAILURE"}},
    {"ZorMetadataBatchQuery",
     {ZOR_INVALID_HANDLE, "conn handle equals NULL is not allowed", EXTERNAL_APPLICATION_FAILURE,
      "EXTERNAL_APPLICATION_FAILURE"}},
    // Settings for which zeros are good values.
    {"ZorReloadIniFile", {ZOR_OK, ""}},
    {"ZorSetIniPath", {ZOR_OK, ""}},
    {"ZorSetTraceLevel", {ZOR_OK, ""}},
    {"ZorSetCpicTraceLevel", {ZOR_OK, ""}},
    {"ZorClearRepository", {ZOR_OK, ""}},
    {"ZorInstallPasswordChangeHandler", {ZOR_OK, ""}},
    {"ZorInstallPassportManager", {ZOR_OK, ""}},
    {"ZorInstallAuthorizationCheckHandler", {ZOR_OK, ""}},
    {"ZorDestroyServerConnectionMonitorData", {ZOR_OK, ""}},
};

const std::set<std::string> leftOut = {
    "ZorIsConnectionHandleValid",    // needs its record: what it finds out is the record's code
    "ZorCreateMetadataQueryResult",  // takes nothing that it could refuse
};

/** A function that can be called with zeros and a record; gives what it returned. */
struct Subject {
    const char* name;
    std::function<long(ZOR_ERROR_INFO*)> call;
    bool returnsHandle;
};

template <class... Args>
constexpr bool takesRecord =
    sizeof...(Args) > 0 &&
    std::is_same_v<std::tuple_element_t<sizeof...(Args), std::tuple<void, Args...>>, ZOR_ERROR_INFO*>;

template <class Result, class... Args>
Subject subject(const char* name, Result (*function)(Args...)) {
    Subject made{name, nullptr, std::is_pointer_v<Result>};
    if constexpr (takesRecord<Args...>) {
        made.call = [function](ZOR_ERROR_INFO* info) {
            std::tuple<Args...> zeros{};
            std::get<sizeof...(Args) - 1>(zeros) = info;
            if constexpr (std::is_pointer_v<Result>)
                return static_cast<long>(std::apply(function, zeros) != nullptr);
            else
                return static_cast<long>(std::apply(function, zeros));
        };
    }
    return made;
}

/** The declared functions as the shared library has them; never unloaded. */
std::vector<Subject> exportedSubjects() {
    std::vector<Subject> all;
    void* const library = dlopen(KELZOR_LIBRARY, RTLD_LAZY | RTLD_LOCAL);
    EXPECT_NE(library, nullptr) << dlerror();
    if (library == nullptr) return all;
#define KELZOR_DECLARED(name)                        \
    if (void* const address = dlsym(library, #name)) \
        all.push_back(subject(#name, reinterpret_cast<decltype(&::name)>(address)));
#include "declaredfunctions.inc"
#undef KELZOR_DECLARED
    return all;
}

/** What the frame says for a code; a label stands between the two halves of the second. */
void expectFrameText(ZOR_RC rc, const std::string& message) {
    if (rc == ZOR_INVALID_HANDLE) {
        EXPECT_EQ(message, "An invalid handle was passed to the API call");
        return;
    }
    EXPECT_EQ(rc, ZOR_INVALID_PARAMETER);
    const std::string front = "Invalid parameter '";
    const std::string back = "' was passed to the API call";
    EXPECT_GT(message.size(), front.size() + back.size()) << message;
    EXPECT_EQ(message.substr(0, front.size()), front);
    EXPECT_EQ(message.substr(message.size() - std::min(message.size(), back.size())), back);
}

void expectRefusal(const Subject& subject) {
    SCOPED_TRACE(subject.name);
    ZOR_ERROR_INFO info;
    std::memset(&info, 0, sizeof info);
    info.code = ZOR_UNKNOWN_ERROR;
    const long result = subject.call(&info);
    EXPECT_EQ(result, subject.returnsHandle ? 0 : info.code);
    EXPECT_EQ(subject.call(nullptr), result);
    const auto own = ownRefusals.find(subject.name);
    Refusal expected{info.code, info.message};
    if (own == ownRefusals.end())
        expectFrameText(info.code, info.message);
    else
        expected = own->second;
    EXPECT_EQ(info.code, expected.rc);
    EXPECT_STREQ(info.message, expected.message);
    if (info.code == ZOR_OK) return;
    EXPECT_STREQ(info.key, expected.key != nullptr ? expected.key : zorRcName(info.code));
    EXPECT_EQ(info.group, expected.group);
}

/** Trace of the shared library, which isn't the one that is linked into this program. */
class LibraryTrace {
  public:
    LibraryTrace() : library(dlopen(KELZOR_LIBRARY, RTLD_LAZY | RTLD_LOCAL)) {
        std::string pattern = (std::filesystem::temp_directory_path() / "kelzorXXXXXX").string();
        directory = mkdtemp(pattern.data());
        text("ZorSetTraceDir", directory.string());
        text("ZorSetTraceType", "PROCESS");
    }
    ~LibraryTrace() {
        setLevel(0);
        text("ZorSetTraceDir", ".");
        std::filesystem::remove_all(directory);
    }

    void setLevel(unsigned level) {
        const auto set = reinterpret_cast<decltype(&ZorSetTraceLevel)>(dlsym(library, "ZorSetTraceLevel"));
        ASSERT_EQ(set(nullptr, nullptr, level, nullptr), ZOR_OK);
    }

    /** What was written since the last look, without the lines that tell the time after a pause. */
    std::string written() {
        char name[32];
        std::snprintf(name, sizeof name, "zor%.5d.trc", static_cast<int>(getpid()));
        std::ifstream file(directory / name, std::ios::binary);
        file.seekg(seen);
        std::string found, line;
        while (std::getline(file, line))
            if (line.compare(0, 4, "*** ") != 0) found += line + "\n";
        seen = static_cast<std::streamoff>(std::filesystem::file_size(directory / name));
        return found;
    }

  private:
    void text(const char* function, std::string value) {
        const auto set = reinterpret_cast<decltype(&ZorSetTraceDir)>(dlsym(library, function));
        EXPECT_EQ(set(value.data(), nullptr), ZOR_OK) << function;
    }

    void* const library;
    std::filesystem::path directory;
    std::streamoff seen = 0;
};

bool accessesFields(const std::string& name) {
#define ZOR_EXPORT(function, family, frame) {#function, #family},
    static const std::map<std::string, std::string> families = {
#include "api/exports.def"
    };
#undef ZOR_EXPORT
    return families.at(name) == "FieldRead" || families.at(name) == "FieldWrite";
}

/** The closing lines of a call. */
std::string closing(const char* name, const ZOR_ERROR_INFO& info) {
    std::string text = std::string("<< ") + name + " returned " + zorRcName(info.code) + "\n";
    if (info.code != ZOR_OK) {
        text += std::string("\tZOR_ERROR_INFO.key: ") + info.key + "\n";
        text += std::string("\tZOR_ERROR_INFO.message: ") + info.message + "\n";
    }
    return text + "\n";
}

TEST(NullArguments, TheTraceOpensAndClosesAtTheThresholdOfTheFamily) {
    LibraryTrace trace;
    trace.setLevel(1);
    trace.setLevel(0);  // the file is there, its head and these lines are passed over
    trace.written();
    for (const Subject& subject : exportedSubjects()) {
        if (!subject.call || leftOut.count(subject.name) > 0) continue;
        for (unsigned level = 0; level <= 3; ++level) {
            trace.setLevel(level);
            trace.written();
            ZOR_ERROR_INFO info;
            std::memset(&info, 0, sizeof info);
            subject.call(&info);
            const std::string found = trace.written();
            SCOPED_TRACE(subject.name + std::to_string(level));
            const bool always = subject.name == std::string("ZorSetCpicTraceLevel");
            const bool opens = level > (accessesFields(subject.name) ? 2u : 0u) || always;
            const std::string opening = opens ? std::string(">> ") + subject.name + "\n" : "";
            EXPECT_EQ(found.substr(0, opening.size()), opening);
            // A refusal closes at any level, whatever the family; lines of the call may stand between.
            const std::string end = level > 0 || always ? closing(subject.name, info) : "";
            EXPECT_EQ(found.substr(found.size() - std::min(found.size(), end.size())), end);
            EXPECT_TRUE(opens || found == end) << found;
        }
    }
}

TEST(NullArguments, EveryExportedFunctionRefuses) {
    size_t called = 0;
    for (const Subject& subject : exportedSubjects()) {
        if (!subject.call || leftOut.count(subject.name) > 0) continue;
        ++called;
        expectRefusal(subject);
    }
    EXPECT_GE(called, 20u);  // else the list of declarations was not found
}

}  // namespace
