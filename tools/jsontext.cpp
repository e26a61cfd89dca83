#include "jsontext.h"

#include <algorithm>

#include "problem.h"

namespace zortool {

namespace {

// What the text of a number is stored as: a kind that JSON text itself doesn't have.
constexpr std::uint8_t numberMark = 1;
constexpr std::size_t deepest = 100;

std::string placeIn(std::string_view text, std::size_t position) {
    const std::string_view before = text.substr(0, std::min(position, text.size()));
    const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
    return "line " + std::to_string(1 + std::count(before.begin(), before.end(), '\n')) + ", column " +
           std::to_string(before.size() - lineStart + (before.size() > lineStart ? 0 : 1));
}

/** Builds a value from the events of the parser. */
class Builder : public nlohmann::json_sax<Json> {
  public:
    Builder(std::string_view text, const std::string& name) : text_(text), name_(name) {}

    Json take() { return std::move(root_); }

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t, const string_t& text) override {
        return add(Json::binary(std::vector<std::uint8_t>(text.begin(), text.end()), numberMark));
    }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(Json::object()); }
    bool start_array(std::size_t) override { return open(Json::array()); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& name) override {
        if (open_.back()->contains(name)) fail("has " + name + " twice in one object");
        key_ = name;
        return true;
    }
    bool parse_error(std::size_t position, const std::string&, const Json::exception& error) override {
        // The library's own text begins with an identifier and the place, which we tell by line and column.
        std::string reason = error.what();
        const std::size_t syntax = reason.find("syntax error");
        reason.erase(0, syntax != std::string::npos ? syntax : reason.find("] ") + 2);
        fail("is no JSON at " + placeIn(text_, position) + ": " + reason);
    }

  private:
    bool add(Json value) {
        place(std::move(value));
        return true;
    }
    Json& place(Json value) {
        if (open_.empty()) return root_ = std::move(value);
        Json& parent = *open_.back();
        if (parent.is_object()) return parent[key_] = std::move(value);
        parent.push_back(std::move(value));
        return parent.back();
    }
    bool open(Json value) {
        if (open_.size() == deepest) fail("is nested more than " + std::to_string(deepest) + " deep");
        open_.push_back(&place(std::move(value)));
        return true;
    }
    bool close() {
        open_.pop_back();
        return true;
    }
    [[noreturn]] void fail(const std::string& what) const { throw Problem(exitData, name_ + " " + what); }

    std::string_view text_;
    const std::string& name_;
    Json root_;
    std::vector<Json*> open_;  // the containers around the current place, outermost first
    std::string key_;
};

}  // namespace

Json parseJson(std::string_view text, const std::string& name) {
    Builder builder(text, name);
    Json::sax_parse(text, &builder);
    return builder.take();
}

std::optional<std::string> numberText(const Json& value) {
    if (value.is_number()) return value.dump();
    if (!value.is_binary() || value.get_binary().subtype() != numberMark) return std::nullopt;
    return std::string(value.get_binary().begin(), value.get_binary().end());
}

std::string kindOf(const Json& value) {
    if (numberText(value)) return "a number";
    if (value.is_object()) return "an object";
    if (value.is_array()) return "an array";
    if (value.is_string()) return "a text";
    if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
    return "null";
}

}  // namespace zortool
