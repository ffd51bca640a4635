#include "interface/InterfaceVerbs.h"

#include <algorithm>
#include <set>

#include "cli/CommandOptions.h"
#include "interface/InterfacePrototype.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "types/MessageTypes.h"

namespace qorCli {

namespace {

std::string packageOf(const std::string& typeName) {
    return typeName.substr(0, typeName.find('/'));
}

// The full names of the interfaces of the kinds asked for (all when none is): the messages, the
// services, then the actions, each sorted.
std::vector<std::string> interfaceNames(const InterfaceKinds& kinds) {
    std::vector<std::string> names;
    if (!kinds.any() || kinds.messages) {
        for (const qorROS2::typesupport::TypeSupport* type : qorROS2::typesupport::typeSupports()) {
            names.push_back(type->rosName());
        }
    }
    if (!kinds.any() || kinds.services) {
        for (const qorROS2::typesupport::ServiceTypeSupport* service :
             qorROS2::typesupport::serviceTypeSupports()) {
            names.push_back(service->rosName());
        }
    }
    if (!kinds.any() || kinds.actions) {
        for (const qorROS2::typesupport::ActionTypeSupport* action :
             qorROS2::typesupport::actionTypeSupports()) {
            names.push_back(action->rosName());
        }
    }
    return names;
}

std::vector<std::string> packagesOf(const std::vector<std::string>& names) {
    std::set<std::string> packages;
    for (const std::string& name : names) {
        packages.insert(packageOf(name));
    }
    return std::vector<std::string>(packages.begin(), packages.end());
}

}  // namespace

std::vector<std::string> interfacePackages() {
    return packagesOf(interfaceNames(InterfaceKinds{}));
}

std::string interfaceListText(const InterfaceKinds& kinds) {
    std::string text;
    if (!kinds.any() || kinds.messages) {
        text += "Messages:\n";
        for (const qorROS2::typesupport::TypeSupport* type : qorROS2::typesupport::typeSupports()) {
            text += "    " + type->rosName() + "\n";
        }
    }
    if (!kinds.any() || kinds.services) {
        text += "Services:\n";
        for (const qorROS2::typesupport::ServiceTypeSupport* service :
             qorROS2::typesupport::serviceTypeSupports()) {
            text += "    " + service->rosName() + "\n";
        }
    }
    if (!kinds.any() || kinds.actions) {
        text += "Actions:\n";
        for (const qorROS2::typesupport::ActionTypeSupport* action :
             qorROS2::typesupport::actionTypeSupports()) {
            text += "    " + action->rosName() + "\n";
        }
    }
    return text;
}

std::string interfacePackagesText(const InterfaceKinds& kinds) {
    // ros2 lists only the packages of the first kind asked for.
    InterfaceKinds first;
    first.messages = kinds.messages;
    first.services = !kinds.messages && kinds.services;
    first.actions = !kinds.messages && !kinds.services && kinds.actions;
    std::string text;
    for (const std::string& package : packagesOf(interfaceNames(first))) {
        text += package + "\n";
    }
    return text;
}

InterfaceOutput interfacePackageOutput(const std::string& package, const InterfaceKinds& kinds) {
    InterfaceOutput output;
    const std::vector<std::string> packages = interfacePackages();
    const bool known = std::binary_search(packages.begin(), packages.end(), package);
    for (const std::string& name : interfaceNames(kinds)) {
        if (packageOf(name) == package) {
            output.out += name + "\n";
        }
    }
    if (!known) {
        output.err = "Unknown package '" + package + "'\n";
        output.exitCode = 1;
    }
    return output;
}

std::string interfaceProtoText(const std::string& type, bool noQuotes) {
    const std::string yaml = interfacePrototype(knownTypeSupport(type));
    return noQuotes ? yaml + "\n" : "\"" + yaml + "\"\n";
}

void addInterfaceKindFlags(CLI::App& command, InterfaceKinds& kinds) {
    addFlag(command, "-m,--only-msgs", kinds.messages, "Print out only the messages");
    addFlag(command, "-s,--only-srvs", kinds.services, "Print out only the services");
    addFlag(command, "-a,--only-actions", kinds.actions, "Print out only the actions");
}

}  // namespace qorCli
