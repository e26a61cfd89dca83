/** @file What exported functions said, as one text, and the texts that many of them share. */
#pragma once

#include <gtest/gtest.h>
#include <kelzor/error.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

/** What a call returned and said: "code key: message", or "0". */
inline std::string said(const std::function<ZOR_RC(ZOR_ERROR_INFO*)>& call) {
    ZOR_ERROR_INFO info;
    std::memset(&info, 0, sizeof info);
    const ZOR_RC rc = call(&info);
    EXPECT_EQ(rc, info.code);
    if (rc == ZOR_OK) return "0";
    return std::to_string(rc) + " " + info.key + ": " + info.message;
}

inline const std::string invalidHandle =
    "13 ZOR_INVALID_HANDLE: An invalid handle was passed to the API call";
inline const std::string lockedText =
    "19 ZOR_ILLEGAL_STATE: The operation is forbidden because the instance is already locked";

inline std::string invalidParameter(const char* label) {
    return std::string("20 ZOR_INVALID_PARAMETER: Invalid parameter '") + label +
           "' was passed to the API call";
}

inline std::string parameterText(const std::string& text) {
    return "20 ZOR_INVALID_PARAMETER: " + text;
}

inline std::string removed(const char* kind, const void* handle) {
    char text[100];
    std::snprintf(text, sizeof text, "%s handle  %p was already removed", kind, handle);
    return parameterText(text);
}
