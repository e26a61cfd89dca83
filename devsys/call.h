/**
 * @file
 * One call of a function as its handler sees it: what the caller sent, what it wants back, and the
 * stream that the answer goes to.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "devsys/functions.h"
#include "devsys/items.h"
#include "devsys/xmltext.h"

namespace zordev {

struct BackEnd;
class UserTable;
struct PartnerProfile;

/** What the caller sent for one parameter. The bytes lie in the request. */
struct ParameterValue {
    bool requested = false; /**< The caller wants it back. */
    bool supplied = false;  /**< The caller sent a value. */
    ByteSpan value;         /**< Of a field: its payload. Of a table: the items of its rows. */
    std::uint32_t rows = 0;
    std::uint32_t width = 0;   /**< Bytes of a row. */
    std::uint32_t tableId = 0; /**< Under which changes of the table are told; 0 if they aren't wanted. */
    XmlElement document;       /**< Of a parameter that travels as XML. */
};

/** What a handler needs from the session that runs it. */
class CallHost {
  public:
    /** Waits; false when the client cancelled or went away in the meantime. */
    virtual bool wait(unsigned milliseconds) = 0;
    /**
     * Calls `function` of the client with the items of `parameters`. `answer` becomes the client's
     * answer without its session items; false when the client went away.
     */
    virtual bool callBack(std::string_view function, const ItemWriter& parameters,
                          std::vector<Byte>& answer) = 0;
    virtual UserTable& users() = 0;
    virtual const BackEnd& backEnd() const = 0;
    /** Formats of the back-end. */
    virtual const PartnerProfile& profile() const = 0;
    /** The client of the logon, three digits. */
    virtual const std::string& client() const = 0;

  protected:
    ~CallHost() = default;
};

/** Bytes of an item of XML data; only the last one of a document has fewer. */
constexpr std::size_t XML_ITEM = 16384;

/** A call in progress. */
class Call {
  public:
    Call(CallHost& callHost, ItemWriter& writer) : host(callHost), out(writer) {}

    /** Gets ready for another call, of `description`. */
    void begin(const FunctionDescription& description) {
        function = &description;
        values.assign(description.parameters.size(), ParameterValue());
    }

    /** Index of a parameter by name, -1 if there is none; `hint` is tried first. */
    int find(std::string_view name, std::size_t hint) const;

    /** @name Reading: parameters by their index in the description. */
    /** @{ */
    /** Text of a CHAR or NUM parameter without trailing blanks; empty when it wasn't sent. */
    std::string_view text(std::size_t index) const;
    /** An INT parameter; 0 when it wasn't sent. */
    std::int32_t integer(std::size_t index) const;
    /** @} */

    /** @name Answering; a parameter that the caller didn't ask for is left out. */
    /** @{ */
    /** A field with exactly these bytes, but for its numbers, which get the format of the back-end. */
    void reply(std::size_t index, ByteSpan value);
    /** A character field, cut or padded to its length. */
    void replyText(std::size_t index, std::string_view text);
    void replyInteger(std::size_t index, std::int32_t value);
    /** A table of `rows` rows of `width` bytes, whose items follow. Returns whether the caller wants it. */
    bool replyTable(std::size_t index, std::uint32_t rows, std::uint32_t width);
    /** A document as it stands, in items of `piece` bytes. */
    void replyXml(std::size_t index, std::string_view document, std::size_t piece = XML_ITEM);
    /** A row of a table, whose numbers get the format of the back-end. */
    void replyRow(const StructureDescription* structure, ByteSpan row);
    /** The value that a field of this parameter has from the start: blanks, zeros or nothing. */
    void replyInitial(std::size_t index);
    /** @} */

    CallHost& host;
    ItemWriter& out;
    const FunctionDescription* function = nullptr;
    std::vector<ParameterValue> values;
};

}  // namespace zordev
