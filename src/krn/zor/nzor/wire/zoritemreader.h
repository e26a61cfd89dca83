/** @file The reading loop: a table of items with their states, and a small handler for each. */
#pragma once

#include <optional>

#include "compress/zorcompressor.h"
#include "data/zortable.h"
#include "wire/zoritemstream.h"
#include "xzor/xzorparser.h"

/** One run of the loop. */
class ZorItemReader : private XZorRoots, private ZorRowSink {
  public:
    ZorItemReader(ZorItemStream& stream, ZORSTATE state, ZorFunction* function)
        : stream(stream), state(state), function(function) {}

    /** Reads items up to `toRid`, ZORID_End, or a callback; returns what ended the loop. */
    ZORID run(ZORID toRid);

  private:
    using Handler = void (ZorItemReader::*)(ZORID id, unsigned length);

    /** What an item needs and does. */
    struct Row {
        ZORID id;
        int required;  ///< State that the loop must be in; anyState for none.
        int next;      ///< State behind the item; sameState keeps it.
        Handler handler;
    };
    static constexpr int anyState = -1;
    static constexpr int sameState = -1;
    static const Row rows[];
    static const Row* find(ZORID id) noexcept;

    void handle(ZORID id, unsigned length);

    void skip(ZORID id, unsigned length);
    void header(ZORID id, unsigned length);
    void protocol(ZORID id, unsigned length);
    void unicodeHeader(ZORID id, unsigned length);
    void ngzorEncoding(ZORID id, unsigned length);
    void functionName(ZORID id, unsigned length);
    void destination(ZORID id, unsigned length);
    void ipAddress(ZORID id, unsigned length);
    void cDestination(ZORID id, unsigned length);
    void callerUser(ZORID id, unsigned length);
    void ownType(ZORID id, unsigned length);
    void ownRelease(ZORID id, unsigned length);
    void kernelRelease(ZORID id, unsigned length);
    void user(ZORID id, unsigned length);
    void client(ZORID id, unsigned length);
    void logonClient(ZORID id, unsigned length);
    void language(ZORID id, unsigned length);
    void passwordState(ZORID id, unsigned length);
    void programName(ZORID id, unsigned length);
    void fieldName(ZORID id, unsigned length);
    void fieldValue(ZORID id, unsigned length);
    void fieldIsSupplied(ZORID id, unsigned length);
    void tableName(ZORID id, unsigned length);
    void tableInfo(ZORID id, unsigned length);
    void tableRow(ZORID id, unsigned length);
    void compressedRows(ZORID id, unsigned length);
    void endOfCompressedRows(ZORID id, unsigned length);
    void deltaState(ZORID id, unsigned length);
    void deltaLog(ZORID id, unsigned length);
    void deltaLogMore(ZORID id, unsigned length);
    void deltaData(ZORID id, unsigned length);
    void errorItem(ZORID id, unsigned length);
    void xmlParameter(ZORID id, unsigned length);
    void xmlData(ZORID id, unsigned length);
    void callStack(ZORID id, unsigned length);
    void classExceptionsWanted(ZORID id, unsigned length);
    void classExceptionInfo(ZORID id, unsigned length);
    void classException(ZORID id, unsigned length);
    void transactionMode(ZORID id, unsigned length);
    void ticket(ZORID id, unsigned length);
    void unsupported(ZORID id, unsigned length);

    ZorRecord* recordOf(std::string_view parameterName) override;
    /** Ends the XML document that is being read, if there is one. */
    void finishXml();
    void takeRow(std::span<const KEL_RAW> image) override;
    /** Ends the compressed rows that are being read, if there are any. */
    void finishRows();

    ZorParameter* namedParameter(unsigned length, bool activate);
    /** The active parameter of a name; a server makes it active if told to, and notes the request. */
    ZorParameter* wantedParameter(std::string_view name, bool activate);
    /** The named parameter's table; one without a row description is made for rows of `width` bytes. */
    ZorTable* tableOfWidth(unsigned width);
    /** The table that was sent under an id; null for an unknown one. */
    ZorTable* deltaTable(KEL_INT objectId) const;

    ZorItemStream& stream;
    ZORSTATE state;
    ZorFunction* function;                    ///< Container to fill, or NULL.
    ZorParameter* parameter = nullptr;        ///< The parameter last named.
    ZorTable* table = nullptr;                ///< The table whose rows come; NULL skips them.
    unsigned rowsAnnounced = 0;               ///< Rows that the table still takes.
    unsigned rowWidth = 0;                    ///< Bytes of a row on the wire.
    std::optional<ZorCompressor> compressor;  ///< While compressed rows come.
    DELTA_LOG change;                         ///< The change whose data come.
    std::optional<XZorParser> xml;            ///< While an XML document comes.
};
