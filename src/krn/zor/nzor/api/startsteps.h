/** @file What is done when the library starts. */
#pragma once

#include <kelzor/types.h>

#include <span>

/** One step of the start. It may throw; the start then ends with that failure. */
struct StartStep {
    const KEL_UC* name;
    void (*run)();
};

/** All steps in their order. A subsystem that needs one adds a row. */
std::span<const StartStep> startSteps() noexcept;
