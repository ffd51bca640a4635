#pragma once

// Counts the members of an aggregate, so that a test can prove that a record's field list names
// every member: an aggregate with N members accepts at most N initialisers.

#include <cstddef>
#include <type_traits>
#include <utility>

namespace qorTest {
namespace detail {

// Converts to anything, so that it can initialise any one member.
struct AnyMember {
    template <typename T>
    operator T() const;  // NOLINT(google-explicit-constructor): the point is the conversion
};

template <typename T, typename... Initialisers>
auto braceInitialisable(int) -> decltype(T{std::declval<Initialisers>()...}, std::true_type{});
template <typename T, typename... Initialisers>
std::false_type braceInitialisable(...);

template <typename T, std::size_t... Index>
constexpr bool initialisableWith(std::index_sequence<Index...>) {
    return decltype(braceInitialisable<T, decltype((void)Index, AnyMember{})...>(0))::value;
}

template <typename T, std::size_t N>
constexpr std::size_t countMembers() {
    if constexpr (N > 64) {
        return N;
    } else if constexpr (initialisableWith<T>(std::make_index_sequence<N + 1>{})) {
        return countMembers<T, N + 1>();
    } else {
        return N;
    }
}

}  // namespace detail

/// The number of members of the aggregate T.
template <typename T>
inline constexpr std::size_t aggregateArity = detail::countMembers<T, 0>();

}  // namespace qorTest
