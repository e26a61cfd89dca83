/** @file Names of the public enumerations' values, one table each. All texts are static. */
#pragma once

#include <kelzor/error.h>
#include <kelzor/types.h>

/** Name of a type; "ZORTYPE_NULL" for the gaps and for every unknown value. */
const KEL_UC* zorTypeName(ZORTYPE type) noexcept;

/** Name of a direction; "ZOR_UKNOWN_DIRECTION" for every unknown value. */
const KEL_UC* zorDirectionName(ZOR_DIRECTION direction) noexcept;

/** Name of a server state; "ZOR_UKNOWN_STATE" for every unknown value. */
const KEL_UC* zorServerStateName(ZOR_SERVER_STATE state) noexcept;
