/** @file Strings of decimal digits, as the coefficients of numbers, and the sums that a schoolchild does. */
#pragma once

#include <array>
#include <compare>
#include <cstdint>

/**
 * Digits with the most significant first and without leading zeros, so that 0 has none. The longest that come
 * up: a product of two coefficients (72), and a coefficient that was aligned for a sum or a quotient (75).
 */
class Digits {
  public:
    static constexpr int capacity = 80;

    Digits() = default;
    explicit Digits(std::uint64_t value);

    int count() const { return size; }
    bool isZero() const { return size == 0; }
    bool isOdd() const { return size > 0 && digits[static_cast<unsigned>(size - 1)] % 2 != 0; }
    /** A digit, 0 being the most significant; 0 for a place outside. */
    int operator[](int at) const { return at >= 0 && at < size ? digits[static_cast<unsigned>(at)] : 0; }

    /** Puts a digit behind the others; a zero in front of all others doesn't count. */
    void append(int digit) {
        if (size > 0 || digit != 0) digits[static_cast<unsigned>(size++)] = static_cast<std::uint8_t>(digit);
    }
    void appendZeros(int zeros) {
        for (; zeros > 0 && size > 0; --zeros)
            append(0);
    }
    /** Takes digits off the end, of which there may be fewer than told. */
    void drop(int places) { size = places < size ? size - places : 0; }
    /** True if one of the last digits isn't 0. */
    bool endsNonZero(int places) const;
    /** Zeros at the end. */
    int trailingZeros() const;

    void increment();
    Digits& operator+=(const Digits& other);
    /** The other is at most as large as this. */
    Digits& operator-=(const Digits& other);
    Digits operator*(const Digits& other) const;

    /** What a long division gives; the divisor isn't 0. */
    struct Quotient;
    Quotient dividedBy(const Digits& divisor) const;

    std::strong_ordering operator<=>(const Digits& other) const;
    bool operator==(const Digits& other) const { return (*this <=> other) == 0; }

  private:
    /** The digit whose weight is 10^power. */
    int ofPower(int power) const { return (*this)[size - 1 - power]; }
    static Digits fromPowers(const std::array<std::uint8_t, capacity>& powers);

    std::array<std::uint8_t, capacity> digits;
    int size = 0;
};

struct Digits::Quotient {
    Digits quotient;
    Digits remainder;
};
