/** @file The list of logon pad entries as a caller gets it and hands it back. */
#pragma once

#include <kelzor/error.h>
#include <kelzor/types.h>

#include <cstdlib>
#include <span>

#include "error/zorexception.h"

namespace zorapi {

/** As std::malloc: memory that std::free takes, or NULL. */
using Allocate = void* (*)(size_t size);

/**
 * Makes the caller's copy of the names: an array of `count` pointers to terminated texts, each a block of its
 * own. Without names, or without memory for all of them, list and count are empty, nothing stays allocated,
 * and the record says which; its key stays what it was.
 */
ZOR_RC makeKellogonEntries(std::span<const KEL_string> names, KEL_UC**& list, unsigned& count,
                           ZOR_ERROR_INFO* info, Allocate allocate = std::malloc) noexcept;

/** Frees such a list, from the last text to the first; list and count are empty then. */
void freeKellogonEntries(KEL_UC**& list, unsigned& count) noexcept;

}  // namespace zorapi
