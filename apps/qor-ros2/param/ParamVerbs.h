#pragma once

// What the `param` verbs that address one node share: its name, --include-hidden-nodes and the
// node options, declared in ros2's order.

#include <CLI/CLI.hpp>
#include <string>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"

namespace qorCli {

/// The node a parameter verb addresses and how it is looked for.
struct ParamNodeArguments {
    NodeFlags flags;
    std::string node;
    bool includeHidden = false;

    /// Declares the node options, `node_name` (optional when `required` is false) and
    /// --include-hidden-nodes on `app`.
    void declare(CLI::App& app, bool required) {
        declareNode(app, required);
        declareHidden(app);
    }

    /// The node options and `node_name` alone, for a verb that declares options of its own
    /// before --include-hidden-nodes, as `param list` does.
    void declareNode(CLI::App& app, bool required) {
        addStrategyNodeOptions(app, flags, listingNodeUse());
        addPositional(app, "node_name", node, required, "Name of the ROS node");
    }

    void declareHidden(CLI::App& app) {
        addFlag(app, "--include-hidden-nodes", includeHidden, "Consider hidden nodes as well");
    }
};

}  // namespace qorCli
