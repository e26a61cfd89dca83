/** @file Descriptions of the partner's functions that a connection calls on its own account. */
#pragma once

#include <kelzor/types.h>

class ZorFunctionMetaData;

/** The functions. */
enum class ZorConnectionFunction {
    SYSTEM_PREPARE_ATTACH_GUI,
    SYSTEM_FINISH_ATTACH_GUI,
    SYSTEM_ZOR_VERSION_3_INIT,
    SYSTEM_INVISIBLE_GUI,
    SUSR_USER_CHANGE_PASSWORD_ZOR,
    SYSTEM_RESET_ZOR_SERVER,
};

/**
 * Their descriptions: locked, in no repository, living until the process ends; any thread may use them.
 */
class ZorConnectionFunctions {
  public:
    /** Builds all of them; further calls change nothing. Throws only what memory shortage throws. */
    static void init();
    static ZorFunctionMetaData& get(ZorConnectionFunction function);
};
