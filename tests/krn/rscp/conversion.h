/** @file Conversions of whole texts with the engine and with the C library, for the tests of the engine. */
#pragma once

#include <gtest/gtest.h>
#include <iconv.h>

#include <string>

#include "krn/rscp/rscp.h"

/** An active converter of the engine. */
class Engine {
  public:
    struct Result {
        int rc;
        std::string text;
        std::size_t consumed;
    };

    Engine(const char* from, const char* to, rscpmiss_t miss = miss_stop,
           rscpbroken_t broken = broken_stop_finally, rscpCtrlCodeCv_t controls = CtrlCodeCv_try,
           KEL_UINT substitute = '#') {
        EXPECT_EQ(rscpCInit(object, from, to, miss, broken), RSCP_OK);
        EXPECT_EQ(rscpCSetSubstU4(object, substitute), RSCP_OK);
        EXPECT_EQ(rscpCSetCtrlCodeCv(object, controls), RSCP_OK);
        EXPECT_EQ(rscpCActivate(object), RSCP_OK) << from << " " << to << " " << rscpErrorText();
    }

    Result run(std::string_view text, std::size_t room = 64) const {
        // Exactly as long as the text and the room, so that a sanitizer sees a step beyond.
        const std::string source(text);
        std::string target(room, '?');
        auto* out = reinterpret_cast<KEL_RAW*>(target.data());
        auto* const outStart = out;
        const auto* in = reinterpret_cast<const KEL_RAW*>(source.data());
        const auto* const inStart = in;
        const int rc = rscpCConvert(object, &out, out + room, &in, in + source.size());
        const auto written = static_cast<std::size_t>(out - outStart);
        // A conversion that came to its end left the room behind it alone.
        const bool untouched = target.find_first_not_of('?', written) == std::string::npos;
        EXPECT_TRUE(untouched || rc != RSCP_OK);
        target.resize(written);
        return {rc, target, static_cast<std::size_t>(in - inStart)};
    }

    rscpCObj_t object;
};

/** A conversion of the C library, each call on its own. */
class Iconv {
  public:
    Iconv(const char* from, const char* to) : handle(iconv_open(to, from)) {
        EXPECT_NE(handle, reinterpret_cast<iconv_t>(-1)) << from << " " << to;
    }
    ~Iconv() { iconv_close(handle); }
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;

    /** The converted text; empty when the conversion fails. */
    std::string run(std::string_view text) const {
        char room[64];
        auto* in = const_cast<char*>(text.data());
        char* out = room;
        std::size_t inRest = text.size();
        std::size_t outRest = sizeof room;
        iconv(handle, nullptr, nullptr, nullptr, nullptr);
        if (iconv(handle, &in, &inRest, &out, &outRest) == static_cast<std::size_t>(-1) || inRest != 0)
            return {};
        iconv(handle, nullptr, nullptr, &out, &outRest);
        return {room, sizeof room - outRest};
    }

  private:
    iconv_t handle;
};

/** A character as UTF-32, highest byte first. */
inline std::string utf32(KEL_UINT character) {
    return {static_cast<char>(character >> 24), static_cast<char>(character >> 16),
            static_cast<char>(character >> 8), static_cast<char>(character)};
}
