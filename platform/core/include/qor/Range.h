#pragma once

namespace qor {

// A pair of bounds, lower first. It stores exactly what it is given: a lower bound above the
// upper one is kept as is, so that readers see what the writer meant rather than a guess at it.
template <class T>
struct Range {
    T lower;
    T upper;

    // Value-initialises both bounds (0 for arithmetic types).
    constexpr Range() : lower(), upper() {}

    // Stores the two bounds unchanged, lower first.
    constexpr Range(T lowerBound, T upperBound) : lower(lowerBound), upper(upperBound) {}
};

// True when both bounds are equal.
template <class T>
constexpr bool operator==(const Range<T>& lhs, const Range<T>& rhs) {
    return lhs.lower == rhs.lower && lhs.upper == rhs.upper;
}

// True when either bound differs.
template <class T>
constexpr bool operator!=(const Range<T>& lhs, const Range<T>& rhs) {
    return !(lhs == rhs);
}

}  // namespace qor
