/**
 * @file
 * The items in front of a call's parameters: header, logon, session information and the call itself.
 * They come in one order, in groups that are there as a whole or not at all.
 */
#pragma once

#include <cstdint>
#include <string>

#include "devsys/items.h"
#include "devsys/violations.h"

namespace zordev {

/** Bytes of the communication header that opens a conversation's first request. */
inline constexpr std::size_t COMMUNICATION_HEADER = 12;

/** COMMUNICATION_HEADER if the stream starts with one, else 0. */
std::size_t communicationHeaderLength(ByteSpan stream);

/** What kind of stream the items open. */
enum class StreamKind {
    logon, /**< The first of a conversation: all groups. */
    call,  /**< A later one: the call; header and session information only if they changed. */
    answer /**< The answer to a callback: no call, and no destinations in the session information. */
};

/** What a session knows about its client from these items. */
struct ClientFacts {
    std::string user;
    std::string alias;
    std::string password; /**< Unscrambled; wiped by the session once it was checked. */
    std::string client;
    std::string ticket; /**< Logon ticket. */
    std::string certificate;
    std::string externalId; /**< Type, colon and data of an external identity. */
    std::string language;
    bool wantsTicket = false; /**< The answer to the logon is to bring a ticket. */
    std::string release;
    std::string program;
    std::string function; /**< Of the current call. */
    bool tracing = false; /**< The communication header asks for a trace. */
    bool deltaOff = false;
};

/** Reads the items of one stream up to the first that belongs to the parameters. */
class SessionItems {
  public:
    SessionItems(StreamKind kind, ViolationLog& log) : kind_(kind), log_(log) {}

    /**
     * Reads from `reader` into `facts`. Returns false after a violation, which is then in the log;
     * otherwise `item` is the first item of the parameters, or the end of the stream's items.
     */
    bool read(ItemReader& reader, ClientFacts& facts, Item& item);

  private:
    bool accept(const Item& item);
    bool skipTo(std::size_t row, std::size_t offset);
    bool take(const Item& item, ClientFacts& facts);

    StreamKind kind_;
    ViolationLog& log_;
    std::size_t position_ = 0;    // first row of the order that may still come
    unsigned groupsEntered_ = 0;  // one bit a group
};

/** Reads the next item; a damaged stream is a violation and gives false. */
bool readItem(ItemReader& reader, Item& item, ViolationLog& log);

/** Checks the communication header at the start of a conversation's first request. */
bool checkCommunicationHeader(ByteSpan stream, ClientFacts& facts, ViolationLog& log);

}  // namespace zordev
