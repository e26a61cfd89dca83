#include "digits.h"

#include <algorithm>

Digits::Digits(std::uint64_t value) {
    std::array<std::uint8_t, capacity> powers{};
    for (unsigned power = 0; value != 0; value /= 10)
        powers[power++] = static_cast<std::uint8_t>(value % 10);
    *this = fromPowers(powers);
}

Digits Digits::fromPowers(const std::array<std::uint8_t, capacity>& powers) {
    Digits result;
    for (unsigned power = capacity; power-- > 0;)
        result.append(powers[power]);
    return result;
}

bool Digits::endsNonZero(int places) const {
    for (int at = std::max(size - places, 0); at < size; ++at)
        if ((*this)[at] != 0) return true;
    return false;
}

int Digits::trailingZeros() const {
    int zeros = 0;
    while (zeros < size && ofPower(zeros) == 0)
        ++zeros;
    return zeros;
}

void Digits::increment() {
    *this += Digits(1);
}

Digits& Digits::operator+=(const Digits& other) {
    std::array<std::uint8_t, capacity> powers{};
    int carry = 0;
    for (int power = 0; power < capacity; ++power) {
        const int sum = ofPower(power) + other.ofPower(power) + carry;
        powers[static_cast<unsigned>(power)] = static_cast<std::uint8_t>(sum % 10);
        carry = sum / 10;
    }
    return *this = fromPowers(powers);
}

Digits& Digits::operator-=(const Digits& other) {
    std::array<std::uint8_t, capacity> powers{};
    int borrow = 0;
    for (int power = 0; power < size; ++power) {
        const int difference = ofPower(power) - other.ofPower(power) - borrow;
        borrow = difference < 0 ? 1 : 0;
        powers[static_cast<unsigned>(power)] = static_cast<std::uint8_t>(difference + 10 * borrow);
    }
    return *this = fromPowers(powers);
}

Digits Digits::operator*(const Digits& other) const {
    std::array<std::uint8_t, capacity> powers{};
    for (int left = 0; left < size; ++left) {
        int carry = 0;
        for (int right = 0; right < other.size || carry != 0; ++right) {
            std::uint8_t& place = powers[static_cast<unsigned>(left + right)];
            const int sum = place + ofPower(left) * other.ofPower(right) + carry;
            place = static_cast<std::uint8_t>(sum % 10);
            carry = sum / 10;
        }
    }
    return fromPowers(powers);
}

Digits::Quotient Digits::dividedBy(const Digits& divisor) const {
    Quotient result;
    for (int at = 0; at < size; ++at) {
        result.remainder.append((*this)[at]);
        int digit = 0;
        for (; result.remainder >= divisor; ++digit)
            result.remainder -= divisor;
        result.quotient.append(digit);
    }
    return result;
}

std::strong_ordering Digits::operator<=>(const Digits& other) const {
    if (size != other.size) return size <=> other.size;
    for (int at = 0; at < size; ++at)
        if ((*this)[at] != other[at]) return (*this)[at] <=> other[at];
    return std::strong_ordering::equal;
}
