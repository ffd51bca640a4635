#pragma once

// Records of the ROS 2 package rcl_interfaces: parameters, their events and services, and the
// log messages nodes publish on /rosout. Laid out as in Humble; Jazzy changes only the type of
// Log's level constants (uint8 instead of byte).

#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "qorROS2/builtinInterfaces.h"

namespace qorROS2::rclInterfaces {

/// The range a floating-point parameter is kept in.
struct FloatingPointRange {
    double from_value;  ///< the smallest value, included
    double to_value;    ///< the largest value, included
    double step;        ///< the spacing of allowed values from from_value; 0 for any value
};

/// The range an integer parameter is kept in.
struct IntegerRange {
    std::int64_t from_value;  ///< the smallest value, included
    std::int64_t to_value;    ///< the largest value, included
    std::uint64_t step;       ///< the spacing of allowed values from from_value; 0 for any value
};

/// The parameter types, as constants only. A C++ record cannot be empty, so it holds one
/// meaningless byte, which is also what goes on the wire.
struct ParameterType {
    std::uint8_t structure_needs_at_least_one_member;  ///< always 0
};

/// The value of a parameter: `type` tells which one member holds it.
struct ParameterValue {
    std::uint8_t type;                              ///< a ParameterType constant
    bool bool_value;                                ///< when type is PARAMETER_BOOL
    std::int64_t integer_value;                     ///< when type is PARAMETER_INTEGER
    double double_value;                            ///< when type is PARAMETER_DOUBLE
    std::string string_value;                       ///< when type is PARAMETER_STRING
    std::vector<std::uint8_t> byte_array_value;     ///< when type is PARAMETER_BYTE_ARRAY
    std::vector<bool> bool_array_value;             ///< when type is PARAMETER_BOOL_ARRAY
    std::vector<std::int64_t> integer_array_value;  ///< when type is PARAMETER_INTEGER_ARRAY
    std::vector<double> double_array_value;         ///< when type is PARAMETER_DOUBLE_ARRAY
    std::vector<std::string> string_array_value;    ///< when type is PARAMETER_STRING_ARRAY
};

/// A named parameter value.
struct Parameter {
    std::string name;      ///< the parameter's name
    ParameterValue value;  ///< its value
};

/// What a node tells about one of its parameters.
struct ParameterDescriptor {
    std::string name;                    ///< the parameter's name
    std::uint8_t type;                   ///< a ParameterType constant
    std::string description;             ///< what the parameter is for
    std::string additional_constraints;  ///< constraints in words
    bool read_only = false;              ///< whether it can be set only when declared
    bool dynamic_typing = false;         ///< whether a set may change its type
    /// At most one: the range of a floating-point parameter.
    std::vector<FloatingPointRange> floating_point_range;
    /// At most one: the range of an integer parameter.
    std::vector<IntegerRange> integer_range;
};

/// The answer to list_parameters.
struct ListParametersResult {
    std::vector<std::string> names;     ///< the parameters found
    std::vector<std::string> prefixes;  ///< the prefixes of the names found
};

/// Whether setting a parameter succeeded, and why not.
struct SetParametersResult {
    bool successful;     ///< whether it was set
    std::string reason;  ///< why not, when it was not
};

/// The parameters one node declared, changed or removed, published on /parameter_events.
struct ParameterEvent {
    builtinInterfaces::Time stamp;              ///< when it happened
    std::string node;                           ///< the node's full name
    std::vector<Parameter> new_parameters;      ///< declared
    std::vector<Parameter> changed_parameters;  ///< set
    std::vector<Parameter> deleted_parameters;  ///< undeclared
};

/// The descriptors of the parameters a node declared, changed or removed.
struct ParameterEventDescriptors {
    std::vector<ParameterDescriptor> new_parameters;      ///< declared
    std::vector<ParameterDescriptor> changed_parameters;  ///< set
    std::vector<ParameterDescriptor> deleted_parameters;  ///< undeclared
};

/// One log line of a node, as published on /rosout.
struct Log {
    builtinInterfaces::Time stamp;  ///< when the line was logged
    std::uint8_t level;             ///< DEBUG 10, INFO 20, WARN 30, ERROR 40, FATAL 50
    std::string name;               ///< the logger's name
    std::string msg;                ///< the text
    std::string file;               ///< the source file that logged it
    std::string function;           ///< the function that logged it
    std::uint32_t line;             ///< the line in that file
};

/// Describes parameters by name.
struct DescribeParameters {
    struct Request {
        std::vector<std::string> names;  ///< the parameters asked about
    };
    struct Response {
        std::vector<ParameterDescriptor> descriptors;  ///< one per name, in order
    };
};

/// Gets parameter values by name.
struct GetParameters {
    struct Request {
        std::vector<std::string> names;  ///< the parameters asked for
    };
    struct Response {
        std::vector<ParameterValue> values;  ///< one per name, in order; NOT_SET when unknown
    };
};

/// Gets parameter types by name.
struct GetParameterTypes {
    struct Request {
        std::vector<std::string> names;  ///< the parameters asked about
    };
    struct Response {
        std::vector<std::uint8_t> types;  ///< one ParameterType constant per name, in order
    };
};

/// Lists parameter names under prefixes.
struct ListParameters {
    struct Request {
        std::vector<std::string> prefixes;  ///< the prefixes to list under; none for all
        std::uint64_t depth;                ///< how many dots below a prefix; 0 for any
    };
    struct Response {
        ListParametersResult result;  ///< the names and prefixes found
    };
};

/// Sets parameters one by one.
struct SetParameters {
    struct Request {
        std::vector<Parameter> parameters;  ///< the values to set
    };
    struct Response {
        std::vector<SetParametersResult> results;  ///< one per parameter, in order
    };
};

/// Sets parameters all at once, or none.
struct SetParametersAtomically {
    struct Request {
        std::vector<Parameter> parameters;  ///< the values to set
    };
    struct Response {
        SetParametersResult result;  ///< whether all were set
    };
};

}  // namespace qorROS2::rclInterfaces

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(rclInterfaces, FloatingPointRange, "rcl_interfaces",
                         QORROS2_FIELD(from_value), QORROS2_FIELD(to_value), QORROS2_FIELD(step));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, IntegerRange, "rcl_interfaces", QORROS2_FIELD(from_value),
                         QORROS2_FIELD(to_value), QORROS2_FIELD(step));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, ParameterType, "rcl_interfaces",
                         QORROS2_FIELD(structure_needs_at_least_one_member));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, ParameterValue, "rcl_interfaces", QORROS2_FIELD(type),
                         QORROS2_FIELD(bool_value), QORROS2_FIELD(integer_value),
                         QORROS2_FIELD(double_value), QORROS2_FIELD(string_value),
                         QORROS2_BYTE_FIELD(byte_array_value), QORROS2_FIELD(bool_array_value),
                         QORROS2_FIELD(integer_array_value), QORROS2_FIELD(double_array_value),
                         QORROS2_FIELD(string_array_value));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, Parameter, "rcl_interfaces", QORROS2_FIELD(name),
                         QORROS2_FIELD(value));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, ParameterDescriptor, "rcl_interfaces", QORROS2_FIELD(name),
                         QORROS2_FIELD(type), QORROS2_FIELD(description),
                         QORROS2_FIELD(additional_constraints),
                         QORROS2_DEFAULTED_FIELD(read_only, "false"),
                         QORROS2_DEFAULTED_FIELD(dynamic_typing, "false"),
                         QORROS2_BOUNDED_FIELD(floating_point_range, 1),
                         QORROS2_BOUNDED_FIELD(integer_range, 1));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, ListParametersResult, "rcl_interfaces",
                         QORROS2_FIELD(names), QORROS2_FIELD(prefixes));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, SetParametersResult, "rcl_interfaces",
                         QORROS2_FIELD(successful), QORROS2_FIELD(reason));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, ParameterEvent, "rcl_interfaces", QORROS2_FIELD(stamp),
                         QORROS2_FIELD(node), QORROS2_FIELD(new_parameters),
                         QORROS2_FIELD(changed_parameters), QORROS2_FIELD(deleted_parameters));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, ParameterEventDescriptors, "rcl_interfaces",
                         QORROS2_FIELD(new_parameters), QORROS2_FIELD(changed_parameters),
                         QORROS2_FIELD(deleted_parameters));
QORROS2_DESCRIBE_MESSAGE(rclInterfaces, Log, "rcl_interfaces", QORROS2_FIELD(stamp),
                         QORROS2_FIELD(level), QORROS2_FIELD(name), QORROS2_FIELD(msg),
                         QORROS2_FIELD(file), QORROS2_FIELD(function), QORROS2_FIELD(line));

QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, DescribeParameters, Request, "rcl_interfaces",
                              QORROS2_FIELD(names));
QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, DescribeParameters, Response, "rcl_interfaces",
                              QORROS2_FIELD(descriptors));
QORROS2_DESCRIBE_SERVICE(rclInterfaces, DescribeParameters, "rcl_interfaces");

QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, GetParameters, Request, "rcl_interfaces",
                              QORROS2_FIELD(names));
QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, GetParameters, Response, "rcl_interfaces",
                              QORROS2_FIELD(values));
QORROS2_DESCRIBE_SERVICE(rclInterfaces, GetParameters, "rcl_interfaces");

QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, GetParameterTypes, Request, "rcl_interfaces",
                              QORROS2_FIELD(names));
QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, GetParameterTypes, Response, "rcl_interfaces",
                              QORROS2_FIELD(types));
QORROS2_DESCRIBE_SERVICE(rclInterfaces, GetParameterTypes, "rcl_interfaces");

QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, ListParameters, Request, "rcl_interfaces",
                              QORROS2_FIELD(prefixes), QORROS2_FIELD(depth));
QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, ListParameters, Response, "rcl_interfaces",
                              QORROS2_FIELD(result));
QORROS2_DESCRIBE_SERVICE(rclInterfaces, ListParameters, "rcl_interfaces");

QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, SetParameters, Request, "rcl_interfaces",
                              QORROS2_FIELD(parameters));
QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, SetParameters, Response, "rcl_interfaces",
                              QORROS2_FIELD(results));
QORROS2_DESCRIBE_SERVICE(rclInterfaces, SetParameters, "rcl_interfaces");

QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, SetParametersAtomically, Request, "rcl_interfaces",
                              QORROS2_FIELD(parameters));
QORROS2_DESCRIBE_SERVICE_PART(rclInterfaces, SetParametersAtomically, Response, "rcl_interfaces",
                              QORROS2_FIELD(result));
QORROS2_DESCRIBE_SERVICE(rclInterfaces, SetParametersAtomically, "rcl_interfaces");

}  // namespace qorROS2
