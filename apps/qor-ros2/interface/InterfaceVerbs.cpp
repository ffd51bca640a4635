#include "interface/InterfaceVerbs.h"

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

}  // namespace

std::vector<std::string> interfacePackages() {
    std::set<std::string> packages;
    for (const qorROS2::typesupport::TypeSupport* type : qorROS2::typesupport::typeSupports()) {
        packages.insert(packageOf(type->rosName()));
    }
    return std::vector<std::string>(packages.begin(), packages.end());
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
    }
    if (!kinds.any() || kinds.actions) {
        text += "Actions:\n";
    }
    return text;
}

std::string interfacePackagesText(const InterfaceKinds& kinds) {
    // ros2 lists only the packages of the first kind asked for; every package here holds
    // messages and none holds a service or an action.
    if (!kinds.messages && (kinds.services || kinds.actions)) {
        return "";
    }
    std::string text;
    for (const std::string& package : interfacePackages()) {
        text += package + "\n";
    }
    return text;
}

InterfaceOutput interfacePackageOutput(const std::string& package, const InterfaceKinds& kinds) {
    InterfaceOutput output;
    bool known = false;
    for (const qorROS2::typesupport::TypeSupport* type : qorROS2::typesupport::typeSupports()) {
        if (packageOf(type->rosName()) == package) {
            known = true;
            if (!kinds.any() || kinds.messages) {
                output.out += type->rosName() + "\n";
            }
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
