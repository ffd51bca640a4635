#pragma once

#include <string>

namespace qorROS2::detail {

// The name of a simulation_interfaces service or action under `prefix`: "/step_simulation"
// under "/", "sim/step_simulation" under "sim" or "sim/", the bare name under "" (relative: in
// the node's namespace). Resolved afterwards as every name of the node is.
inline std::string simulationServiceName(const std::string& prefix, const char* name) {
    if (prefix.empty()) {
        return name;
    }
    return prefix.back() == '/' ? prefix + name : prefix + "/" + name;
}

}  // namespace qorROS2::detail
