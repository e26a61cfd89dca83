/* A user's program: takes the version that the package claims and asks the library for its own. */
#include <kelzor.h>
#include <stdio.h>
#include <string.h>

/* 1 if the library finds the decimal library beside itself: nothing else tells the loader where that is. */
static int readsDecimals(void) {
    ZOR_FIELD_DESC field = {.name = "PRICE", .type = ZORTYPE_DECF16, .nucLength = 8};
    char text[8] = "";
    ZOR_TYPE_DESC_HANDLE type = ZorCreateTypeDesc("ITEM", NULL);
    ZorAddTypeField(type, &field, NULL);
    ZorSetTypeLength(type, 8, 0, NULL);
    ZOR_STRUCTURE_HANDLE item = ZorCreateStructure(type, NULL);
    ZorSetChars(item, "PRICE", "-7.50", 5, NULL);
    ZorGetString(item, "PRICE", text, sizeof text, NULL, NULL);
    ZorDestroyStructure(item, NULL);
    return strcmp(text, "-7.50") == 0;
}

int main(int argc, char** argv) {
    unsigned major = 0, minor = 0, patch = 0;
    char version[32];
    const char* release = ZorGetVersion(&major, &minor, &patch);
    snprintf(version, sizeof version, "%u.%u.%u", major, minor, patch);
    printf("%s: release %s, version %s, package %s\n", argv[0], release, version, argc > 1 ? argv[1] : "");
    for (int i = 0; version[i] != '\0' || (argc > 1 && argv[1][i] != '\0'); i++)
        if (argc < 2 || version[i] != argv[1][i]) return 1;
    return readsDecimals() ? 0 : 2;
}
