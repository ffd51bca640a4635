#pragma once

// The ROS 2 node as which this process appears in the ROS 2 graph.

#include <string>
#include <vector>

#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// A node's name and namespace, as `ros2 node list` shows them joined ("/robot/qor_ros2_demo").
struct NodeIdentity {
    std::string name;             ///< "qor_ros2_demo": letters, digits and '_', no leading digit
    std::string nameSpace = "/";  ///< "/" or "/robot": absolute, no trailing '/'

    /// The fully qualified node name: "/qor_ros2_demo", "/robot/qor_ros2_demo".
    QORNTROS2_EXPORT std::string fullName() const;
};

/// The node of this process: every publisher and subscriber of the process belongs to it, in
/// every domain. Until setNodeIdentity() is called it is the program's name made into a valid
/// node name (validNodeName()) in the namespace "/".
QORNTROS2_EXPORT NodeIdentity nodeIdentity();

/// Renames the node of this process; participants that already announced the old name announce
/// the new one at once. Throws std::invalid_argument naming the rule broken when `name` is not a
/// valid ROS 2 node name or `nameSpace` not a valid absolute namespace.
QORNTROS2_EXPORT void setNodeIdentity(const std::string& name, const std::string& nameSpace = "/");

/// `anyName` made into a valid node name: every character other than a letter, a digit or '_'
/// becomes '_', and a name that is empty or starts with a digit gets a leading '_'
/// ("qor-ros2-demo" gives "qor_ros2_demo").
QORNTROS2_EXPORT std::string validNodeName(const std::string& anyName);

/// Takes the ROS 2 arguments out of `arguments`, as ROS 2 programs accept them: everything from
/// "--ros-args" up to a lone "--" or the end. Of them, "-r FROM:=TO" / "--remap FROM:=TO" are
/// remap rules as rcl reads them: "__node:=NAME" and "__ns:=/NS" rename the node of this process
/// (setNodeIdentity()), any other rule remaps the names of topics and services from now on
/// (resolveTopicName()); "NODE:" in front keeps a rule to the node NODE, "rostopic://" and
/// "rosservice://" to topics or services, and the first rule that matches wins. Each call
/// replaces the remap rules of the calls before. "--enclave /NAME" / "-e /NAME" makes /NAME the
/// enclave that its participants announce and, unless ROS_SECURITY_ENCLAVE_OVERRIDE names
/// another, take their security files from ("/" without it). Throws std::invalid_argument, in
/// rcl's words where rcl has them, for any other ROS 2 argument, a flag without its value, a
/// rule that does not parse, an invalid name, and an enclave given after the first publisher or
/// subscriber was made for another; `arguments`, the node and the rules are then unchanged.
QORNTROS2_EXPORT void applyRosArguments(std::vector<std::string>& arguments);

}  // namespace qorROS2
