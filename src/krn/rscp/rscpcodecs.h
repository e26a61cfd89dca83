/**
 * @file
 * Readers and writers of one character, one pair for each form that text takes. A reader returns the
 * character and its length in bytes, or what stands there instead of one (rscppage.h); it is asked only
 * where the input isn't empty. A writer writes a character, which is never a surrogate, into room for the
 * longest code and returns its length, 0 if its page doesn't have it.
 *
 * Between some forms the characters that most text beyond ASCII is made of are converted in one go, without
 * the character in between: rscpquick.h.
 */
#pragma once

#include <kelzor/types.h>

#include <bit>

#include "flat/utf8.h"
#include "krn/rscp/rscppage.h"

/** A unit of one, two or four bytes, in the byte order of the page. */
template <unsigned width, std::endian order>
struct RscpUnits {
    static constexpr unsigned unit = width;
    static constexpr std::endian byteOrder = order;

    static KEL_UINT get(const KEL_RAW* in) noexcept {
        KEL_UINT value = 0;
        for (unsigned i = 0; i < width; ++i)
            value |= KEL_UINT{in[i]} << 8 * (order == std::endian::little ? i : width - 1 - i);
        return value;
    }

    static void set(KEL_UINT value, KEL_RAW* out) noexcept {
        for (unsigned i = 0; i < width; ++i)
            out[i] = static_cast<KEL_RAW>(value >> 8 * (order == std::endian::little ? i : width - 1 - i));
    }
};

constexpr bool rscpIsSurrogate(KEL_UINT unit) {
    return (unit & 0xFFFFF800) == 0xD800;
}

/** A page with a table: one byte a character, or codes of one to four bytes. */
struct RscpTableForm : RscpUnits<1, std::endian::native> {
    static constexpr bool unicode = false;

    explicit RscpTableForm(const RscpPage& page)
        : forward(page.forward), backward(page.backward), page(page) {}

    RscpStep read(const KEL_RAW* in, const KEL_RAW* end) const noexcept {
        const KEL_UINT cells = forward.rows[*in];
        if (cells == RscpForward::noRow) {
            const KEL_UINT character = forward.characters[*in];
            if (character != RscpTable::noCharacter) [[likely]]
                return {character, 1};
        } else if (end - in >= 2) {
            const KEL_UINT column = static_cast<KEL_UINT>(in[1]) - forward.firstTrail;
            const KEL_UINT cell =
                column < forward.columns ? forward.pairs[cells + column] : KEL_UINT{RscpTable::noCharacter};
            if (cell != RscpTable::noCharacter && !RscpTable::isWide(cell)) [[likely]]
                return {cell, 2};
        }
        return page.readRare(in, end);
    }

    unsigned write(KEL_UINT character, KEL_RAW* out) const noexcept {
        const KEL_UINT code = backward.find(character);
        if (code <= 0xFF) {
            out[0] = static_cast<KEL_RAW>(code);
            return 1;
        }
        if (backward.isLong(code)) [[unlikely]]
            return page.writeLong(character, code, out);
        out[0] = static_cast<KEL_RAW>(code >> 8);
        out[1] = static_cast<KEL_RAW>(code);
        return 2;
    }

    bool isAscii() const noexcept { return page.isAscii(); }
    /** Bytes of the ASCII characters if they have one each; NULL if not. */
    const KEL_RAW* asciiCodes() const noexcept { return page.asciiCodes(); }

    // Copies, so that the compiler knows that nothing changes them.
    const RscpForward forward;
    const RscpBackward backward;

  private:
    const RscpPage& page;
};

struct RscpUtf8Form : RscpUnits<1, std::endian::native> {
    static constexpr bool unicode = true;

    explicit RscpUtf8Form(const RscpPage&) {}

    RscpStep read(const KEL_RAW* in, const KEL_RAW* end) const noexcept {
        const KEL_UINT lead = *in;
        if (lead < 0x80) return {lead, 1};
        // Sequences of two and three bytes without the bounds that exclude wrong ones; those go the long way.
        if (lead >= 0xC2 && lead < 0xE0 && end - in >= 2 && (in[1] & 0xC0) == 0x80)
            return {(lead & 0x1F) << 6 | (in[1] & 0x3Fu), 2};
        if ((lead & 0xF0) == 0xE0 && end - in >= 3 && (in[1] & 0xC0) == 0x80 && (in[2] & 0xC0) == 0x80) {
            const KEL_UINT character = (lead & 0xF) << 12 | (in[1] & 0x3Fu) << 6 | (in[2] & 0x3Fu);
            if (character >= 0x800 && !rscpIsSurrogate(character)) [[likely]]
                return {character, 3};
        }
        return readRare(in, end);
    }

    unsigned write(KEL_UINT character, KEL_RAW* out) const noexcept {
        if (character < 0x80) {
            out[0] = static_cast<KEL_RAW>(character);
            return 1;
        }
        if (character < 0x800) {
            out[0] = static_cast<KEL_RAW>(0xC0 | character >> 6);
            out[1] = static_cast<KEL_RAW>(0x80 | (character & 0x3F));
            return 2;
        }
        if (character < 0x10000) {
            out[0] = static_cast<KEL_RAW>(0xE0 | character >> 12);
            out[1] = static_cast<KEL_RAW>(0x80 | (character >> 6 & 0x3F));
            out[2] = static_cast<KEL_RAW>(0x80 | (character & 0x3F));
            return 3;
        }
        out[0] = static_cast<KEL_RAW>(0xF0 | character >> 18);
        out[1] = static_cast<KEL_RAW>(0x80 | (character >> 12 & 0x3F));
        out[2] = static_cast<KEL_RAW>(0x80 | (character >> 6 & 0x3F));
        out[3] = static_cast<KEL_RAW>(0x80 | (character & 0x3F));
        return 4;
    }

    static constexpr bool isAscii() noexcept { return true; }
    static constexpr const KEL_RAW* asciiCodes() noexcept { return nullptr; }

  private:
    static RscpStep readRare(const KEL_RAW* in, const KEL_RAW* end) noexcept {
        const Utf8Step step = readUtf8(in, end);
        return {step.state == Utf8State::whole    ? step.character
                : step.state == Utf8State::broken ? rscpBroken
                                                  : rscpCut,
                static_cast<unsigned>(step.length)};
    }
};

/** UTF-16, and UCS-2, which knows no surrogates. */
template <std::endian order>
struct RscpUtf16Form : RscpUnits<2, order> {
    using Units = RscpUnits<2, order>;
    static constexpr bool unicode = true;
    const bool pairs;                     ///< Whether surrogates make characters.
    const RscpSequence* const sequences;  ///< Of each unit that is a character by itself.

    explicit RscpUtf16Form(const RscpPage& page)
        : pairs(page.major() == KELCCNLS_UTF_16h || page.major() == KELCCNLS_UTF_16l),
          sequences(page.forward.sequences) {}

    RscpStep read(const KEL_RAW* in, const KEL_RAW* end) const noexcept {
        if (end - in < 2) return {rscpCut, 1};
        const KEL_UINT unit = Units::get(in);
        if (rscpIsSurrogate(unit)) [[unlikely]]
            return readPair(unit, in, end);
        return {unit, 2};
    }

    unsigned write(KEL_UINT character, KEL_RAW* out) const noexcept {
        if (character < 0x10000) {
            Units::set(character, out);
            return 2;
        }
        if (!pairs) return 0;
        Units::set(0xD7C0 + (character >> 10), out);
        Units::set(0xDC00 | (character & 0x3FF), out + 2);
        return 4;
    }

    static constexpr bool isAscii() noexcept { return true; }
    static constexpr const KEL_RAW* asciiCodes() noexcept { return nullptr; }

  private:
    RscpStep readPair(KEL_UINT high, const KEL_RAW* in, const KEL_RAW* end) const noexcept {
        if (!pairs || high >= 0xDC00) return {rscpBroken, 2};
        if (end - in < 4) return {rscpCut, 2};
        const KEL_UINT low = Units::get(in + 2);
        if ((low & 0xFC00) != 0xDC00) return {rscpBroken, 2};
        return {0x10000 + ((high & 0x3FF) << 10) + (low & 0x3FF), 4};
    }
};

template <std::endian order>
struct RscpUtf32Form : RscpUnits<4, order> {
    using Units = RscpUnits<4, order>;
    static constexpr bool unicode = true;

    explicit RscpUtf32Form(const RscpPage&) {}

    RscpStep read(const KEL_RAW* in, const KEL_RAW* end) const noexcept {
        if (end - in < 4) return {rscpCut, 1};
        const KEL_UINT character = Units::get(in);
        const bool broken = character > rscpHighestCharacter || rscpIsSurrogate(character);
        return {broken ? rscpBroken : character, 4};
    }

    unsigned write(KEL_UINT character, KEL_RAW* out) const noexcept {
        Units::set(character, out);
        return 4;
    }

    static constexpr bool isAscii() noexcept { return true; }
    static constexpr const KEL_RAW* asciiCodes() noexcept { return nullptr; }
};

/** Calls a function with the type of a page's form. */
template <class Function>
auto rscpWithForm(rscpccnls major, const Function& function) noexcept {
    switch (major) {
        case KELCCNLS_UTF_8:
            return function.template operator()<RscpUtf8Form>();
        case KELCCNLS_UCS_2h:
        case KELCCNLS_UTF_16h:
            return function.template operator()<RscpUtf16Form<std::endian::big>>();
        case KELCCNLS_UCS_2l:
        case KELCCNLS_UTF_16l:
            return function.template operator()<RscpUtf16Form<std::endian::little>>();
        case KELCCNLS_UCS_4h:
            return function.template operator()<RscpUtf32Form<std::endian::big>>();
        case KELCCNLS_UCS_4l:
            return function.template operator()<RscpUtf32Form<std::endian::little>>();
        default:
            return function.template operator()<RscpTableForm>();
    }
}
