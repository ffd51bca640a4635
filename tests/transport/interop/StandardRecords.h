#pragma once

// The records of the standard ROS 2 packages: every record but those of qor_msgs, whose types
// exist only in this project and have no definition in the independent catalogue the Cyclone
// peer is generated from.

#include <gtest/gtest.h>

#include <tuple>
#include <type_traits>

#include "qorROS2/Messages.h"

namespace qorInterop {

namespace detail {

constexpr bool sameText(const char* a, const char* b) {
    while (*a != '\0' && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

template <typename Record>
inline constexpr bool isStandardRecord =
    !sameText(qorROS2::MessageDescription<Record>::package, "qor_msgs");

template <typename List>
struct StandardOf;
template <typename... Records>
struct StandardOf<qorROS2::TypeList<Records...>> {
    using type = decltype(std::tuple_cat(
        std::declval<std::conditional_t<isStandardRecord<Records>, std::tuple<Records>,
                                        std::tuple<>>>()...));
};

template <typename Tuple>
struct GtestTypesOfTuple;
template <typename... Records>
struct GtestTypesOfTuple<std::tuple<Records...>> {
    using type = ::testing::Types<Records...>;
};

}  // namespace detail

/// Every record of builtin_interfaces, rosgraph_msgs, std_msgs, geometry_msgs and sensor_msgs,
/// as a type list for TYPED_TEST_SUITE.
using StandardRecords = typename detail::GtestTypesOfTuple<
    typename detail::StandardOf<qorROS2::MessageRecords>::type>::type;

}  // namespace qorInterop
