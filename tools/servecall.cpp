#include "servecall.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "callvalues.h"
#include "problem.h"
#include "runprogram.h"
#include "texttable.h"

namespace zortool {

namespace {

/** How a call ended that has no results. */
struct Failure {
    ZOR_RC code;
    std::string key; /**< In UTF-8, as the text. */
    std::string text;
};

/** The container of a call, which stays the library's. */
class Borrowed {
  public:
    explicit Borrowed(ZOR_FUNCTION_HANDLE call) : function_(call) {}
    Borrowed(const Borrowed&) = delete;
    ~Borrowed() { function_.release(); }
    kelzor::Function& operator*() { return function_; }

  private:
    kelzor::Function function_;
};

std::vector<std::string> environmentOf(const ServedFunction& function, const ZOR_ATTRIBUTES& partner) {
    return {"ZOR_FUNCTION=" + function.name, "ZOR_PARTNER_SYSTEM=" + kelzor::toUtf8(partner.sysId),
            "ZOR_PARTNER_CLIENT=" + kelzor::toUtf8(partner.client),
            "ZOR_PARTNER_USER=" + kelzor::toUtf8(partner.user),
            "ZOR_PARTNER_HOST=" + kelzor::toUtf8(partner.partnerHost)};
}

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t\r\n"), end = text.find_last_not_of(" \t\r\n");
    return begin == std::string::npos ? std::string() : text.substr(begin, end - begin + 1);
}

// What a program that ended with another status than 0 means by that.
Failure refusal(const ServedFunction& function, const ProgramOutcome& outcome) {
    const std::string text = trimmed(outcome.errors);
    const std::string key = text.substr(0, text.find_first_of(" :\t\r\n"));
    if (function.exceptions.contains(key)) return {ZOR_UBIX_EXCEPTION, key, text};
    if (!text.empty()) return {ZOR_UBIX_MESSAGE, "", text};
    return {ZOR_UBIX_MESSAGE, "",
            function.command[0] + " ended with status " + std::to_string(outcome.status)};
}

Failure external(const ServedFunction& function, const std::string& text) {
    return {ZOR_EXTERNAL_FAILURE, "", function.command[0] + " " + text};
}

// Whatever keeps the results of a program from being there.
std::optional<Failure> failureOf(const ServedFunction& function, const ProgramOutcome& outcome) {
    switch (outcome.end) {
        case ProgramOutcome::End::exited:
            if (outcome.status == 0) return std::nullopt;
            return refusal(function, outcome);
        case ProgramOutcome::End::killed:
            return external(function, "was ended by signal " + std::to_string(outcome.status));
        case ProgramOutcome::End::outOfTime:
            return external(function, "took more than " + std::to_string(function.timeLimit.count()) + " s");
        case ProgramOutcome::End::tooMuch:
            return external(function, "wrote too much");
    }
    return std::nullopt;
}

void takeResults(const ServedFunction& function, kelzor::Function& call, const std::string& output) {
    if (trimmed(output).empty()) return;
    const Json results = parseJson(output, "the output of " + function.command[0]);
    if (!results.is_object())
        throw Problem(exitData, "the output of " + function.command[0] + " is " + kindOf(results) +
                                    ", not an object of results");
    fillFunction(call, results, Selection::results);
}

std::optional<Failure> run(const ServedFunction& function, const ZOR_ATTRIBUTES& partner,
                           ZOR_FUNCTION_HANDLE handle) {
    Borrowed call(handle);
    try {
        const ProgramOutcome outcome =
            runProgram({function.command, environmentOf(function, partner),
                        readFunction(*call, Selection::inputs).dump() + "\n", function.timeLimit});
        if (const auto failure = failureOf(function, outcome)) return failure;
        if (!outcome.errors.empty()) std::fputs(outcome.errors.c_str(), stderr);
        takeResults(function, *call, outcome.output);
        return std::nullopt;
    } catch (const Problem& problem) {
        return Failure{ZOR_EXTERNAL_FAILURE, "", problem.what()};
    } catch (const std::system_error& error) {
        return external(function, "can't be run: " + error.code().message());
    } catch (const kelzor::Error& error) {
        return Failure{error.code(), std::string(error.key()), kelzor::toUtf8(error.message())};
    }
}

// As much as there is room for, whole characters.
template <std::size_t size>
void put(char (&room)[size], const std::string& text) {
    const auto native = kelzor::attempt([&] { return kelzor::fromUtf8(text); });
    std::snprintf(room, size, "%s", native ? native->c_str() : text.c_str());
}

void tell(const ServedFunction& function, const ZOR_ATTRIBUTES& partner, const Failure& failure) {
    const std::string who = std::string(partner.sysId) + (partner.user[0] != '\0' ? " " : "") + partner.user;
    std::fprintf(stderr, "zor: %s for %s failed: %s\n", function.name.c_str(),
                 who.empty() ? "a partner" : kelzor::toUtf8(who).c_str(), oneLine(failure.text).c_str());
}

}  // namespace

ZOR_RC serveCall(const ServedFunction& function, ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call,
                 ZOR_ERROR_INFO& info) {
    ZOR_ATTRIBUTES partner{};
    ZorGetConnectionAttributes(connection, &partner, nullptr);
    const std::optional<Failure> failure = run(function, partner, call);
    if (!failure) return ZOR_OK;
    tell(function, partner, *failure);
    info.code = failure->code;
    put(info.key, failure->key);
    put(info.message, failure->text);
    return failure->code;
}

}  // namespace zortool
