#include "krn/si/cpic/cpicconnect.h"

#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpictrc.h"

void STIBeginCall() noexcept {
    ErrSetMyLocation("%s", CPIC_LOCATION);
    ErrClear();
    STInitGlobals();
    CpicTrcInit();
}

CM_RETCODE STIConnect(CONV_PROTO& conv, const GwConnectRequest& request) noexcept {
    GwConnection connection;
    if (GwIConnect(request, &connection) != KEL_O_K) return CM_PRODUCT_SPECIFIC_ERROR;
    conv.gw_socket = connection.handle;
    conv.accept_info = connection.accept_info;
    conv.accept_info2 = connection.accept_info2;
    conv.rem_code_page = connection.code_page;
    if (connection.appchdr_version == APPCHDR6_VERSION) return CM_OK;
    CPIC_ERRSET(WRONG_APPCHDR_VERSION, "client version %d, gateway version %d (%s/%s)", APPCHDR6_VERSION,
                connection.appchdr_version, conv.gwhost.c_str(), conv.gwserv.c_str());
    return CM_PRODUCT_SPECIFIC_ERROR;
}

CM_RETCODE STIVslInit() noexcept {
    CPIC_ERRSET(C_VSL_NOT_AVAILABLE, "", "no secure network layer");
    return CM_PRODUCT_SPECIFIC_ERROR;
}
