/**
 * @file
 * Failures in C++: the exception `Error`, and `Result`, which holds a value or an `Error`.
 */
#ifndef KELZOR_ERROR_HPP
#define KELZOR_ERROR_HPP

#include <kelzor/error.h>
#include <kelzor/library.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace kelzor {

/** A failed call of the library. Copying it and throwing it take no memory beyond its own. */
class Error : public std::exception {
  public:
    /**
     * @param function name of the C function that failed; a literal.
     * @param info what it reported.
     */
    Error(const char* function, const ZOR_ERROR_INFO& info) noexcept : function_(function), info_(info) {
        const char* text = info_.message[0] != '\0' ? info_.message : info_.key;
        std::snprintf(what_, sizeof what_, "%s: %s [%s]", function, text, ZorGetRcAsString(info_.code));
    }

    /** Function, message and code in one line, in the system code page. */
    const char* what() const noexcept override { return what_; }

    const char* function() const noexcept { return function_; }
    ZOR_RC code() const noexcept { return info_.code; }
    ZOR_ERROR_GROUP group() const noexcept { return info_.group; }
    std::string_view key() const noexcept { return info_.key; }
    std::string_view message() const noexcept { return info_.message; }
    /** The whole record, with the parts of a message that the partner sent. */
    const ZOR_ERROR_INFO& info() const noexcept { return info_; }

    /**
     * Whether the connection can't be used after this failure, because it is closed or because the partner's
     * program is gone: open a new one.
     */
    bool endsConnection() const noexcept {
        switch (info_.code) {
            case ZOR_COMMUNICATION_FAILURE:
            case ZOR_LOGON_FAILURE:
            case ZOR_UBIX_MESSAGE:
            case ZOR_CLOSED:
            case ZOR_CANCELED:
            case ZOR_TIMEOUT:
            case ZOR_VERSION_MISMATCH:
            case ZOR_INVALID_PROTOCOL:
                return true;
            default:
                return info_.group == UBIX_RUNTIME_FAILURE;
        }
    }

  private:
    const char* function_;
    ZOR_ERROR_INFO info_;
    char what_[sizeof info_.message + 128];
};

/**
 * What a call came to: a value, or the `Error` that stood in its way. `attempt` makes one.
 * @tparam T type of the value; `void` for a call that has none.
 */
template <class T>
class [[nodiscard]] Result {
    using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

  public:
    Result(Value value) : content_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}

    bool hasValue() const noexcept { return content_.index() == 0; }
    explicit operator bool() const noexcept { return hasValue(); }

    /** The value; throws the error if there is none. */
    Value& value() & {
        check();
        return std::get<0>(content_);
    }
    const Value& value() const& {
        check();
        return std::get<0>(content_);
    }
    Value&& value() && {
        check();
        return std::get<0>(std::move(content_));
    }

    /** The value, which must be there. */
    Value& operator*() noexcept { return *std::get_if<0>(&content_); }
    const Value& operator*() const noexcept { return *std::get_if<0>(&content_); }
    Value* operator->() noexcept { return std::get_if<0>(&content_); }
    const Value* operator->() const noexcept { return std::get_if<0>(&content_); }

    /** The error; throws `std::bad_variant_access` if there is a value. */
    const Error& error() const { return std::get<1>(content_); }

    /** The value, or another one in its place. */
    template <class Other>
    Value valueOr(Other&& other) const& {
        return hasValue() ? **this : static_cast<Value>(std::forward<Other>(other));
    }

  private:
    void check() const {
        if (!hasValue()) throw error();
    }

    std::variant<Value, Error> content_;
};

/**
 * Runs a piece of code and gives its outcome as a value. An `Error` becomes part of the result; any other
 * exception passes.
 *
 *     const auto pinged = kelzor::attempt([&] { connection.ping(); });
 *     if (!pinged) std::cerr << pinged.error().message();
 */
template <class Code>
auto attempt(Code&& code) -> Result<std::invoke_result_t<Code>> {
    using Value = std::invoke_result_t<Code>;
    try {
        if constexpr (std::is_void_v<Value>) {
            std::forward<Code>(code)();
            return std::monostate{};
        } else {
            return std::forward<Code>(code)();
        }
    } catch (const Error& error) {
        return error;
    }
}

namespace detail {

/** An error record in which nothing of the stack is left, for calls that fill it in part. */
struct Record : ZOR_ERROR_INFO {
    Record() noexcept {
        code = ZOR_OK;
        group = OK;
        for (char* text : {key, message, ubixMsgClass, ubixMsgType, ubixMsgNumber, ubixMsgV1, ubixMsgV2,
                           ubixMsgV3, ubixMsgV4})
            *text = '\0';
    }
};

[[noreturn]] inline void fail(const char* function, ZOR_RC rc, Record& info) {
    // A few functions tell their failure by the return value alone.
    if (info.code == ZOR_OK) {
        info.code = rc;
        info.group = EXTERNAL_RUNTIME_FAILURE;
    }
    throw Error(function, info);
}

/** Calls a C function that returns a code. The last argument, the record, is added here. */
template <class Function, class... Arguments>
void call(const char* name, Function function, Arguments... arguments) {
    Record info;
    const ZOR_RC rc = function(arguments..., &info);
    if (rc != ZOR_OK) fail(name, rc, info);
}

/** Calls a C function that returns a handle; NULL is a failure if the record says so. */
template <class Function, class... Arguments>
auto obtain(const char* name, Function function, Arguments... arguments) {
    Record info;
    const auto handle = function(arguments..., &info);
    if (handle == nullptr && info.code != ZOR_OK) fail(name, info.code, info);
    return handle;
}

/** A view that ends what it shows. `end` is the C function for that; its failure has nobody to tell. */
template <class View, auto end>
class Owner : public View {
  public:
    Owner() noexcept = default;
    /** Takes over a handle. */
    explicit Owner(decltype(std::declval<View>().handle()) handle) noexcept : View(handle) {}
    Owner(Owner&& other) noexcept : View(other.release()) {}
    Owner& operator=(Owner&& other) noexcept {
        std::swap(this->handle_, other.handle_);
        return *this;
    }
    ~Owner() {
        if (this->handle_ != nullptr) end(this->handle_, nullptr);
    }

    /** Gives the handle away; it is the caller's to end. */
    auto release() noexcept { return std::exchange(this->handle_, nullptr); }
};

/** Copies a text into a field of a C descriptor; a longer one is refused, as a cut name is another name. */
template <std::size_t size>
void copyText(const char* function, char (&target)[size], std::string_view text) {
    if (text.size() < size) {
        std::memset(target, 0, size);
        text.copy(target, text.size());
        return;
    }
    Record info;
    std::snprintf(info.message, sizeof info.message, "Text of %zu characters where %zu are allowed: %.*s",
                  text.size(), size - 1, static_cast<int>(std::min<std::size_t>(text.size(), 256)),
                  text.data());
    std::snprintf(info.key, sizeof info.key, "ZOR_INVALID_PARAMETER");
    fail(function, ZOR_INVALID_PARAMETER, info);
}

}  // namespace detail
}  // namespace kelzor

#endif
