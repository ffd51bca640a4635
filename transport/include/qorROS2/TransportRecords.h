#pragma once

// Which types the publishers and subscribers exist for.

#include <type_traits>

#include "qorROS2/Interfaces.h"
#include "qorROS2/Messages.h"

namespace qorROS2::detail {

template <typename T, typename List>
struct IsListedIn;
template <typename T, typename... Types>
struct IsListedIn<T, TypeList<Types...>> : std::bool_constant<(std::is_same_v<T, Types> || ...)> {};

/// True for the records named by QORROS2_FOR_EACH_MESSAGE and QORROS2_FOR_EACH_INTERFACE_MESSAGE,
/// the only types the library instantiates its endpoints for.
template <typename T>
inline constexpr bool isTransportRecord =
    IsListedIn<T, MessageRecords>::value || IsListedIn<T, InterfaceMessageRecords>::value;

}  // namespace qorROS2::detail
