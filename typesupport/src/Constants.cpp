// The constants of the message types, as ROS 2 Humble's definitions declare them (but for
// service_msgs, which Humble has not: Jazzy's), and those of simulation_interfaces as its humble
// and jazzy release branches declare them. The records carry no constants, so this table is
// their one list; a test compares it with an independent copy of the definitions.

#include <cstring>

#include "RecordCatalogue.h"

namespace qorROS2::typesupport::detail {

namespace {

struct ConstantLine {
    const char* type;         ///< the ROS name of the declaring type
    const char* beforeField;  ///< the field the declaration comes before; "" after them all
    const char* declaration;  ///< as ROS 2 writes it, spacing included
};

// clang-format off
constexpr ConstantLine kConstants[] = {
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_STATUS_UNKNOWN = 0"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_STATUS_CHARGING = 1"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_STATUS_DISCHARGING = 2"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_STATUS_NOT_CHARGING = 3"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_STATUS_FULL = 4"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_HEALTH_UNKNOWN = 0"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_HEALTH_GOOD = 1"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_HEALTH_OVERHEAT = 2"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_HEALTH_DEAD = 3"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_HEALTH_OVERVOLTAGE = 4"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_HEALTH_UNSPEC_FAILURE = 5"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_HEALTH_COLD = 6"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_HEALTH_WATCHDOG_TIMER_EXPIRE = 7"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_HEALTH_SAFETY_TIMER_EXPIRE = 8"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_TECHNOLOGY_UNKNOWN = 0"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_TECHNOLOGY_NIMH = 1"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_TECHNOLOGY_LION = 2"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_TECHNOLOGY_LIPO = 3"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_TECHNOLOGY_LIFE = 4"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_TECHNOLOGY_NICD = 5"},
    {"sensor_msgs/msg/BatteryState", "header", "uint8 POWER_SUPPLY_TECHNOLOGY_LIMN = 6"},
    {"sensor_msgs/msg/JoyFeedback", "type", "uint8 TYPE_LED    = 0"},
    {"sensor_msgs/msg/JoyFeedback", "type", "uint8 TYPE_RUMBLE = 1"},
    {"sensor_msgs/msg/JoyFeedback", "type", "uint8 TYPE_BUZZER = 2"},
    {"sensor_msgs/msg/NavSatFix", "position_covariance_type", "uint8 COVARIANCE_TYPE_UNKNOWN = 0"},
    {"sensor_msgs/msg/NavSatFix", "position_covariance_type", "uint8 COVARIANCE_TYPE_APPROXIMATED = 1"},
    {"sensor_msgs/msg/NavSatFix", "position_covariance_type", "uint8 COVARIANCE_TYPE_DIAGONAL_KNOWN = 2"},
    {"sensor_msgs/msg/NavSatFix", "position_covariance_type", "uint8 COVARIANCE_TYPE_KNOWN = 3"},
    {"sensor_msgs/msg/NavSatStatus", "status", "int8 STATUS_NO_FIX =  -1"},
    {"sensor_msgs/msg/NavSatStatus", "status", "int8 STATUS_FIX =      0"},
    {"sensor_msgs/msg/NavSatStatus", "status", "int8 STATUS_SBAS_FIX = 1"},
    {"sensor_msgs/msg/NavSatStatus", "status", "int8 STATUS_GBAS_FIX = 2"},
    {"sensor_msgs/msg/NavSatStatus", "service", "uint16 SERVICE_GPS =     1"},
    {"sensor_msgs/msg/NavSatStatus", "service", "uint16 SERVICE_GLONASS = 2"},
    {"sensor_msgs/msg/NavSatStatus", "service", "uint16 SERVICE_COMPASS = 4"},
    {"sensor_msgs/msg/NavSatStatus", "service", "uint16 SERVICE_GALILEO = 8"},
    {"sensor_msgs/msg/PointField", "name", "uint8 INT8    = 1"},
    {"sensor_msgs/msg/PointField", "name", "uint8 UINT8   = 2"},
    {"sensor_msgs/msg/PointField", "name", "uint8 INT16   = 3"},
    {"sensor_msgs/msg/PointField", "name", "uint8 UINT16  = 4"},
    {"sensor_msgs/msg/PointField", "name", "uint8 INT32   = 5"},
    {"sensor_msgs/msg/PointField", "name", "uint8 UINT32  = 6"},
    {"sensor_msgs/msg/PointField", "name", "uint8 FLOAT32 = 7"},
    {"sensor_msgs/msg/PointField", "name", "uint8 FLOAT64 = 8"},
    {"sensor_msgs/msg/Range", "radiation_type", "uint8 ULTRASOUND=0"},
    {"sensor_msgs/msg/Range", "radiation_type", "uint8 INFRARED=1"},
    {"rcl_interfaces/msg/Log", "stamp", "byte DEBUG=10"},
    {"rcl_interfaces/msg/Log", "stamp", "byte INFO=20"},
    {"rcl_interfaces/msg/Log", "stamp", "byte WARN=30"},
    {"rcl_interfaces/msg/Log", "stamp", "byte ERROR=40"},
    {"rcl_interfaces/msg/Log", "stamp", "byte FATAL=50"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_NOT_SET=0"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_BOOL=1"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_INTEGER=2"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_DOUBLE=3"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_STRING=4"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_BYTE_ARRAY=5"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_BOOL_ARRAY=6"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_INTEGER_ARRAY=7"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_DOUBLE_ARRAY=8"},
    {"rcl_interfaces/msg/ParameterType", "", "uint8 PARAMETER_STRING_ARRAY=9"},
    {"rcl_interfaces/srv/ListParameters_Request", "prefixes", "uint64 DEPTH_RECURSIVE=0"},
    {"service_msgs/msg/ServiceEventInfo", "event_type", "uint8 REQUEST_SENT = 0"},
    {"service_msgs/msg/ServiceEventInfo", "event_type", "uint8 REQUEST_RECEIVED = 1"},
    {"service_msgs/msg/ServiceEventInfo", "event_type", "uint8 RESPONSE_SENT = 2"},
    {"service_msgs/msg/ServiceEventInfo", "event_type", "uint8 RESPONSE_RECEIVED = 3"},
    {"action_msgs/msg/GoalStatus", "goal_info", "int8 STATUS_UNKNOWN   = 0"},
    {"action_msgs/msg/GoalStatus", "goal_info", "int8 STATUS_ACCEPTED  = 1"},
    {"action_msgs/msg/GoalStatus", "goal_info", "int8 STATUS_EXECUTING = 2"},
    {"action_msgs/msg/GoalStatus", "goal_info", "int8 STATUS_CANCELING = 3"},
    {"action_msgs/msg/GoalStatus", "goal_info", "int8 STATUS_SUCCEEDED = 4"},
    {"action_msgs/msg/GoalStatus", "goal_info", "int8 STATUS_CANCELED  = 5"},
    {"action_msgs/msg/GoalStatus", "goal_info", "int8 STATUS_ABORTED   = 6"},
    {"action_msgs/srv/CancelGoal_Response", "return_code", "int8 ERROR_NONE=0"},
    {"action_msgs/srv/CancelGoal_Response", "return_code", "int8 ERROR_REJECTED=1"},
    {"action_msgs/srv/CancelGoal_Response", "return_code", "int8 ERROR_UNKNOWN_GOAL_ID=2"},
    {"action_msgs/srv/CancelGoal_Response", "return_code", "int8 ERROR_GOAL_TERMINATED=3"},
    {"simulation_interfaces/msg/Bounds", "type", "uint8 TYPE_EMPTY         = 0"},
    {"simulation_interfaces/msg/Bounds", "type", "uint8 TYPE_BOX           = 1"},
    {"simulation_interfaces/msg/Bounds", "type", "uint8 TYPE_CONVEX_HULL   = 2"},
    {"simulation_interfaces/msg/Bounds", "type", "uint8 TYPE_SPHERE        = 3"},
    {"simulation_interfaces/msg/EntityCategory", "category", "uint8 CATEGORY_OBJECT         = 0"},
    {"simulation_interfaces/msg/EntityCategory", "category", "uint8 CATEGORY_ROBOT          = 1"},
    {"simulation_interfaces/msg/EntityCategory", "category", "uint8 CATEGORY_HUMAN          = 2"},
    {"simulation_interfaces/msg/EntityCategory", "category", "uint8 CATEGORY_DYNAMIC_OBJECT = 4"},
    {"simulation_interfaces/msg/EntityCategory", "category", "uint8 CATEGORY_STATIC_OBJECT  = 5"},
    {"simulation_interfaces/msg/Result", "result", "uint8 RESULT_FEATURE_UNSUPPORTED   = 0"},
    {"simulation_interfaces/msg/Result", "result", "uint8 RESULT_OK                    = 1"},
    {"simulation_interfaces/msg/Result", "result", "uint8 RESULT_NOT_FOUND             = 2"},
    {"simulation_interfaces/msg/Result", "result", "uint8 RESULT_INCORRECT_STATE       = 3"},
    {"simulation_interfaces/msg/Result", "result", "uint8 RESULT_OPERATION_FAILED      = 4"},
    {"simulation_interfaces/msg/SimulationState", "state", "uint8 STATE_STOPPED          = 0"},
    {"simulation_interfaces/msg/SimulationState", "state", "uint8 STATE_PLAYING          = 1"},
    {"simulation_interfaces/msg/SimulationState", "state", "uint8 STATE_PAUSED           = 2"},
    {"simulation_interfaces/msg/SimulationState", "state", "uint8 STATE_QUITTING         = 3"},
    {"simulation_interfaces/msg/SimulationState", "state", "uint8 STATE_NO_WORLD         = 4"},
    {"simulation_interfaces/msg/SimulationState", "state", "uint8 STATE_LOADING_WORLD    = 5"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SPAWNING                  = 0"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 DELETING                  = 1"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 NAMED_POSES               = 2"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 POSE_BOUNDS               = 3"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 ENTITY_TAGS               = 4"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 ENTITY_BOUNDS             = 5"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 ENTITY_BOUNDS_BOX         = 6"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 ENTITY_BOUNDS_CONVEX      = 7"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 ENTITY_CATEGORIES         = 8"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SPAWNING_RESOURCE_STRING  = 9"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 ENTITY_STATE_GETTING      = 10"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 ENTITY_STATE_SETTING      = 11"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 ENTITY_INFO_GETTING       = 12"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 ENTITY_INFO_SETTING       = 13"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SPAWNABLES                = 14"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SIMULATION_RESET          = 20"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SIMULATION_RESET_TIME     = 21"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SIMULATION_RESET_STATE    = 22"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SIMULATION_RESET_SPAWNED  = 23"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SIMULATION_STATE_GETTING  = 24"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SIMULATION_STATE_SETTING  = 25"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SIMULATION_STATE_PAUSE    = 26"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 STEP_SIMULATION_SINGLE    = 31"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 STEP_SIMULATION_MULTIPLE  = 32"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 STEP_SIMULATION_ACTION    = 33"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 WORLD_LOADING             = 40"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 WORLD_RESOURCE_STRING     = 41"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 WORLD_TAGS                = 42"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 WORLD_UNLOADING           = 43"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 WORLD_INFO_GETTING        = 44"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 AVAILABLE_WORLDS          = 45"},
    {"simulation_interfaces/msg/SimulatorFeatures", "features", "uint8 SPAWNING_ENTITIES         = 50"},
    {"simulation_interfaces/msg/SpawnResult", "result", "uint8 NAME_NOT_UNIQUE       = 101"},
    {"simulation_interfaces/msg/SpawnResult", "result", "uint8 NAME_INVALID          = 102"},
    {"simulation_interfaces/msg/SpawnResult", "result", "uint8 UNSUPPORTED_FORMAT    = 103"},
    {"simulation_interfaces/msg/SpawnResult", "result", "uint8 NO_RESOURCE           = 104"},
    {"simulation_interfaces/msg/SpawnResult", "result", "uint8 NAMESPACE_INVALID     = 105"},
    {"simulation_interfaces/msg/SpawnResult", "result", "uint8 RESOURCE_PARSE_ERROR  = 106"},
    {"simulation_interfaces/msg/SpawnResult", "result", "uint8 MISSING_ASSETS        = 107"},
    {"simulation_interfaces/msg/SpawnResult", "result", "uint8 UNSUPPORTED_ASSETS    = 108"},
    {"simulation_interfaces/msg/SpawnResult", "result", "uint8 INVALID_POSE          = 109"},
    {"simulation_interfaces/msg/TagsFilter", "filter_mode", "uint8 FILTER_MODE_ANY    = 0"},
    {"simulation_interfaces/msg/TagsFilter", "filter_mode", "uint8 FILTER_MODE_ALL    = 1"},
    {"simulation_interfaces/srv/GetAvailableWorlds_Response", "result", "uint8 DEFAULT_SOURCES_FAILED = 101"},
    {"simulation_interfaces/srv/GetCurrentWorld_Response", "result", "uint8 NO_WORLD_LOADED = 101"},
    {"simulation_interfaces/srv/LoadWorld_Response", "result", "uint8 UNSUPPORTED_FORMAT = 101"},
    {"simulation_interfaces/srv/LoadWorld_Response", "result", "uint8 NO_RESOURCE = 102"},
    {"simulation_interfaces/srv/LoadWorld_Response", "result", "uint8 RESOURCE_PARSE_ERROR = 103"},
    {"simulation_interfaces/srv/LoadWorld_Response", "result", "uint8 MISSING_ASSETS = 104"},
    {"simulation_interfaces/srv/LoadWorld_Response", "result", "uint8 UNSUPPORTED_ASSETS = 105"},
    {"simulation_interfaces/srv/LoadWorld_Response", "result", "uint8 UNSUPPORTED_ELEMENTS = 106"},
    {"simulation_interfaces/srv/ResetSimulation_Request", "scope", "uint8 SCOPE_DEFAULT       = 0"},
    {"simulation_interfaces/srv/ResetSimulation_Request", "scope", "uint8 SCOPE_TIME          = 1"},
    {"simulation_interfaces/srv/ResetSimulation_Request", "scope", "uint8 SCOPE_STATE         = 2"},
    {"simulation_interfaces/srv/ResetSimulation_Request", "scope", "uint8 SCOPE_SPAWNED       = 4"},
    {"simulation_interfaces/srv/ResetSimulation_Request", "scope", "uint8 SCOPE_ALL           = 255"},
    {"simulation_interfaces/srv/SetEntityState_Response", "result", "uint8 INVALID_POSE          = 101"},
    {"simulation_interfaces/srv/SetSimulationState_Response", "result", "uint8 ALREADY_IN_TARGET_STATE   = 101"},
    {"simulation_interfaces/srv/SetSimulationState_Response", "result", "uint8 STATE_TRANSITION_ERROR    = 102"},
    {"simulation_interfaces/srv/SetSimulationState_Response", "result", "uint8 INCORRECT_TRANSITION      = 103"},
    {"simulation_interfaces/srv/SpawnEntities_Response", "result", "uint8 ENTITIES_SPAWN_FAILED = 150"},
    {"simulation_interfaces/srv/SpawnEntity_Response", "result", "uint8 NAME_NOT_UNIQUE       = 101"},
    {"simulation_interfaces/srv/SpawnEntity_Response", "result", "uint8 NAME_INVALID          = 102"},
    {"simulation_interfaces/srv/SpawnEntity_Response", "result", "uint8 UNSUPPORTED_FORMAT    = 103"},
    {"simulation_interfaces/srv/SpawnEntity_Response", "result", "uint8 NO_RESOURCE           = 104"},
    {"simulation_interfaces/srv/SpawnEntity_Response", "result", "uint8 NAMESPACE_INVALID     = 105"},
    {"simulation_interfaces/srv/SpawnEntity_Response", "result", "uint8 RESOURCE_PARSE_ERROR  = 106"},
    {"simulation_interfaces/srv/SpawnEntity_Response", "result", "uint8 MISSING_ASSETS        = 107"},
    {"simulation_interfaces/srv/SpawnEntity_Response", "result", "uint8 UNSUPPORTED_ASSETS    = 108"},
    {"simulation_interfaces/srv/SpawnEntity_Response", "result", "uint8 INVALID_POSE          = 109"},
    {"simulation_interfaces/srv/UnloadWorld_Response", "result", "uint8 NO_WORLD_LOADED = 101"},
};
// clang-format on

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// "uint8 INT8    = 1" into its type, name and value.
ConstantDescription parse(const ConstantLine& line, std::size_t beforeField) {
    const std::string text = line.declaration;
    const auto space = text.find(' ');
    const auto equals = text.find('=');
    if (space == std::string::npos || equals == std::string::npos || equals < space) {
        throw TypeSupportError(std::string("malformed constant of ") + line.type + ": '" + text +
                               "'");
    }
    return ConstantDescription{text.substr(0, space),
                               trimmed(text.substr(space + 1, equals - space - 1)),
                               trimmed(text.substr(equals + 1)), text, beforeField};
}

}  // namespace

std::vector<ConstantDescription> constantsOf(const std::string& rosName,
                                             const std::vector<FieldDescription>& fields) {
    std::vector<ConstantDescription> constants;
    for (const ConstantLine& line : kConstants) {
        if (rosName != line.type) {
            continue;
        }
        const bool afterAll = *line.beforeField == '\0';
        std::size_t before = 0;
        while (before < fields.size() && (afterAll || fields[before].name != line.beforeField)) {
            ++before;
        }
        if (before == fields.size() && !afterAll) {
            throw TypeSupportError(std::string("constant of ") + line.type +
                                   " placed before a field it does not have: " + line.beforeField);
        }
        constants.push_back(parse(line, before));
    }
    return constants;
}

}  // namespace qorROS2::typesupport::detail
