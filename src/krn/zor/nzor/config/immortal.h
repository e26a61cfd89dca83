/** @file Objects that live until the process ends. */
#pragma once

/**
 * Storage of a static object that is made like any other and never destroyed, because threads may still
 * use it while the process's other statics go.
 */
template <class T>
union Immortal {
    Immortal() : value() {}
    ~Immortal() {}
    T value;
};
