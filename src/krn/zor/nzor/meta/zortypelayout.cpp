#include "meta/zortypelayout.h"

unsigned zorAlignmentOf(ZORTYPE type) noexcept {
    switch (type) {
        case ZORTYPE_CHAR:
        case ZORTYPE_DATE:
        case ZORTYPE_BCD:
        case ZORTYPE_TIME:
        case ZORTYPE_BYTE:
        case ZORTYPE_NUM:
        case ZORTYPE_INT1:
            return 1;
        case ZORTYPE_INT2:
            return 2;
        case ZORTYPE_FLOAT:
        case ZORTYPE_DECF16:
        case ZORTYPE_INT8:
            return 8;
        case ZORTYPE_DECF34:
            return 16;
        case ZORTYPE_TABLE:
        case ZORTYPE_STRUCTURE:
        case ZORTYPE_UBIXOBJECT:
        case ZORTYPE_STRING:
        case ZORTYPE_XSTRING:
            return sizeof(void*);
        default:
            return 4;
    }
}

bool zorIsCharacterType(ZORTYPE type) noexcept {
    return type == ZORTYPE_CHAR || type == ZORTYPE_DATE || type == ZORTYPE_TIME || type == ZORTYPE_NUM;
}
