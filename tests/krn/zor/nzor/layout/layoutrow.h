/* Rows of sizes and offsets as one compiler sees them. */
#ifndef LAYOUTROW_H
#define LAYOUTROW_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/** One size or offset in bytes: as found, and as the 32-bit and the 64-bit build must have it. */
struct LayoutRow {
    const char* what;
    size_t found;
    size_t with32;
    size_t with64;
};

/** The rows as a C compiler sees them; the end is a row without a name. */
const struct LayoutRow* layoutRowsOfC(void);

/** The rows as a C++ compiler sees them. */
const struct LayoutRow* layoutRowsOfCpp(void);

#ifdef __cplusplus
}
#endif

#endif
