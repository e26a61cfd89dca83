/**
 * @file
 * Rows of a table out of compressed items. The items of a table together are a head of 8 bytes (7B 02 00 EA,
 * then the count of all bytes, highest first, which isn't needed) and a stream of the LZH form with the
 * images of the rows one behind the other.
 */
#pragma once

#include <kelzor/types.h>

#include <array>
#include <span>
#include <vector>

/** Takes rows as they get complete. */
class ZorRowSink {
  public:
    virtual void takeRow(std::span<const KEL_RAW> image) = 0;

  protected:
    ~ZorRowSink() = default;
};

/** Decompresses one table. Throws ZorLZException for what isn't a compressed table, and what the sink throws.
 */
class ZorCompressor {
  public:
    /** Rows of `length` bytes, which isn't 0. */
    explicit ZorCompressor(unsigned length);
    ZorCompressor(const ZorCompressor&) = delete;
    ZorCompressor& operator=(const ZorCompressor&) = delete;
    ~ZorCompressor();

    /** Goes on with the next bytes; what stands behind the end of the stream is read past. */
    void decompress(std::span<const KEL_RAW> bytes, ZorRowSink& sink);
    /** Whether the stream has ended. */
    bool isFinished() const noexcept { return finished; }
    /** No more bytes come. Throws if the stream hasn't ended. */
    void setFinished() const;

  private:
    /** Collects both heads; gives what is behind them. */
    std::span<const KEL_RAW> readHeads(std::span<const KEL_RAW> bytes);
    void startStream();
    void giveRow(ZorRowSink& sink);

    int handle = -1;
    bool finished = false;
    std::array<KEL_RAW, 16> heads{};
    unsigned headLength = 0;
    std::vector<KEL_RAW> row;
    size_t filled = 0;  ///< Bytes of the row that is being put together.
};
