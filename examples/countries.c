/*
 * Lists the countries of the world: a whole client in plain C.
 *
 *     PASSWD=... countries GWHOST=127.0.0.1 GWSERV=3300 CLIENT=100 USER=DEMO LANG=DE
 *
 * Every argument is a connection parameter, NAME=VALUE; any that ZorOpenConnection knows will do. The
 * password comes from the environment, since everybody on the machine can read a command line.
 */
#include <kelzor.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { MAX_PARAMETERS = 32 };

/* Code and group say what to do, key and message say why. A partner's own message has more parts. */
static int report(const char* what, const ZOR_ERROR_INFO* info) {
    fprintf(stderr, "%s failed: %s (code %d, group %d)\n  key: %s\n  message: %s\n", what,
            ZorGetRcAsString(info->code), (int)info->code, (int)info->group, info->key, info->message);
    if (info->code == ZOR_UBIX_MESSAGE || info->code == ZOR_UBIX_EXCEPTION)
        fprintf(stderr, "  partner's message: %s %s %s: %s %s %s %s\n", info->ubixMsgClass, info->ubixMsgType,
                info->ubixMsgNumber, info->ubixMsgV1, info->ubixMsgV2, info->ubixMsgV3, info->ubixMsgV4);
    return EXIT_FAILURE;
}

/* Text of the library is Latin-1: a character above 7 bits has two bytes in UTF-8. */
static void print_text(const KEL_UC* text) {
    for (; *text != '\0'; text++) {
        const unsigned char c = (unsigned char)*text;
        if (c < 0x80) {
            putchar(c);
        } else {
            putchar(0xC0 | c >> 6);
            putchar(0x80 | (c & 0x3F));
        }
    }
}

static ZOR_RC print_row(ZOR_TABLE_HANDLE table, ZOR_ERROR_INFO* info) {
    KEL_UC alpha2[3], alpha3[4], number[4], name[61];
    unsigned length;
    ZOR_RC rc = ZorGetString(table, "ALPHA2", alpha2, sizeof alpha2, &length, info);
    if (rc == ZOR_OK) rc = ZorGetString(table, "ALPHA3", alpha3, sizeof alpha3, &length, info);
    if (rc == ZOR_OK) rc = ZorGetString(table, "NUMCODE", number, sizeof number, &length, info);
    if (rc == ZOR_OK) rc = ZorGetString(table, "NAME", name, sizeof name, &length, info);
    if (rc != ZOR_OK) return rc;
    printf("  %-2s  %-3s  %-3s  ", alpha2, alpha3, number);
    print_text(name);
    putchar('\n');
    return ZOR_OK;
}

static ZOR_RC print_result(ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO* info) {
    ZOR_TABLE_HANDLE table = NULL;
    ZOR_INT count = 0;
    unsigned rows = 0;
    ZOR_RC rc = ZorGetInt(call, "COUNT", &count, info);
    if (rc == ZOR_OK) rc = ZorGetTable(call, "COUNTRIES", &table, info);
    if (rc == ZOR_OK) rc = ZorGetRowCount(table, &rows, info);
    if (rc == ZOR_OK) printf("  2   3    no   name (%d countries)\n", count);
    for (unsigned i = 0; rc == ZOR_OK && i < rows; i++) {
        rc = ZorMoveTo(table, i, info);
        if (rc == ZOR_OK) rc = print_row(table, info);
    }
    return rc;
}

/* Calls the function with a language code and prints what comes back. */
static int list_countries(ZOR_CONNECTION_HANDLE connection, const KEL_UC* language) {
    ZOR_ERROR_INFO info;
    ZOR_RC rc;
    ZOR_FUNCTION_HANDLE call;
    /* The partner knows what its function takes and gives. The description stays the library's. */
    const ZOR_FUNCTION_DESC_HANDLE function = ZorGetFunctionDesc(connection, "COUNTRY_GET_LIST", &info);
    if (function == NULL) return report("ZorGetFunctionDesc", &info);
    call = ZorCreateFunction(function, &info);
    if (call == NULL) return report("ZorCreateFunction", &info);

    rc = ZorSetString(call, "LANGUAGE", language, (unsigned)strlen(language), &info);
    if (rc == ZOR_OK) rc = ZorInvoke(connection, call, &info);
    if (rc == ZOR_OK) rc = print_result(call, &info);
    ZorDestroyFunction(call, NULL);
    return rc == ZOR_OK ? EXIT_SUCCESS : report("COUNTRY_GET_LIST", &info);
}

/* Puts the arguments and the password into the list; returns its length, 0 if the arguments are wrong.
   A NULL password counts as absent. */
static unsigned read_parameters(int argc, char** argv, ZOR_CONNECTION_PARAMETER* parameters) {
    unsigned count = 0;
    if (argc < 2 || argc > MAX_PARAMETERS) return 0;
    for (int i = 1; i < argc; i++, count++) {
        char* equals = strchr(argv[i], '=');
        if (equals == NULL) return 0;
        *equals = '\0';
        parameters[count].name = argv[i];
        parameters[count].value = equals + 1;
    }
    parameters[count].name = "PASSWD";
    parameters[count].value = getenv("PASSWD");
    return count + 1;
}

int main(int argc, char** argv) {
    ZOR_CONNECTION_PARAMETER parameters[MAX_PARAMETERS];
    ZOR_ERROR_INFO info;
    ZOR_ATTRIBUTES attributes;
    ZOR_CONNECTION_HANDLE connection;
    int status;
    const unsigned count = read_parameters(argc, argv, parameters);
    if (count == 0) {
        fprintf(stderr, "usage: PASSWD=... countries GWHOST=... GWSERV=... CLIENT=... USER=... LANG=...\n");
        return EXIT_FAILURE;
    }

    connection = ZorOpenConnection(parameters, count, &info);
    if (connection == NULL) return report("ZorOpenConnection", &info);
    /* The language of the logon is known by its code now, whichever form it was given in. */
    if (ZorGetConnectionAttributes(connection, &attributes, &info) == ZOR_OK)
        status = list_countries(connection, attributes.isoLanguage);
    else
        status = report("ZorGetConnectionAttributes", &info);
    ZorCloseConnection(connection, NULL); /* Refused if a failure has closed it already. */
    return status;
}
