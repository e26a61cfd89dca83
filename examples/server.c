/*
 * Serves ADD, a function of two numbers, with a loop of its own: a whole server in plain C.
 *
 *     server TPNAME=calc.program GWHOST=127.0.0.1 GWSERV=3300
 *
 * registers at a gateway and serves until the gateway goes or the process gets SIGINT or SIGTERM. Started by
 * a gateway (CONVID= is among its arguments then), it serves the conversation that it was started for.
 */
#define _POSIX_C_SOURCE 200809L
#include <kelzor.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { MAX_PARAMETERS = 32, ROUND = 1 /* seconds between looks at the signal */ };

static volatile sig_atomic_t stopped = 0;

static void stop(int signal_number) {
    (void)signal_number;
    stopped = 1;
}

static int report(const char* what, const ZOR_ERROR_INFO* info) {
    fprintf(stderr, "%s failed: %s\n  key: %s\n  message: %s\n", what, ZorGetRcAsString(info->code),
            info->key, info->message);
    return EXIT_FAILURE;
}

/* What partners call. A failure is told by the result, the record goes to the partner. */
static ZOR_RC add(ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO* info) {
    ZOR_ATTRIBUTES partner;
    ZOR_INT a = 0, b = 0;
    ZOR_RC rc = ZorGetConnectionAttributes(connection, &partner, info);
    if (rc == ZOR_OK) rc = ZorGetInt(call, "A", &a, info);
    if (rc == ZOR_OK) rc = ZorGetInt(call, "B", &b, info);
    if (rc != ZOR_OK) return rc;
    printf("%s of %s adds %d and %d\n", partner.user, partner.sysId, a, b);
    fflush(stdout);
    if (a < 0 || b < 0) {
        strcpy(info->key, "NEGATIVE");
        return ZOR_UBIX_EXCEPTION;
    }
    return ZorSetInt(call, "SUM", a + b, info);
}

/* The function's interface, which partners have to keep to. */
static ZOR_RC install(ZOR_ERROR_INFO* info) {
    static const struct {
        const char* name;
        ZOR_DIRECTION direction;
    } numbers[] = {{"A", ZOR_IMPORT}, {"B", ZOR_IMPORT}, {"SUM", ZOR_EXPORT}};
    const ZOR_FUNCTION_DESC_HANDLE description = ZorCreateFunctionDesc("ADD", info);
    ZOR_RC rc = info->code;
    for (size_t i = 0; rc == ZOR_OK && i < sizeof numbers / sizeof *numbers; i++) {
        ZOR_PARAMETER_DESC parameter;
        memset(&parameter, 0, sizeof parameter);
        strcpy(parameter.name, numbers[i].name);
        parameter.type = ZORTYPE_INT;
        parameter.direction = numbers[i].direction;
        parameter.nucLength = parameter.ucLength = 4;
        rc = ZorAddParameter(description, &parameter, info);
    }
    if (rc == ZOR_OK) rc = ZorInstallServerFunction(NULL, description, add, info);
    if (description != NULL) ZorDestroyFunctionDesc(description, NULL); /* the table keeps it */
    return rc;
}

/* Serves until a signal comes or the connection is gone. */
static int serve(ZOR_CONNECTION_HANDLE connection, int started) {
    ZOR_ERROR_INFO info;
    int valid = 1;
    while (!stopped && valid) {
        const ZOR_RC rc = ZorListenAndDispatch(connection, ROUND, &info);
        if (rc == ZOR_OK || rc == ZOR_RETRY) continue;
        ZorIsConnectionHandleValid(connection, &valid, &(ZOR_ERROR_INFO){.code = ZOR_OK});
        if (valid) fprintf(stderr, "a call failed: %s\n", info.message);
    }
    if (valid) return ZorCloseConnection(connection, &info) == ZOR_OK ? EXIT_SUCCESS : EXIT_FAILURE;
    /* The conversation of a started program ends with its partner. */
    return started ? EXIT_SUCCESS : report("ZorListenAndDispatch", &info);
}

int main(int argc, char** argv) {
    ZOR_CONNECTION_PARAMETER parameters[MAX_PARAMETERS];
    ZOR_ERROR_INFO info;
    unsigned count = 0;
    int started = 0;
    const struct sigaction action = {.sa_handler = stop};
    for (int i = 1; i < argc; i++)
        started = started || strncmp(argv[i], "CONVID=", 7) == 0;
    for (int i = 1; !started && i < argc && count < MAX_PARAMETERS; i++) {
        char* const equals = strchr(argv[i], '=');
        if (equals == NULL) continue;
        *equals = '\0';
        parameters[count].name = argv[i];
        parameters[count++].value = equals + 1;
    }
    sigaction(SIGINT, &action, NULL);
    sigaction(SIGTERM, &action, NULL);
    if (install(&info) != ZOR_OK) return report("ZorInstallServerFunction", &info);
    const ZOR_CONNECTION_HANDLE connection =
        started ? ZorStartServer(argc, argv, NULL, 0, &info) : ZorRegisterServer(parameters, count, &info);
    if (connection == NULL) return report(started ? "ZorStartServer" : "ZorRegisterServer", &info);
    return serve(connection, started);
}
