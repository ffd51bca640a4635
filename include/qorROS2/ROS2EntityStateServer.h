#pragma once

// Lets ROS 2 tools find, read and place the objects of a simulation through the entity services
// of the simulation_interfaces standard, as simulators that follow it serve them.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/Export.h"
#include "qorROS2/simulationInterfaces.h"
#include "qorSDK/Simulation.h"
#include "qorSDK/StepEventListener.h"

namespace qorROS2 {

/// One entity of a simulation, as the application presents it to ROS 2.
struct SimulationEntity {
    std::string name;               ///< unique; what get_entities lists
    std::string body;               ///< the scene's body whose frame is the entity's pose
    std::uint8_t category;          ///< an EntityCategory constant: 0 OBJECT, 1 ROBOT, …
    std::string description;        ///< for people, in get_entity_info
    std::vector<std::string> tags;  ///< for the tags filter, in get_entity_info
};

/// Serves the entities the application names with the services of simulation_interfaces, in
/// ROS 2 domain `domainId`: get_entities and get_entities_states (filtered by a POSIX extended
/// regular expression found anywhere in the name, by categories and by tags; bounds filters are
/// refused as FEATURE_UNSUPPORTED), get_entity_state, set_entity_state (the pose and twist of an
/// entity whose body is free; INVALID_POSE 101 for a pose that is not finite or not a unit
/// quaternion; the acceleration is ignored, and a STATIC_OBJECT is only placed, never set moving)
/// and get_entity_info. States are ground truth in the world frame: the pose of the
/// body's frame, and its velocity and acceleration in the world's axes; header.frame_id names the
/// world frame, and a request's empty frame means it too.
///
/// The services are "/get_entities", … under the default prefix "/": "sim" serves
/// "sim/get_entities" and so on, "" the bare "get_entities", resolved as the node's other names
/// are (node namespace, "~", remap rules), as ROS2SimulationControlServer names its own. Requests
/// are answered on the simulation's stepping thread (pre), and by handleRequests(), which the
/// application calls while it does not step (paused); it has no thread of its own.
///
///     qor::ref_ptr<qorROS2::ROS2EntityStateServer> entities = new qorROS2::ROS2EntityStateServer(
///         *simulation, {{"ball", "blue_ball", 0, "a blue ball", {"toy"}}}, 0);
///     simulation->add(entities.get());
class QORROS2_EXPORT ROS2EntityStateServer : public qorSDK::StepEventListener {
  public:
    /// simulation_interfaces/msg/EntityCategory's constants.
    enum Category : std::uint8_t {
        CATEGORY_OBJECT = 0,
        CATEGORY_ROBOT = 1,
        CATEGORY_HUMAN = 2,
        CATEGORY_DYNAMIC_OBJECT = 4,
        CATEGORY_STATIC_OBJECT = 5,
    };

    /// The result code of its own beside simulationInterfaces::Result's: SetEntityState's, for a
    /// pose that is no pose.
    static constexpr std::uint8_t INVALID_POSE = 101;

    /// Serves `entities` of `simulation`, which must outlive the server (a server added to it
    /// must not hold it), and selects the `pre` callback alone. Throws std::invalid_argument
    /// when an entity's name is empty or taken, its category is not an EntityCategory constant,
    /// its body is not in the scene; and what the transport throws when it cannot create the
    /// services.
    ROS2EntityStateServer(qorSDK::Simulation& simulation, std::vector<SimulationEntity> entities,
                          std::int8_t domainId, const std::string& prefix = "/",
                          const std::string& worldFrame = "world");

    // One listener stands for its endpoints: it is neither copied nor moved.
    ROS2EntityStateServer(const ROS2EntityStateServer&) = delete;
    ROS2EntityStateServer& operator=(const ROS2EntityStateServer&) = delete;
    ROS2EntityStateServer(ROS2EntityStateServer&&) = delete;
    ROS2EntityStateServer& operator=(ROS2EntityStateServer&&) = delete;

    /// The SimulatorFeatures constants of what it serves: ENTITY_TAGS 4, ENTITY_CATEGORIES 8,
    /// ENTITY_STATE_GETTING 10, ENTITY_STATE_SETTING 11, ENTITY_INFO_GETTING 12.
    static std::vector<std::uint16_t> features();

    /// What each service answers, on the calling thread.
    simulationInterfaces::srv::GetEntities::Response getEntities(
        const simulationInterfaces::srv::GetEntities::Request& request) const;
    simulationInterfaces::srv::GetEntitiesStates::Response getEntitiesStates(
        const simulationInterfaces::srv::GetEntitiesStates::Request& request) const;
    simulationInterfaces::srv::GetEntityState::Response getEntityState(
        const simulationInterfaces::srv::GetEntityState::Request& request) const;
    simulationInterfaces::srv::SetEntityState::Response setEntityState(
        const simulationInterfaces::srv::SetEntityState::Request& request);
    simulationInterfaces::srv::GetEntityInfo::Response getEntityInfo(
        const simulationInterfaces::srv::GetEntityInfo::Request& request) const;

    /// Answers the requests that wait now on the five services, on the calling thread; returns
    /// how many it answered.
    std::size_t handleRequests();

    /// Answers the requests that wait (handleRequests()), so that a state set takes effect in
    /// this step.
    void pre(const double& time) override;

  protected:
    ~ROS2EntityStateServer() override;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorROS2
