#pragma once

// The `interface` commands: `list`, `packages`, `package`, `proto` and `show`. Each text is made
// by a function of its own, laid out as the ros2 CLI of ROS 2 Humble lays it out, so that tests
// can pin it.

#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// The kinds of interface that `-m`, `-s` and `-a` ask for; none set asks for all of them.
struct InterfaceKinds {
    bool messages = false;  ///< -m, --only-msgs
    bool services = false;  ///< -s, --only-srvs
    bool actions = false;   ///< -a, --only-actions

    bool any() const { return messages || services || actions; }
};

/// What an interface command prints on stdout and stderr, and its exit code.
struct InterfaceOutput {
    std::string out;
    std::string err;
    int exitCode = 0;
};

/// The packages that hold the known message, service and action types, sorted:
/// "action_msgs", "builtin_interfaces", ...
std::vector<std::string> interfacePackages();

/// `interface list`: the "Messages:" section with every known message type
/// ("    std_msgs/msg/Bool"), the "Services:" section with every service type, then the
/// "Actions:" section with every action type; with any of `kinds` set, only the sections asked
/// for, in that order.
std::string interfaceListText(const InterfaceKinds& kinds);

/// `interface packages`: the package names, sorted, one a line; only those with messages,
/// services or actions when `kinds` asks for one of them (the first set of the three wins).
std::string interfacePackagesText(const InterfaceKinds& kinds);

/// `interface package PKG`: "PKG/msg/Name" for each message type of the package, then
/// "PKG/srv/Name" for each service type and "PKG/action/Name" for each action, each sorted; only
/// the kinds asked for when `kinds` asks for any. An unknown package prints "Unknown package 'PKG'"
/// on stderr and exits with 1.
InterfaceOutput interfacePackageOutput(const std::string& package, const InterfaceKinds& kinds);

/// `interface proto TYPE`: the YAML of a default record of the type, inside double quotes
/// unless `noQuotes`, followed by a newline. Throws UsageError for an unknown type.
std::string interfaceProtoText(const std::string& type, bool noQuotes);

/// Declares `-m/--only-msgs`, `-s/--only-srvs` and `-a/--only-actions` on `command`, read into
/// `kinds`.
void addInterfaceKindFlags(CLI::App& command, InterfaceKinds& kinds);

}  // namespace qorCli
