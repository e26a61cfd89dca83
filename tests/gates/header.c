/* The public header alone, as a pedantic C11 compiler reads it. */
#include <kelzor.h>

int gatesHeaderFromC(void);

/* Uses the header, so that what it declares reaches the linker from C too. */
int gatesHeaderFromC(void) {
    ZOR_ERROR_INFO info = {ZOR_OK, OK, "", "", "", "", "", "", "", "", ""};
    return (int)info.code;
}
