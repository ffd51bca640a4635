#pragma once

// The ROS 2 interfaces the library knows beyond its own message records (Messages.h): services,
// actions, and the messages that tools, services and actions exchange. They have field lists and
// type support like the message records, but are kept in lists of their own.

#include "qorROS2/Messages.h"
#include "qorROS2/actionMsgs.h"
#include "qorROS2/navMsgs.h"
#include "qorROS2/rclInterfaces.h"
#include "qorROS2/serviceMsgs.h"
#include "qorROS2/simulationInterfaces.h"
#include "qorROS2/stdSrvs.h"
#include "qorROS2/tf2Msgs.h"
#include "qorROS2/trajectoryMsgs.h"

/// Expands `X(namespace, Name)` once for each message record beyond the design's 89
/// (QORROS2_FOR_EACH_MESSAGE), by package and then by name.
// clang-format off
#define QORROS2_FOR_EACH_INTERFACE_MESSAGE(X) \
    X(actionMsgs, GoalInfo) \
    X(actionMsgs, GoalStatus) \
    X(actionMsgs, GoalStatusArray) \
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
    X(simulationInterfaces, Bounds) \
    X(simulationInterfaces, EntityCategory) \
    X(simulationInterfaces, EntityFilters) \
    X(simulationInterfaces, EntityInfo) \
    X(simulationInterfaces, EntityState) \
    X(simulationInterfaces, NamedPose) \
    X(simulationInterfaces, Resource) \
    X(simulationInterfaces, Result) \
    X(simulationInterfaces, SimulationState) \
    X(simulationInterfaces, SimulatorFeatures) \
    X(simulationInterfaces, SpawnEntity) \
    X(simulationInterfaces, SpawnResult) \
    X(simulationInterfaces, Spawnable) \
    X(simulationInterfaces, TagsFilter) \
    X(simulationInterfaces, WorldResource) \
    X(tf2Msgs, TFMessage) \
    X(trajectoryMsgs, JointTrajectory) \
    X(trajectoryMsgs, JointTrajectoryPoint) \
    X(uniqueIdentifierMsgs, UUID)
// clang-format on

/// Expands `X(namespace, Name)` once for each service, by package and then by name.
// clang-format off
#define QORROS2_FOR_EACH_SERVICE(X) \
    X(actionMsgs, CancelGoal) \
    X(rclInterfaces, DescribeParameters) \
    X(rclInterfaces, GetParameterTypes) \
    X(rclInterfaces, GetParameters) \
    X(rclInterfaces, ListParameters) \
    X(rclInterfaces, SetParameters) \
    X(rclInterfaces, SetParametersAtomically) \
    X(simulationInterfaces::srv, DeleteEntity) \
    X(simulationInterfaces::srv, GetAvailableWorlds) \
    X(simulationInterfaces::srv, GetCurrentWorld) \
    X(simulationInterfaces::srv, GetEntities) \
    X(simulationInterfaces::srv, GetEntitiesStates) \
    X(simulationInterfaces::srv, GetEntityBounds) \
    X(simulationInterfaces::srv, GetEntityInfo) \
    X(simulationInterfaces::srv, GetEntityState) \
    X(simulationInterfaces::srv, GetNamedPoseBounds) \
    X(simulationInterfaces::srv, GetNamedPoses) \
    X(simulationInterfaces::srv, GetSimulationState) \
    X(simulationInterfaces::srv, GetSimulatorFeatures) \
    X(simulationInterfaces::srv, GetSpawnables) \
    X(simulationInterfaces::srv, LoadWorld) \
    X(simulationInterfaces::srv, ResetSimulation) \
    X(simulationInterfaces::srv, SetEntityInfo) \
    X(simulationInterfaces::srv, SetEntityState) \
    X(simulationInterfaces::srv, SetSimulationState) \
    X(simulationInterfaces::srv, SpawnEntities) \
    X(simulationInterfaces::srv, SpawnEntity) \
    X(simulationInterfaces::srv, StepSimulation) \
    X(simulationInterfaces::srv, UnloadWorld) \
    X(stdSrvs, Empty) \
    X(stdSrvs, SetBool) \
    X(stdSrvs, Trigger)
// clang-format on

/// Expands `X(namespace, Name)` once for each action, by package and then by name.
// clang-format off
#define QORROS2_FOR_EACH_ACTION(X) \
    X(simulationInterfaces, SimulateSteps)
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
#define QORROS2_DETAIL_COMMA_AND_ACTION_PARTS(Namespace, Name)                     \
    , Namespace::Name::Goal, Namespace::Name::Result, Namespace::Name::Feedback,   \
        Namespace::Name::SendGoal::Request, Namespace::Name::SendGoal::Response,   \
        Namespace::Name::GetResult::Request, Namespace::Name::GetResult::Response, \
        Namespace::Name::FeedbackMessage

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

/// The actions, in the order of QORROS2_FOR_EACH_ACTION.
using ActionTypes = typename detail::DropListStart<
    TypeList<detail::ListStart QORROS2_FOR_EACH_ACTION(QORROS2_DETAIL_COMMA_AND_TYPE)>>::type;

/// The records of every action: its goal, result and feedback, the requests and responses of its
/// SendGoal and GetResult services, and its feedback message, in that order.
using ActionPartRecords =
    typename detail::DropListStart<TypeList<detail::ListStart QORROS2_FOR_EACH_ACTION(
        QORROS2_DETAIL_COMMA_AND_ACTION_PARTS)>>::type;

/// Every record with a type support: the design's, the further messages, the services' parts and
/// the actions' records.
using AllRecords = typename detail::JoinTypeLists<MessageRecords, InterfaceMessageRecords,
                                                  ServicePartRecords, ActionPartRecords>::type;

#undef QORROS2_DETAIL_COMMA_AND_TYPE
#undef QORROS2_DETAIL_COMMA_AND_PARTS
#undef QORROS2_DETAIL_COMMA_AND_ACTION_PARTS

}  // namespace qorROS2
