/** @file Names in the form in which records carry them. */
#pragma once

#include <string_view>

#include "base/dptrc/err.h"
#include "base/ni/ni.h"
#include "flat/flat.h"
#include "krn/si/gw/gwnames.h"

/** A name in UTF-8; nearly always the text as it is. */
class GwNetName {
  public:
    explicit GwNetName(std::string_view text) noexcept {
        KEL_CHAR terminated[NI_HOST_MAX];
        fits = text.size() < sizeof terminated;
        if (!fits) return;
        terminated[text.copy(terminated, text.size())] = '\0';
        length = UcsToUtf8s(terminated, bytes, sizeof bytes);
    }
    std::string_view view() const noexcept { return {reinterpret_cast<const KEL_CHAR*>(bytes), length}; }

    /** KEL_O_K, or C_NET_CONV_ERROR made the current error: no record has a name of that length. */
    int check(const KEL_CHAR* field) const noexcept {
        if (fits) return KEL_O_K;
        ErrSet(GW_COMPONENT, GW_VERSION, __FILE__, __LINE__, "%s", C_NET_CONV_ERROR, "field = %s, rc=%d",
               GwGetKelText(C_NET_CONV_ERROR), field, INVALID_LEN);
        return C_NET_CONV_ERROR;
    }

  private:
    KEL_RAW bytes[2 * NI_HOST_MAX];  ///< A character takes two bytes at most.
    std::size_t length = 0;
    bool fits = false;
};
