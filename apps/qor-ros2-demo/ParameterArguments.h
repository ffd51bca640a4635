#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "qorROS2/rclInterfaces.h"

namespace qorDemo {

/// The parameter values that ROS arguments give, as rcl reads them: "-p NAME:=VALUE" (or
/// "--param", optionally "NODE:NAME:=VALUE") and "--params-file FILE", in the order given, each
/// value typed as rcl's YAML parser types it (true/yes/on are bools, 0x10 is 16, .inf a double,
/// a quoted value a string, [1, 2] an integer array).
class ParameterArguments {
  public:
    using Value = qorROS2::rclInterfaces::ParameterValue;

    /// Takes the parameter rules and files out of the ROS argument sections of `arguments`
    /// ("--ros-args" up to "--" or the end), leaving the rest there, and reads them. Throws
    /// std::invalid_argument in rcl's words ("Couldn't parse parameter override rule: '-p x'.
    /// Error: ...", "Couldn't parse params file: '--params-file f.yaml'. Error: Error opening
    /// YAML file"); `arguments` is then unchanged.
    static ParameterArguments take(std::vector<std::string>& arguments);

    /// The values for the node `nodeFullName` ("/robot1/qor_ros2_demo"): those of every node key
    /// that matches it ("/**", "/robot1/*", the name itself), later ones replacing earlier ones,
    /// as rclcpp resolves its overrides.
    std::map<std::string, Value> overridesFor(const std::string& nodeFullName) const;

  private:
    /// Per node key ("/**", "/robot1/qor_ros2_demo"), in the order they first came, its
    /// parameters in the order they first came, each with its last value.
    using NodeValues = std::vector<std::pair<std::string, Value>>;
    std::vector<std::pair<std::string, NodeValues>> m_nodes;

    void set(const std::string& node, const std::string& name, Value value);
    friend struct ParameterArgumentsReader;
};

}  // namespace qorDemo
