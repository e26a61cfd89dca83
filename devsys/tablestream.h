/**
 * @file
 * The compressed rows of a table: a head of 8 bytes, the head of the stream, and the stream, which is written
 * in blocks with fixed codes or in stored blocks.
 */
#pragma once

#include <vector>

#include "devsys/bytes.h"

namespace zordev {

/** How a stream is written. */
struct TableStreamForm {
    unsigned filler = 0; /**< Random bits at the start, 0 to 3. */
    bool stored = false; /**< Blocks without compression. */
};

/** Both heads and the stream of these bytes, the images of the rows one behind the other. */
std::vector<Byte> compressRows(ByteSpan rows, const TableStreamForm& form);

}  // namespace zordev
