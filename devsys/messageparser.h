/**
 * @file
 * The parameters of a call: reads the items behind the function's name into a Call, checking names,
 * directions and lengths against the function's description.
 */
#pragma once

#include <string>

#include "devsys/call.h"
#include "devsys/items.h"
#include "devsys/violations.h"

namespace zordev {

/** How reading the parameters ended. */
enum class ParseResult {
    good,
    unknownParameter, /**< The caller's idea of the function differs: its mistake, not the protocol's. */
    violation         /**< The protocol was broken; the log says how. */
};

/** Reads the parameters of one call. For one thread. */
class ParameterParser {
  public:
    ParameterParser(ItemReader& reader, Call& call, ViolationLog& log)
        : reader_(reader), call_(call), log_(log) {}

    /** Reads from `item`, the first item of the parameters, to the end item, which must close the stream. */
    ParseResult parse(Item item);
    /** The name that wasn't found, after `unknownParameter`. */
    const std::string& unknown() const { return unknown_; }

  private:
    ParseResult requested(const Item& item);
    ParseResult field(const Item& item);
    ParseResult table(const Item& item);
    ParseResult xml(Item item);
    ParseResult xmlItems(Item& item, std::string& document);
    ParseResult lookUp(const Item& item, std::size_t& index);
    ParseResult rows(ParameterValue& value, Item& item);
    ParseResult end(const Item& item);
    ParseResult fault(const Item& item, std::string_view expected);

    ItemReader& reader_;
    Call& call_;
    ViolationLog& log_;
    std::string unknown_;
    std::size_t hint_ = 0;
    bool valuesStarted_ = false;
};

}  // namespace zordev
