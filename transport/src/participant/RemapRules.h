#pragma once

// The remap rules of the process's ROS arguments ("-r from:=to"), read and applied as rcl does.

#include <optional>
#include <string>
#include <vector>

namespace qorROS2::transport::participant {

/// One "-r" rule. Topic and service rules keep both sides as written: they are expanded for the
/// node that uses them, when a name is resolved.
struct RemapRule {
    enum Kind : unsigned { Topic = 1U, Service = 2U, NodeName = 4U, Namespace = 8U };
    unsigned kinds = 0;       ///< the Kinds of name the rule applies to
    std::string nodeName;     ///< "" for every node, else only the node of that name
    std::string match;        ///< topic and service rules: "joint_states", "/a/b", "~/x"
    std::string replacement;  ///< the new name, node name or namespace
};

/// The rule `rule` that followed `flag` ("-r" or "--remap"). Throws std::invalid_argument in
/// rcl's words ("Couldn't parse remap rule: '-r a:=b/'. Error: ...") when it is not one.
RemapRule parseRemapRule(const std::string& flag, const std::string& rule);

/// What the first of `rules` of kind `kind` that matches does to the expanded name `name` of the
/// node `nodeName` in `nodeNamespace`: the replacement expanded for that node, or nothing when no
/// rule matches. A rule matches a topic or service when its match side, expanded for the node,
/// equals `name`; node name and namespace rules match every name of their kind.
std::optional<std::string> remapName(const std::vector<RemapRule>& rules, RemapRule::Kind kind,
                                     const std::string& name, const std::string& nodeName,
                                     const std::string& nodeNamespace);

/// The topic and service rules that the process's ROS arguments gave, in their order.
std::vector<RemapRule> processRemapRules();

/// Makes `rules` the process's; endpoints made from now on resolve their names with them.
void setProcessRemapRules(std::vector<RemapRule> rules);

}  // namespace qorROS2::transport::participant
