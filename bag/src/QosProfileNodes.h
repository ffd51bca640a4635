#pragma once

// The offered QoS profiles as YAML nodes, for the metadata file that holds them.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <yaml-cpp/yaml.h>

#include "YamlField.h"
#include "qorROS2/bag/QosProfileYaml.h"

namespace qorROS2::bag::detail {

/// How a profile's policies are written: rmw's integers (metadata up to version 8) or rmw's
/// names (version 9 on).
enum class PolicyForm { INTEGERS, NAMES };

/// The policies that take one of a few named values.
enum class Policy { HISTORY, RELIABILITY, DURABILITY, LIVELINESS };

/// rmw's number for the value of `policy` that rmw names `name` ("keep_last"); none for a name
/// it does not give.
std::optional<std::uint32_t> policyValue(Policy policy, const std::string& name);

/// rmw's names for the values of `policy`, separated by ", ".
std::string policyNames(Policy policy);

/// The profiles as a YAML list; none at all is a null node with INTEGERS, as ROS 2 Humble leaves
/// the list it never pushed to, and an empty list with NAMES, as ROS 2 Jazzy writes it.
YAML::Node qosListNode(const std::vector<OfferedQosProfile>& profiles, PolicyForm form);

/// The profiles in a YAML list (null: none), each in either form.
std::vector<OfferedQosProfile> qosListFromField(const YamlField& list);

}  // namespace qorROS2::bag::detail
