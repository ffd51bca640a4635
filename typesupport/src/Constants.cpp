// The constants of the message types, as ROS 2 Humble's definitions declare them (but for
// service_msgs, which Humble has not: Jazzy's). The records carry no constants, so this table is
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
