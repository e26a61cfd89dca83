/* A user's program: takes the version that the package claims and asks the library for its own. */
#include <kelzor.h>
#include <stdio.h>

int main(int argc, char** argv) {
    unsigned major = 0, minor = 0, patch = 0;
    char version[32];
    const char* release = ZorGetVersion(&major, &minor, &patch);
    snprintf(version, sizeof version, "%u.%u.%u", major, minor, patch);
    printf("%s: release %s, version %s, package %s\n", argv[0], release, version, argc > 1 ? argv[1] : "");
    for (int i = 0; version[i] != '\0' || (argc > 1 && argv[1][i] != '\0'); i++)
        if (argc < 2 || version[i] != argv[1][i]) return 1;
    return 0;
}
