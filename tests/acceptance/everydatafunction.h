/** @file The functions that need no partner, called from C. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/** NULL, or what went wrong first. */
const char* useEveryDataFunction(void);

#ifdef __cplusplus
}
#endif
