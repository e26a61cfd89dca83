/** @file Clearing memory that held a password. */
#pragma once

#include <strings.h>

#include <cstring>

#include "config/zoroptions.h"

/** Overwrites `size` bytes in a way that the compiler keeps. */
inline void wipe(void* memory, size_t size) noexcept {
    ::explicit_bzero(memory, size);
}

/** Overwrites and empties a text, with what an earlier, longer value left behind it. */
inline void wipe(KEL_string& text) noexcept {
    text.resize(text.capacity());
    wipe(text.data(), text.size());
    text.clear();
}

/** Overwrites all values of a map and empties it. */
inline void wipe(ZorOptionMap& settings) noexcept {
    for (auto& [key, value] : settings)
        wipe(value);
    settings.clear();
}
