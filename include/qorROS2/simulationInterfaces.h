#pragma once

// Records of the ROS 2 package simulation_interfaces (release branches humble 1.4 and jazzy 1.5,
// which agree): the messages, services and the action SimulateSteps through which tools control
// a simulator. The constants of each type are in the type support's table.

#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "qorROS2/actionMsgs.h"
#include "qorROS2/geometryMsgs.h"
#include "qorROS2/stdMsgs.h"

namespace qorROS2::simulationInterfaces {

/// The outcome of a call: RESULT_OK 1, or why not; a service's own codes start above 100.
struct Result {
    /// The codes every service of the standard answers with; a service may add its own from 101.
    static constexpr std::uint8_t RESULT_FEATURE_UNSUPPORTED = 0;
    static constexpr std::uint8_t RESULT_OK = 1;
    static constexpr std::uint8_t RESULT_NOT_FOUND = 2;
    static constexpr std::uint8_t RESULT_INCORRECT_STATE = 3;
    static constexpr std::uint8_t RESULT_OPERATION_FAILED = 4;

    std::uint8_t result;        ///< a RESULT_ code, or one of the service's own
    std::string error_message;  ///< what went wrong, when useful
};

/// Where the simulation is: STATE_STOPPED 0 … STATE_LOADING_WORLD 5.
struct SimulationState {
    std::uint8_t state;  ///< a STATE_ constant
};

/// What the simulator supports.
struct SimulatorFeatures {
    std::vector<std::uint16_t> features;     ///< the feature constants it supports
    std::vector<std::string> spawn_formats;  ///< the file formats SpawnEntity accepts
    std::string custom_info;                 ///< anything further, for the caller
};

/// The ground truth state of one entity.
struct EntityState {
    stdMsgs::Header header;            ///< the reference frame (empty: world) and time
    geometryMsgs::Pose pose;           ///< the pose in that frame
    geometryMsgs::Twist twist;         ///< linear and angular velocity
    geometryMsgs::Accel acceleration;  ///< linear and angular acceleration
};

/// The broad kind of an entity: CATEGORY_OBJECT 0 … CATEGORY_STATIC_OBJECT 5.
struct EntityCategory {
    std::uint8_t category;  ///< a CATEGORY_ constant
};

/// What is known about an entity beyond its state.
struct EntityInfo {
    EntityCategory category;        ///< its category
    std::string description;        ///< for people
    std::vector<std::string> tags;  ///< for filtering
};

/// A filter on tags: any or all of them must match.
struct TagsFilter {
    std::vector<std::string> tags;  ///< none: no filtering by tags
    std::uint8_t filter_mode;       ///< FILTER_MODE_ANY 0 or FILTER_MODE_ALL 1
};

/// A region: empty, an axis-aligned box, a convex hull or a sphere.
struct Bounds {
    std::uint8_t type;                          ///< TYPE_EMPTY 0 … TYPE_SPHERE 3
    std::vector<geometryMsgs::Vector3> points;  ///< what defines the region, by type
};

/// Which entities a query is about; every part is optional.
struct EntityFilters {
    std::string filter;                      ///< a POSIX extended regular expression on names
    std::vector<EntityCategory> categories;  ///< none: any category
    TagsFilter tags;                         ///< a filter on tags
    Bounds bounds;                           ///< entities overlapping these bounds
};

/// A pose the simulator names, such as a spawn point.
struct NamedPose {
    std::string name;               ///< unique
    std::string description;        ///< for people
    std::vector<std::string> tags;  ///< for filtering
    geometryMsgs::Pose pose;        ///< relative to the world
};

/// Something to load: a file by URI, or its content.
struct Resource {
    std::string uri;              ///< empty: resource_string holds the content
    std::string resource_string;  ///< the content, used when uri is empty
};

/// One entity to spawn, in a SpawnEntities request.
struct SpawnEntity {
    std::string name;                        ///< the name to give the entity
    bool allow_renaming;                     ///< whether a taken name may be changed
    Resource entity_resource;                ///< what to spawn
    std::string entity_namespace;            ///< the namespace of the entity's interfaces
    geometryMsgs::PoseStamped initial_pose;  ///< where to spawn it
};

/// The outcome of one spawn, in a SpawnEntities response.
struct SpawnResult {
    Result result;            ///< RESULT_OK or a spawn error code above 100
    std::string entity_name;  ///< the unique name the entity was given
};

/// Something the simulator can spawn.
struct Spawnable {
    std::string uri;          ///< the resource
    std::string description;  ///< for people
    Bounds spawn_bounds;      ///< the area it may be spawned in
};

/// A world the simulator can load.
struct WorldResource {
    std::string name;               ///< not necessarily unique
    Resource world_resource;        ///< what to load
    std::string description;        ///< for people
    std::vector<std::string> tags;  ///< for filtering
};

}  // namespace qorROS2::simulationInterfaces

// The services: a namespace of their own, since the package has both a message and a service
// named SpawnEntity.
namespace qorROS2::simulationInterfaces::srv {

/// Removes an entity.
struct DeleteEntity {
    struct Request {
        std::string entity;  ///< its unique name
    };
    struct Response {
        Result result;  ///< whether it was removed
    };
};

/// Lists the worlds the simulator can load.
struct GetAvailableWorlds {
    struct Request {
        std::vector<std::string> additional_sources;  ///< further places to search
        TagsFilter filter;                            ///< only worlds whose tags match
        bool offline_only;                            ///< search local sources only
        bool continue_on_error;                       ///< go on when a source fails
    };
    struct Response {
        Result result;                      ///< RESULT_OK or DEFAULT_SOURCES_FAILED 101
        std::vector<WorldResource> worlds;  ///< the worlds found
    };
};

/// Tells which world is loaded.
struct GetCurrentWorld {
    struct Request {
        std::uint8_t structure_needs_at_least_one_member;  ///< always 0
    };
    struct Response {
        Result result;        ///< RESULT_OK or NO_WORLD_LOADED 101
        WorldResource world;  ///< the world, when RESULT_OK
    };
};

/// Lists the entities that pass the filters.
struct GetEntities {
    struct Request {
        EntityFilters filters;  ///< which entities
    };
    struct Response {
        Result result;                      ///< whether the query ran
        std::vector<std::string> entities;  ///< their unique names
    };
};

/// Lists the entities that pass the filters, with their states.
struct GetEntitiesStates {
    struct Request {
        EntityFilters filters;  ///< which entities
    };
    struct Response {
        Result result;                      ///< whether the query ran
        std::vector<std::string> entities;  ///< their unique names
        std::vector<EntityState> states;    ///< their states, in the same order
    };
};

/// Gets the bounds of an entity.
struct GetEntityBounds {
    struct Request {
        std::string entity;  ///< its unique name
    };
    struct Response {
        Result result;  ///< whether it was found
        Bounds bounds;  ///< its bounds, when RESULT_OK
    };
};

/// Gets what is known about an entity.
struct GetEntityInfo {
    struct Request {
        std::string entity;  ///< its unique name
    };
    struct Response {
        Result result;    ///< whether it was found
        EntityInfo info;  ///< its info, when RESULT_OK
    };
};

/// Gets the state of an entity.
struct GetEntityState {
    struct Request {
        std::string entity;  ///< its unique name
    };
    struct Response {
        Result result;      ///< whether it was found
        EntityState state;  ///< its state, when RESULT_OK
    };
};

/// Gets the bounds of a named pose.
struct GetNamedPoseBounds {
    struct Request {
        std::string name;  ///< the pose's name
    };
    struct Response {
        Result result;  ///< whether it was found
        Bounds bounds;  ///< its bounds
    };
};

/// Lists the named poses whose tags match.
struct GetNamedPoses {
    struct Request {
        TagsFilter tags;  ///< which poses
    };
    struct Response {
        Result result;                 ///< whether the query ran
        std::vector<NamedPose> poses;  ///< the poses found
    };
};

/// Tells the simulation's state.
struct GetSimulationState {
    struct Request {
        std::uint8_t structure_needs_at_least_one_member;  ///< always 0
    };
    struct Response {
        SimulationState state;  ///< the state
        Result result;          ///< whether it could be told
    };
};

/// Tells what the simulator supports.
struct GetSimulatorFeatures {
    struct Request {
        std::uint8_t structure_needs_at_least_one_member;  ///< always 0
    };
    struct Response {
        SimulatorFeatures features;  ///< the features
    };
};

/// Lists what the simulator can spawn.
struct GetSpawnables {
    struct Request {
        std::vector<std::string> sources;  ///< further places to search
    };
    struct Response {
        Result result;                      ///< whether the query ran
        std::vector<Spawnable> spawnables;  ///< what was found
    };
};

/// Loads a world, from a URI or its content.
struct LoadWorld {
    struct Request {
        std::string uri;                            ///< the world file
        std::string resource_string;                ///< the world itself, when uri is empty
        bool fail_on_unsupported_element;           ///< fail rather than ignore such elements
        bool ignore_missing_or_unsupported_assets;  ///< go on without such assets
    };
    struct Response {
        Result result;        ///< RESULT_OK or a load error code above 100
        WorldResource world;  ///< the loaded world, when RESULT_OK
    };
};

/// Resets the simulation, in whole or in part.
struct ResetSimulation {
    struct Request {
        std::uint8_t scope;  ///< SCOPE_DEFAULT 0, a sum of SCOPE_ flags, or SCOPE_ALL 255
    };
    struct Response {
        Result result;  ///< whether it was reset
    };
};

/// Replaces what is known about an entity.
struct SetEntityInfo {
    struct Request {
        std::string entity;  ///< its unique name
        EntityInfo info;     ///< the new info
    };
    struct Response {
        Result result;  ///< whether it was set
    };
};

/// Moves an entity and sets its velocities at once.
struct SetEntityState {
    struct Request {
        std::string entity;  ///< its unique name
        EntityState state;   ///< the new state; the header's stamp is ignored
    };
    struct Response {
        Result result;  ///< RESULT_OK or INVALID_POSE 101
    };
};

/// Plays, pauses, stops or quits the simulation.
struct SetSimulationState {
    struct Request {
        SimulationState state;  ///< the state to go to
    };
    struct Response {
        Result result;  ///< RESULT_OK or a transition error code above 100
    };
};

/// Spawns several entities.
struct SpawnEntities {
    struct Request {
        std::vector<simulationInterfaces::SpawnEntity> spawn_requests;  ///< one per entity
    };
    struct Response {
        Result result;                     ///< RESULT_OK or ENTITIES_SPAWN_FAILED 150
        std::vector<SpawnResult> results;  ///< one per request, in order
    };
};

/// Spawns one entity.
struct SpawnEntity {
    struct Request {
        std::string name;                        ///< the name to give the entity
        bool allow_renaming;                     ///< whether a taken name may be changed
        std::string uri;                         ///< the resource to spawn
        std::string resource_string;             ///< the resource itself, when uri is empty
        std::string entity_namespace;            ///< the namespace of its interfaces
        geometryMsgs::PoseStamped initial_pose;  ///< where to spawn it
    };
    struct Response {
        Result result;            ///< RESULT_OK or a spawn error code above 100
        std::string entity_name;  ///< the unique name it was given
    };
};

/// Steps a paused simulation.
struct StepSimulation {
    struct Request {
        std::uint64_t steps = 1;  ///< how many steps
    };
    struct Response {
        Result result;  ///< whether it stepped; OPERATION_FAILED when not paused
    };
};

/// Unloads the current world.
struct UnloadWorld {
    struct Request {
        std::uint8_t structure_needs_at_least_one_member;  ///< always 0
    };
    struct Response {
        Result result;  ///< RESULT_OK or NO_WORLD_LOADED 101
    };
};

}  // namespace qorROS2::simulationInterfaces::srv

namespace qorROS2::simulationInterfaces {

/// Steps a paused simulation, with feedback after each step.
struct SimulateSteps {
    struct Goal {
        std::uint64_t steps;  ///< how many steps
    };
    struct Result {
        simulationInterfaces::Result result;  ///< OPERATION_FAILED when not paused
    };
    struct Feedback {
        std::uint64_t completed_steps;  ///< steps done so far
        std::uint64_t remaining_steps;  ///< steps still to do
    };
    using SendGoal = ActionSendGoal<SimulateSteps>;
    using GetResult = ActionGetResult<SimulateSteps>;
    using FeedbackMessage = ActionFeedbackMessage<SimulateSteps>;
};

}  // namespace qorROS2::simulationInterfaces

namespace qorROS2 {

#define QORROS2_DETAIL_SIMULATION "simulation_interfaces"

QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, Result, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(result), QORROS2_FIELD(error_message));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, SimulationState, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(state));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, SimulatorFeatures, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(features), QORROS2_FIELD(spawn_formats),
                         QORROS2_FIELD(custom_info));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, EntityState, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(header), QORROS2_FIELD(pose), QORROS2_FIELD(twist),
                         QORROS2_FIELD(acceleration));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, EntityCategory, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(category));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, EntityInfo, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(category), QORROS2_FIELD(description), QORROS2_FIELD(tags));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, TagsFilter, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(tags), QORROS2_FIELD(filter_mode));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, Bounds, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(type), QORROS2_FIELD(points));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, EntityFilters, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(filter), QORROS2_FIELD(categories), QORROS2_FIELD(tags),
                         QORROS2_FIELD(bounds));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, NamedPose, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(name), QORROS2_FIELD(description), QORROS2_FIELD(tags),
                         QORROS2_FIELD(pose));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, Resource, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(uri), QORROS2_FIELD(resource_string));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, SpawnEntity, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(name), QORROS2_FIELD(allow_renaming),
                         QORROS2_FIELD(entity_resource), QORROS2_FIELD(entity_namespace),
                         QORROS2_FIELD(initial_pose));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, SpawnResult, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(result), QORROS2_FIELD(entity_name));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, Spawnable, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(uri), QORROS2_FIELD(description),
                         QORROS2_FIELD(spawn_bounds));
QORROS2_DESCRIBE_MESSAGE(simulationInterfaces, WorldResource, QORROS2_DETAIL_SIMULATION,
                         QORROS2_FIELD(name), QORROS2_FIELD(world_resource),
                         QORROS2_FIELD(description), QORROS2_FIELD(tags));

#define QORROS2_DETAIL_SIMULATION_SERVICE(Name, RequestFields, ResponseFields) \
    QORROS2_DESCRIBE_SERVICE_PART(simulationInterfaces::srv, Name, Request,    \
                                  QORROS2_DETAIL_SIMULATION,                   \
                                  QORROS2_DETAIL_UNPAREN RequestFields);       \
    QORROS2_DESCRIBE_SERVICE_PART(simulationInterfaces::srv, Name, Response,   \
                                  QORROS2_DETAIL_SIMULATION,                   \
                                  QORROS2_DETAIL_UNPAREN ResponseFields);      \
    QORROS2_DESCRIBE_SERVICE(simulationInterfaces::srv, Name, QORROS2_DETAIL_SIMULATION)
#define QORROS2_DETAIL_UNPAREN(...) __VA_ARGS__

#define QORROS2_DETAIL_PLACEHOLDER (QORROS2_FIELD(structure_needs_at_least_one_member))

QORROS2_DETAIL_SIMULATION_SERVICE(DeleteEntity, (QORROS2_FIELD(entity)), (QORROS2_FIELD(result)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetAvailableWorlds,
                                  (QORROS2_FIELD(additional_sources), QORROS2_FIELD(filter),
                                   QORROS2_FIELD(offline_only), QORROS2_FIELD(continue_on_error)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(worlds)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetCurrentWorld, QORROS2_DETAIL_PLACEHOLDER,
                                  (QORROS2_FIELD(result), QORROS2_FIELD(world)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetEntities, (QORROS2_FIELD(filters)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(entities)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetEntitiesStates, (QORROS2_FIELD(filters)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(entities),
                                   QORROS2_FIELD(states)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetEntityBounds, (QORROS2_FIELD(entity)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(bounds)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetEntityInfo, (QORROS2_FIELD(entity)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(info)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetEntityState, (QORROS2_FIELD(entity)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(state)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetNamedPoseBounds, (QORROS2_FIELD(name)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(bounds)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetNamedPoses, (QORROS2_FIELD(tags)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(poses)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetSimulationState, QORROS2_DETAIL_PLACEHOLDER,
                                  (QORROS2_FIELD(state), QORROS2_FIELD(result)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetSimulatorFeatures, QORROS2_DETAIL_PLACEHOLDER,
                                  (QORROS2_FIELD(features)));
QORROS2_DETAIL_SIMULATION_SERVICE(GetSpawnables, (QORROS2_FIELD(sources)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(spawnables)));
QORROS2_DETAIL_SIMULATION_SERVICE(LoadWorld,
                                  (QORROS2_FIELD(uri), QORROS2_FIELD(resource_string),
                                   QORROS2_FIELD(fail_on_unsupported_element),
                                   QORROS2_FIELD(ignore_missing_or_unsupported_assets)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(world)));
QORROS2_DETAIL_SIMULATION_SERVICE(ResetSimulation, (QORROS2_FIELD(scope)), (QORROS2_FIELD(result)));
QORROS2_DETAIL_SIMULATION_SERVICE(SetEntityInfo, (QORROS2_FIELD(entity), QORROS2_FIELD(info)),
                                  (QORROS2_FIELD(result)));
QORROS2_DETAIL_SIMULATION_SERVICE(SetEntityState, (QORROS2_FIELD(entity), QORROS2_FIELD(state)),
                                  (QORROS2_FIELD(result)));
QORROS2_DETAIL_SIMULATION_SERVICE(SetSimulationState, (QORROS2_FIELD(state)),
                                  (QORROS2_FIELD(result)));
QORROS2_DETAIL_SIMULATION_SERVICE(SpawnEntities, (QORROS2_FIELD(spawn_requests)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(results)));
QORROS2_DETAIL_SIMULATION_SERVICE(SpawnEntity,
                                  (QORROS2_FIELD(name), QORROS2_FIELD(allow_renaming),
                                   QORROS2_FIELD(uri), QORROS2_FIELD(resource_string),
                                   QORROS2_FIELD(entity_namespace), QORROS2_FIELD(initial_pose)),
                                  (QORROS2_FIELD(result), QORROS2_FIELD(entity_name)));
QORROS2_DETAIL_SIMULATION_SERVICE(StepSimulation, (QORROS2_DEFAULTED_FIELD(steps, "1")),
                                  (QORROS2_FIELD(result)));
QORROS2_DETAIL_SIMULATION_SERVICE(UnloadWorld, QORROS2_DETAIL_PLACEHOLDER, (QORROS2_FIELD(result)));

QORROS2_DESCRIBE_ACTION_PART(simulationInterfaces, SimulateSteps, Goal, QORROS2_DETAIL_SIMULATION,
                             QORROS2_FIELD(steps));
QORROS2_DESCRIBE_ACTION_PART(simulationInterfaces, SimulateSteps, Result, QORROS2_DETAIL_SIMULATION,
                             QORROS2_FIELD(result));
QORROS2_DESCRIBE_ACTION_PART(simulationInterfaces, SimulateSteps, Feedback,
                             QORROS2_DETAIL_SIMULATION, QORROS2_FIELD(completed_steps),
                             QORROS2_FIELD(remaining_steps));
QORROS2_DESCRIBE_ACTION(simulationInterfaces, SimulateSteps, QORROS2_DETAIL_SIMULATION);

#undef QORROS2_DETAIL_SIMULATION_SERVICE
#undef QORROS2_DETAIL_UNPAREN
#undef QORROS2_DETAIL_PLACEHOLDER
#undef QORROS2_DETAIL_SIMULATION

}  // namespace qorROS2
