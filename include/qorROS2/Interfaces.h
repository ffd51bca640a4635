#pragma once

// The ROS 2 interfaces the library knows beyond its own message records (Messages.h): services,
// and the messages that tools and services exchange. They have field lists and type support like
// the message records, but are kept in lists of their own.

#include "qorROS2/Messages.h"
#include "qorROS2/navMsgs.h"
#include "qorROS2/rclInterfaces.h"
#include "qorROS2/serviceMsgs.h"
#include "qorROS2/stdSrvs.h"
#include "qorROS2/tf2Msgs.h"
#include "qorROS2/trajectoryMsgs.h"

/// Expands `X(namespace, Name)` once for each message record beyond the design's 89
/// (QORROS2_FOR_EACH_MESSAGE), by package and then by name.
// clang-format off
#define QORROS2_FOR_EACH_INTERFACE_MESSAGE(X) \
    X(navMsgs, Odometry) \
    X(rclInterfaces, FloatingPointRange) \
    X(rclInterfaces, IntegerRange) \
    X(rclInterfaces, ListParametersResult) \
    X(rclInterfaces, Log) \
    X(rclInterfaces, Parameter) \
    X(rclInterfaces, ParameterDescriptor) \
    X(rclInterfaces, ParameterEvent) \
    X(rclInterfaces, ParameterEventDescriptors) \
    X(rclInterfaces, ParameterType) \
    X(rclInterfaces, ParameterValue) \
    X(rclInterfaces, SetParametersResult) \
    X(serviceMsgs, ServiceEventInfo) \
    X(tf2Msgs, TFMessage) \
    X(trajectoryMsgs, JointTrajectory) \
    X(trajectoryMsgs, JointTrajectoryPoint)
// clang-format on

/// Expands `X(namespace, Name)` once for each service, by package and then by name.
// clang-format off
#define QORROS2_FOR_EACH_SERVICE(X) \
    X(rclInterfaces, DescribeParameters) \
    X(rclInterfaces, GetParameterTypes) \
    X(rclInterfaces, GetParameters) \
    X(rclInterfaces, ListParameters) \
    X(rclInterfaces, SetParameters) \
    X(rclInterfaces, SetParametersAtomically) \
    X(stdSrvs, Empty) \
    X(stdSrvs, SetBool) \
    X(stdSrvs, Trigger)
// clang-format on

namespace qorROS2 {

namespace detail {

template <typename... Lists>
struct JoinTypeLists;
template <typename... Types>
struct JoinTypeLists<TypeList<Types...>> {
    using type = TypeList<Types...>;
};
template <typename... First, typename... Second, typename... Rest>
struct JoinTypeLists<TypeList<First...>, TypeList<Second...>, Rest...> {
    using type = typename JoinTypeLists<TypeList<First..., Second...>, Rest...>::type;
};

}  // namespace detail

#define QORROS2_DETAIL_COMMA_AND_TYPE(Namespace, Name) , Namespace::Name
#define QORROS2_DETAIL_COMMA_AND_PARTS(Namespace, Name) \
    , Namespace::Name::Request, Namespace::Name::Response

/// The message records beyond the design's, in the order of QORROS2_FOR_EACH_INTERFACE_MESSAGE.
using InterfaceMessageRecords =
    typename detail::DropListStart<TypeList<detail::ListStart QORROS2_FOR_EACH_INTERFACE_MESSAGE(
        QORROS2_DETAIL_COMMA_AND_TYPE)>>::type;

/// The services, in the order of QORROS2_FOR_EACH_SERVICE.
using ServiceTypes = typename detail::DropListStart<
    TypeList<detail::ListStart QORROS2_FOR_EACH_SERVICE(QORROS2_DETAIL_COMMA_AND_TYPE)>>::type;

/// The request and response records of every service, in that order.
using ServicePartRecords = typename detail::DropListStart<
    TypeList<detail::ListStart QORROS2_FOR_EACH_SERVICE(QORROS2_DETAIL_COMMA_AND_PARTS)>>::type;

/// Every record with a type support: the design's, the further messages, the services' parts.
using AllRecords = typename detail::JoinTypeLists<MessageRecords, InterfaceMessageRecords,
                                                  ServicePartRecords>::type;

#undef QORROS2_DETAIL_COMMA_AND_TYPE
#undef QORROS2_DETAIL_COMMA_AND_PARTS

}  // namespace qorROS2
