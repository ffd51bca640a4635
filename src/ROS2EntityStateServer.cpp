#include "qorROS2/ROS2EntityStateServer.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>
#include <utility>

#include "BodyStates.h"
#include "SimulationServiceNames.h"
#include "qorROS2/ServiceServer.h"
#include "qorROS2/TimeConversion.h"

namespace qorROS2 {
namespace {

namespace si = simulationInterfaces;
namespace srv = simulationInterfaces::srv;

using Server = ROS2EntityStateServer;

// Every category, for checking the application's table.
constexpr std::uint8_t kCategories[] = {Server::CATEGORY_OBJECT, Server::CATEGORY_ROBOT,
                                        Server::CATEGORY_HUMAN, Server::CATEGORY_DYNAMIC_OBJECT,
                                        Server::CATEGORY_STATIC_OBJECT};

// simulation_interfaces/msg/TagsFilter and Bounds.
constexpr std::uint8_t kFilterModeAny = 0;
constexpr std::uint8_t kFilterModeAll = 1;
constexpr std::uint8_t kBoundsEmpty = 0;

// Entity names are short; a longer expression only costs time to compile.
constexpr std::size_t kLongestFilter = 1000;

// simulation_interfaces/msg/SimulatorFeatures.
constexpr std::uint16_t kEntityTags = 4;
constexpr std::uint16_t kEntityCategories = 8;
constexpr std::uint16_t kEntityStateGetting = 10;
constexpr std::uint16_t kEntityStateSetting = 11;
constexpr std::uint16_t kEntityInfoGetting = 12;

si::Result result(std::uint8_t code, std::string message = {}) {
    return si::Result{code, std::move(message)};
}

si::Result notFound(const std::string& entity) {
    return result(si::Result::RESULT_NOT_FOUND, "no entity is named '" + entity + "'");
}

bool hasTag(const SimulationEntity& entity, const std::string& tag) {
    return std::find(entity.tags.begin(), entity.tags.end(), tag) != entity.tags.end();
}

bool finite(const geometryMsgs::Vector3& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

// Answers every request waiting on `server` at once by `answer`.
template <typename Srv, typename Answer>
std::size_t serve(ServiceServer<Srv>& server, Answer&& answer) {
    return server.handleRequests(
        [&](const typename Srv::Request& request, const ServiceRequestId&) {
            return std::optional(answer(request));
        });
}

bool isZero(const geometryMsgs::Vector3& v) {
    return v.x == 0.0 && v.y == 0.0 && v.z == 0.0;
}

}  // namespace

struct ROS2EntityStateServer::Impl {
    Impl(qorSDK::Simulation& sim, std::vector<SimulationEntity> givenEntities, std::int8_t domainId,
         const std::string& prefix, std::string world)
        : simulation(sim),
          entities(std::move(givenEntities)),
          worldFrame(std::move(world)),
          freeBodies(simulation.getFreeBodyNames()),
          getEntitiesService(detail::simulationServiceName(prefix, "get_entities"), domainId),
          getStatesService(detail::simulationServiceName(prefix, "get_entities_states"), domainId),
          getStateService(detail::simulationServiceName(prefix, "get_entity_state"), domainId),
          setStateService(detail::simulationServiceName(prefix, "set_entity_state"), domainId),
          getInfoService(detail::simulationServiceName(prefix, "get_entity_info"), domainId) {}

    const SimulationEntity* find(const std::string& name) const {
        const auto found = std::find_if(entities.begin(), entities.end(),
                                        [&](const SimulationEntity& e) { return e.name == name; });
        return found == entities.end() ? nullptr : &*found;
    }

    // The entities that pass every filter, in the application's order; or why the filters
    // cannot be applied.
    si::Result select(const si::EntityFilters& filters,
                      std::vector<const SimulationEntity*>& selected) const {
        if (filters.bounds.type != kBoundsEmpty || !filters.bounds.points.empty()) {
            return result(si::Result::RESULT_FEATURE_UNSUPPORTED,
                          "bounds filters are not supported: leave bounds empty (type " +
                              std::to_string(kBoundsEmpty) + ", no points)");
        }
        const std::uint8_t mode = filters.tags.filter_mode;
        if (mode != kFilterModeAny && mode != kFilterModeAll) {
            return result(si::Result::RESULT_FEATURE_UNSUPPORTED,
                          "tags filter_mode " + std::to_string(mode) +
                              " is neither FILTER_MODE_ANY (0) nor "
                              "FILTER_MODE_ALL (1)");
        }
        if (filters.filter.size() > kLongestFilter) {
            return result(si::Result::RESULT_OPERATION_FAILED,
                          "filter is " + std::to_string(filters.filter.size()) +
                              " characters long; at most " + std::to_string(kLongestFilter) +
                              " are taken");
        }
        std::optional<std::regex> pattern;
        if (!filters.filter.empty()) {
            try {
                pattern.emplace(filters.filter, std::regex::extended | std::regex::nosubs);
            } catch (const std::regex_error& error) {
                return result(si::Result::RESULT_OPERATION_FAILED,
                              "filter '" + filters.filter +
                                  "' is not a POSIX extended regular "
                                  "expression: " +
                                  error.what());
            }
        }
        for (const SimulationEntity& entity : entities) {
            // As POSIX regexec, a match anywhere in the name: ^ and $ anchor it.
            bool named = true;
            try {
                named = !pattern || std::regex_search(entity.name, *pattern);
            } catch (const std::regex_error& error) {
                // An expression too complex to match within the library's limits.
                selected.clear();
                return result(si::Result::RESULT_OPERATION_FAILED,
                              "filter '" + filters.filter + "' could not be matched against '" +
                                  entity.name + "': " + error.what());
            }
            if (!named) {
                continue;
            }
            if (!filters.categories.empty() &&
                std::none_of(
                    filters.categories.begin(), filters.categories.end(),
                    [&](const si::EntityCategory& c) { return c.category == entity.category; })) {
                continue;
            }
            const std::vector<std::string>& tags = filters.tags.tags;
            const auto tagged = [&](const std::string& tag) { return hasTag(entity, tag); };
            if (!tags.empty() &&
                (mode == kFilterModeAll ? !std::all_of(tags.begin(), tags.end(), tagged)
                                        : std::none_of(tags.begin(), tags.end(), tagged))) {
                continue;
            }
            selected.push_back(&entity);
        }
        return result(si::Result::RESULT_OK);
    }

    si::EntityState stateOf(const SimulationEntity& entity) const {
        si::EntityState state{};
        state.header.stamp = toRosTime(simulation.getTime());
        state.header.frame_id = worldFrame;
        state.pose =
            detail::toRosPose(simulation.getPose(qorSDK::Simulation::FrameKind::BODY, entity.body));
        const qorSDK::Simulation::Motion velocity = simulation.getVelocity(entity.body);
        state.twist = {detail::toVector3(velocity.linear), detail::toVector3(velocity.angular)};
        const qorSDK::Simulation::Motion acceleration = simulation.getAcceleration(entity.body);
        state.acceleration = {detail::toVector3(acceleration.linear),
                              detail::toVector3(acceleration.angular)};
        return state;
    }

    si::Result set(const srv::SetEntityState::Request& request) {
        const SimulationEntity* entity = find(request.entity);
        if (entity == nullptr) {
            return notFound(request.entity);
        }
        const std::string& frame = request.state.header.frame_id;
        if (!frame.empty() && frame != worldFrame) {
            return result(si::Result::RESULT_FEATURE_UNSUPPORTED,
                          "states are set in the world frame '" + worldFrame + "' only, not in '" +
                              frame + "'");
        }
        if (std::find(freeBodies.begin(), freeBodies.end(), entity->body) == freeBodies.end()) {
            return result(si::Result::RESULT_OPERATION_FAILED,
                          "entity '" + entity->name + "' cannot be moved: its body '" +
                              entity->body + "' is not free but jointed");
        }
        const geometryMsgs::Twist& twist = request.state.twist;
        const geometryMsgs::Accel& accel = request.state.acceleration;
        if (entity->category == Server::CATEGORY_STATIC_OBJECT &&
            !(isZero(twist.linear) && isZero(twist.angular) && isZero(accel.linear) &&
              isZero(accel.angular))) {
            return result(si::Result::RESULT_OPERATION_FAILED,
                          "entity '" + entity->name +
                              "' is a static object: it can be placed, not set moving");
        }
        if (!finite(twist.linear) || !finite(twist.angular)) {
            return result(
                si::Result::RESULT_OPERATION_FAILED,
                "entity '" + entity->name + "' cannot move at a twist that is not finite");
        }
        try {
            simulation.setFreeBodyState(
                entity->body, detail::fromRosPose(request.state.pose),
                {detail::toArray(twist.linear), detail::toArray(twist.angular)});
        } catch (const std::invalid_argument& error) {
            // What is left to refuse is the pose.
            return result(Server::INVALID_POSE, "entity '" + entity->name + "': " + error.what());
        }
        return result(si::Result::RESULT_OK);
    }

    qorSDK::Simulation& simulation;
    const std::vector<SimulationEntity> entities;
    const std::string worldFrame;
    const std::vector<std::string> freeBodies;
    // The stepping thread and the application's may both answer.
    std::mutex mutex;

    ServiceServer<srv::GetEntities> getEntitiesService;
    ServiceServer<srv::GetEntitiesStates> getStatesService;
    ServiceServer<srv::GetEntityState> getStateService;
    ServiceServer<srv::SetEntityState> setStateService;
    ServiceServer<srv::GetEntityInfo> getInfoService;
};

ROS2EntityStateServer::ROS2EntityStateServer(qorSDK::Simulation& simulation,
                                             std::vector<SimulationEntity> entities,
                                             std::int8_t domainId, const std::string& prefix,
                                             const std::string& worldFrame)
    : qorSDK::StepEventListener(PRE_STEP) {
    std::set<std::string> names;
    for (const SimulationEntity& entity : entities) {
        if (entity.name.empty()) {
            throw std::invalid_argument("ROS2EntityStateServer: an entity has an empty name");
        }
        if (!names.insert(entity.name).second) {
            throw std::invalid_argument("ROS2EntityStateServer: two entities are named '" +
                                        entity.name + "'");
        }
        if (std::find(std::begin(kCategories), std::end(kCategories), entity.category) ==
            std::end(kCategories)) {
            throw std::invalid_argument(
                "ROS2EntityStateServer: entity '" + entity.name + "' has the category " +
                std::to_string(entity.category) +
                ", which is none of OBJECT 0, ROBOT 1, HUMAN 2, DYNAMIC_OBJECT 4, STATIC_OBJECT 5");
        }
        // Refuses, in the platform's words, a body the scene does not have.
        simulation.getPose(qorSDK::Simulation::FrameKind::BODY, entity.body);
    }
    m_impl = std::make_unique<Impl>(simulation, std::move(entities), domainId, prefix, worldFrame);
}

ROS2EntityStateServer::~ROS2EntityStateServer() = default;

std::vector<std::uint16_t> ROS2EntityStateServer::features() {
    return {kEntityTags, kEntityCategories, kEntityStateGetting, kEntityStateSetting,
            kEntityInfoGetting};
}

srv::GetEntities::Response ROS2EntityStateServer::getEntities(
    const srv::GetEntities::Request& request) const {
    srv::GetEntities::Response response{};
    std::vector<const SimulationEntity*> selected;
    response.result = m_impl->select(request.filters, selected);
    for (const SimulationEntity* entity : selected) {
        response.entities.push_back(entity->name);
    }
    return response;
}

srv::GetEntitiesStates::Response ROS2EntityStateServer::getEntitiesStates(
    const srv::GetEntitiesStates::Request& request) const {
    srv::GetEntitiesStates::Response response{};
    std::vector<const SimulationEntity*> selected;
    response.result = m_impl->select(request.filters, selected);
    for (const SimulationEntity* entity : selected) {
        response.entities.push_back(entity->name);
        response.states.push_back(m_impl->stateOf(*entity));
    }
    return response;
}

srv::GetEntityState::Response ROS2EntityStateServer::getEntityState(
    const srv::GetEntityState::Request& request) const {
    srv::GetEntityState::Response response{};
    const SimulationEntity* entity = m_impl->find(request.entity);
    if (entity == nullptr) {
        response.result = notFound(request.entity);
        return response;
    }
    response.result = result(si::Result::RESULT_OK);
    response.state = m_impl->stateOf(*entity);
    return response;
}

srv::SetEntityState::Response ROS2EntityStateServer::setEntityState(
    const srv::SetEntityState::Request& request) {
    return srv::SetEntityState::Response{m_impl->set(request)};
}

srv::GetEntityInfo::Response ROS2EntityStateServer::getEntityInfo(
    const srv::GetEntityInfo::Request& request) const {
    srv::GetEntityInfo::Response response{};
    const SimulationEntity* entity = m_impl->find(request.entity);
    if (entity == nullptr) {
        response.result = notFound(request.entity);
        return response;
    }
    response.result = result(si::Result::RESULT_OK);
    response.info = {si::EntityCategory{entity->category}, entity->description, entity->tags};
    return response;
}

std::size_t ROS2EntityStateServer::handleRequests() {
    Impl& impl = *m_impl;
    const std::lock_guard<std::mutex> lock(impl.mutex);
    return serve(impl.getEntitiesService, [this](const auto& r) { return getEntities(r); }) +
           serve(impl.getStatesService, [this](const auto& r) { return getEntitiesStates(r); }) +
           serve(impl.getStateService, [this](const auto& r) { return getEntityState(r); }) +
           serve(impl.setStateService, [this](const auto& r) { return setEntityState(r); }) +
           serve(impl.getInfoService, [this](const auto& r) { return getEntityInfo(r); });
}

void ROS2EntityStateServer::pre(const double& /*time*/) {
    handleRequests();
}

}  // namespace qorROS2
