/** @file What clients, registrations and started servers do alike to reach a gateway; private to the layer.
 */
#pragma once

#include "krn/si/cpic/cpicconv.h"

/** Most characters of a gateway's host, which may be a route. */
inline constexpr std::size_t CPIC_GWHOST_MAX = 2048;

/** What every opening begins with: an empty error with its location, settings, trace. */
void STIBeginCall() noexcept;

/**
 * Connects an entry to its gateway, and notes what the gateway can do. CM_OK, or CM_PRODUCT_SPECIFIC_ERROR
 * with the error set; the entry's names, which texts show, are set before.
 */
CM_RETCODE STIConnect(CONV_PROTO& conv, const GwConnectRequest& request) noexcept;

/** There is no secure network layer to be asked: the failure for a caller that wants one. */
CM_RETCODE STIVslInit() noexcept;
