#include "meta/zortypelayout.h"

unsigned zorPartnerAlignmentOf(ZORTYPE type) noexcept {
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
        default:
            return 4;
    }
}

unsigned zorAlignmentOf(ZORTYPE type) noexcept {
    switch (type) {
        case ZORTYPE_TABLE:
        case ZORTYPE_STRUCTURE:
        case ZORTYPE_UBIXOBJECT:
        case ZORTYPE_STRING:
        case ZORTYPE_XSTRING:
            return sizeof(void*);
        default:
            return zorPartnerAlignmentOf(type);
    }
}

unsigned zorNumberWidth(ZORTYPE type) noexcept {
    switch (type) {
        case ZORTYPE_INT2:
        case ZORTYPE_TMINUTE:
        case ZORTYPE_CDAY:
            return 2;
        case ZORTYPE_INT:
        case ZORTYPE_DTDAY:
        case ZORTYPE_DTWEEK:
        case ZORTYPE_DTMONTH:
        case ZORTYPE_TSECOND:
            return 4;
        case ZORTYPE_FLOAT:
        case ZORTYPE_INT8:
        case ZORTYPE_UTCLONG:
        case ZORTYPE_UTCSECOND:
        case ZORTYPE_UTCMINUTE:
        case ZORTYPE_DECF16:
            return 8;
        case ZORTYPE_DECF34:
            return 16;
        default:
            return 0;
    }
}

bool zorIsCharacterType(ZORTYPE type) noexcept {
    return type == ZORTYPE_CHAR || type == ZORTYPE_DATE || type == ZORTYPE_TIME || type == ZORTYPE_NUM;
}
