#pragma once

// The texts of `param`: values read from the command line as ros2 guesses their type, and
// values and descriptors printed as ros2 prints them.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/rclInterfaces.h"

namespace YAML {
class Node;
}  // namespace YAML

namespace qorCli {

/// The value that `text` gives, typed as ros2's `param set` guesses it: YAML 1.1 as PyYAML reads
/// it (true/yes/on a bool, 0x1f an integer, 1.5 or .inf a double, a flow sequence of one kind an
/// array), anything else a string. Throws CommandFailure for an integer beyond int64.
qorROS2::rclInterfaces::ParameterValue parameterValueOf(const std::string& text);

/// What Python's str() (or with `repr`, repr()) gives for the value PyYAML's safe_load reads
/// from `node`: "None", "True", "5", "0.2", "base" ('base' as repr), "[1, 'a']", "{'k': 2}".
/// Throws CommandFailure for an integer beyond int64.
std::string pythonTextOf(const YAML::Node& node, bool repr);

/// The name ros2 gives a parameter type: "boolean", "integer array", "not set". Empty for a
/// number that is no type.
std::string parameterTypeName(std::uint8_t type);

/// What `param get` prints for `value`: "Integer value is: 5\n", or the value alone with
/// `hideType`. Throws CommandFailure "Unknown parameter type '12'" for a type it does not know.
std::string parameterValueText(const qorROS2::rclInterfaces::ParameterValue& value, bool hideType);

/// What `param describe` prints for one descriptor.
std::string parameterDescriptorText(const qorROS2::rclInterfaces::ParameterDescriptor& descriptor);

/// One parameter that `param dump` writes: its name ("a.b" nests b under a) and its value, or
/// none when the node had no value for it.
struct DumpedParameter {
    std::string name;
    std::optional<qorROS2::rclInterfaces::ParameterValue> value;
};

/// What `param dump` prints for the node `node` ("/talker"): PyYAML's block-style dump of
/// {node: {ros__parameters: {...}}}, keys sorted, names split at '.' into nested mappings, and
/// the blank line print() adds. Throws CommandFailure for a byte array, which ros2 writes as
/// Python bytes objects no other tool reads back.
std::string parameterDumpText(const std::string& node,
                              const std::vector<DumpedParameter>& parameters);

}  // namespace qorCli
