/** @file A structure can't contain itself, whatever a partner tells. */
#pragma once

#include "meta/zorrecordmetadata.h"

/**
 * Throws ZorInvalidParameterException for a type that contains itself as a structure, directly or below, and
 * for structures nested beyond reason. A table of itself is no circle: it may be empty.
 */
void zorRefuseCircles(const ZorRecordMetaData& type);
