/*
 * Serves GREET on threads of the library's, a text in and a greeting back: a whole automated server in C.
 *
 *     automated_server TPNAME=greet.program GWHOST=127.0.0.1 GWSERV=3300 REG_COUNT=2
 *     automated_server SERVER_PORT=8100
 *
 * The first form registers at a gateway, the second listens on a port. It tells what happens until the
 * process gets SIGINT or SIGTERM, then lets the calls that run come to their end.
 */
#define _POSIX_C_SOURCE 200809L
#include <kelzor.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { MAX_PARAMETERS = 32, LENGTH = 40, PATIENCE = 30 /* seconds for calls that run at the end */ };

static int report(const char* what, const ZOR_ERROR_INFO* info) {
    fprintf(stderr, "%s failed: %s\n  key: %s\n  message: %s\n", what, ZorGetRcAsString(info->code),
            info->key, info->message);
    return EXIT_FAILURE;
}

/* Runs on several threads at once, so it shares nothing. */
static ZOR_RC greet(ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO* info) {
    KEL_UC name[LENGTH + 1], greeting[LENGTH + 16];
    unsigned length = 0;
    ZOR_RC rc = ZorGetString(call, "NAME", name, sizeof name, &length, info);
    (void)connection;
    if (rc != ZOR_OK) return rc;
    snprintf(greeting, sizeof greeting, "Hello, %s", name);
    return ZorSetString(call, "GREETING", greeting, (unsigned)strlen(greeting), info);
}

static ZOR_RC install(ZOR_ERROR_INFO* info) {
    static const struct {
        const char* name;
        ZOR_DIRECTION direction;
        unsigned length;
    } texts[] = {{"NAME", ZOR_IMPORT, LENGTH}, {"GREETING", ZOR_EXPORT, LENGTH + 16}};
    const ZOR_FUNCTION_DESC_HANDLE description = ZorCreateFunctionDesc("GREET", info);
    ZOR_RC rc = info->code;
    for (size_t i = 0; rc == ZOR_OK && i < sizeof texts / sizeof *texts; i++) {
        ZOR_PARAMETER_DESC parameter;
        memset(&parameter, 0, sizeof parameter);
        strcpy(parameter.name, texts[i].name);
        parameter.type = ZORTYPE_CHAR;
        parameter.direction = texts[i].direction;
        parameter.nucLength = texts[i].length;
        parameter.ucLength = 2 * texts[i].length;
        rc = ZorAddParameter(description, &parameter, info);
    }
    if (rc == ZOR_OK) rc = ZorInstallServerFunction(NULL, description, greet, info);
    if (description != NULL) ZorDestroyFunctionDesc(description, NULL); /* the table keeps it */
    return rc;
}

static void on_state(ZOR_SERVER_HANDLE server, ZOR_STATE_CHANGE* change) {
    (void)server;
    printf("%s\n", ZorGetServerStateAsString(change->newState));
    fflush(stdout);
}

static void on_error(ZOR_SERVER_HANDLE server, ZOR_ATTRIBUTES* partner, ZOR_ERROR_INFO* info) {
    (void)server;
    fprintf(stderr, "%s: %s\n", partner != NULL && *partner->sysId ? partner->sysId : "server",
            info->message);
}

int main(int argc, char** argv) {
    ZOR_CONNECTION_PARAMETER parameters[MAX_PARAMETERS];
    ZOR_ERROR_INFO info;
    ZOR_RC rc;
    unsigned count = 0;
    int ended = 0;
    sigset_t ends;
    /* Blocked in all threads, so that the wait below gets them. */
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, NULL);
    for (int i = 1; i < argc && count < MAX_PARAMETERS; i++) {
        char* const equals = strchr(argv[i], '=');
        if (equals == NULL) continue;
        *equals = '\0';
        parameters[count].name = argv[i];
        parameters[count++].value = equals + 1;
    }
    if (install(&info) != ZOR_OK) return report("ZorInstallServerFunction", &info);
    const ZOR_SERVER_HANDLE server = ZorCreateServer(parameters, count, &info);
    if (server == NULL) return report("ZorCreateServer", &info);
    ZorAddServerStateChangedListener(server, on_state, &info);
    ZorAddServerErrorListener(server, on_error, &info);
    rc = ZorLaunchServer(server, &info);
    /* A gateway that isn't there yet is tried again and again. */
    if (rc != ZOR_OK) report("ZorLaunchServer", &info);
    if (rc == ZOR_OK || rc == ZOR_COMMUNICATION_FAILURE) sigwait(&ends, &ended);
    ZorShutdownServer(server, PATIENCE, &info);
    ZorDestroyServer(server, &info);
    return rc == ZOR_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
