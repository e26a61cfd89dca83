/** @file The functions that a partner can call on any process of this library. */
#pragma once

#include <functional>
#include <map>
#include <string>

struct ZorFunctionStub;

/** All of them by name, with their descriptions. */
std::map<std::string, ZorFunctionStub, std::less<>> zorSystemFunctions();
