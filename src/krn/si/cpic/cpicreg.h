/**
 * @file
 * Registrations: entries of the table that carry no data themselves, and share their connection with the
 * conversation of the partner that the gateway gives them; and the select set in which they wait. Private to
 * the layer.
 */
#pragma once

#include "krn/si/cpic/cpicconv.h"

/** A registration to be made. Texts are borrowed. */
struct CPIC_REGISTER_REQUEST {
    const KEL_CHAR* tpname;
    const KEL_CHAR* gwhost;
    const KEL_CHAR* gwserv;
    const CPIC_VSL_DATA* vsl_data = nullptr;
    bool use_nihandle;
    const KEL_CHAR* function;  ///< Who asks, for texts.
};
CM_RETCODE STIRegTp(const CPIC_REGISTER_REQUEST& request, CPIC_INT* handle) noexcept;

/** An accept on a registration. */
struct CPIC_ACCEPT_REQUEST {
    CPIC_INT handle;
    CPIC_INT timeout;  ///< Seconds, -1 none, CPIC_ACCEPT_BY_LISTEN.
    bool use_nihandle;
    const KEL_CHAR* function;
    void* ptr = nullptr;
};
CM_RETCODE STICmAccpTp(const CPIC_ACCEPT_REQUEST& request, KEL_RAW* conversation_ID) noexcept;

/** The registration with a handle; NULL with the error set. */
CONV_PROTO* STIFindRegistration(CPIC_INT handle, bool use_nihandle) noexcept;

/** Ends a registration and the conversation that runs on it. The current error stays. */
void STIEndRegistration(CONV_PROTO& registration) noexcept;

/**
 * The conversation of a partner is over: frees its entry, and makes its registration ready for the next
 * accept. If the gateway is gone the registration ends too.
 */
void STIReturnToRegistration(CONV_PROTO& conv) noexcept;

/** Sends a ping to the gateway; results as those of KEL_CMKEEPALIVE. */
CM_RETCODE STIPing(CONV_PROTO& conv, CPIC_INT timeout) noexcept;

/** Pings the gateway of a registration if the settings ask for it and it is due. */
void STIPingIfDue(CONV_PROTO& conv) noexcept;

/** Puts the connection of an entry into the select set. False with the error set if that can't be. */
bool STISelSet(CONV_PROTO& conv) noexcept;

/** Takes the connection of an entry out of the select set, and closes it if asked to. */
void STISelDel(CONV_PROTO& conv, bool close) noexcept;
