#include "layout_measure.inc"

const struct LayoutRow* layoutRowsOfC(void) {
    return rows;
}
