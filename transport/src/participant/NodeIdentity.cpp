#include "qorROS2/NodeIdentity.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "participant/NetworkSettings.h"
#include "participant/RemapRules.h"
#include "participant/TopicLease.h"

namespace qorROS2 {
namespace {

bool isNameCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// ROS 2 refuses longer node names; its own limit leaves room for the namespace in DDS names.
constexpr std::size_t kMaxNodeNameLength = 255;

// Throws when `name` is not a valid node name, with the reason in ROS 2's terms.
void checkNodeName(const std::string& name) {
    const std::string what = "invalid node name \"" + name + "\": ";
    if (name.empty()) {
        throw std::invalid_argument(what + "a node name must not be empty");
    }
    if (name.size() > kMaxNodeNameLength) {
        throw std::invalid_argument(what + "a node name has at most 255 characters");
    }
    for (char c : name) {
        if (!isNameCharacter(c)) {
            throw std::invalid_argument(what + "a node name holds only letters, digits and '_'");
        }
    }
    if (isDigit(name[0])) {
        throw std::invalid_argument(what + "a node name must not start with a digit");
    }
}

// Throws when `name` is not a valid absolute namespace: `what` starts the error, `noun` names
// such a name in its reasons. Enclave names follow the rules of namespaces, as in rcl.
void checkAbsoluteName(const std::string& name, const std::string& what, const std::string& noun) {
    const std::string error = what + " \"" + name + "\": ";
    if (name.empty() || name[0] != '/') {
        throw std::invalid_argument(error + noun + " starts with '/'");
    }
    if (name == "/") {
        return;
    }
    if (name.back() == '/') {
        throw std::invalid_argument(error + noun + " must not end with '/'");
    }
    std::size_t tokenStart = 1;
    for (std::size_t i = 1; i <= name.size(); ++i) {
        if (i < name.size() && name[i] != '/') {
            if (!isNameCharacter(name[i])) {
                throw std::invalid_argument(error + noun +
                                            " holds only letters, digits, '_' and '/'");
            }
            continue;
        }
        if (i == tokenStart) {
            throw std::invalid_argument(error + noun + " must not hold \"//\"");
        }
        if (isDigit(name[tokenStart])) {
            throw std::invalid_argument(error + "a part of " + noun +
                                        " must not start with a digit");
        }
        tokenStart = i + 1;
    }
}

void checkNamespace(const std::string& nameSpace) {
    checkAbsoluteName(nameSpace, "invalid node namespace", "a namespace");
}

std::string programName() {
    // glibc keeps the base name of argv[0].
    return program_invocation_short_name != nullptr ? program_invocation_short_name : "";
}

struct IdentityStore {
    std::mutex mutex;
    NodeIdentity identity{validNodeName(programName()), "/"};
};

IdentityStore& store() {
    // Never destroyed: endpoints held by other statics may announce themselves while the
    // process exits.
    static IdentityStore* const instance = new IdentityStore();
    return *instance;
}

}  // namespace

std::string NodeIdentity::fullName() const {
    return nameSpace == "/" ? "/" + name : nameSpace + "/" + name;
}

NodeIdentity nodeIdentity() {
    IdentityStore& all = store();
    std::lock_guard<std::mutex> lock(all.mutex);
    return all.identity;
}

void setNodeIdentity(const std::string& name, const std::string& nameSpace) {
    checkNodeName(name);
    checkNamespace(nameSpace);
    {
        IdentityStore& all = store();
        std::lock_guard<std::mutex> lock(all.mutex);
        all.identity = NodeIdentity{name, nameSpace};
    }
    transport::participant::reannounceNodes();
}

std::string validNodeName(const std::string& anyName) {
    std::string name = anyName.substr(0, kMaxNodeNameLength - 1);
    for (char& c : name) {
        if (!isNameCharacter(c)) {
            c = '_';
        }
    }
    if (name.empty() || isDigit(name[0])) {
        name.insert(name.begin(), '_');
    }
    return name;
}

void applyRosArguments(std::vector<std::string>& arguments) {
    using transport::participant::RemapRule;
    std::vector<std::string> kept;
    std::vector<RemapRule> rules;
    std::string enclave;
    bool inRosArguments = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (!inRosArguments) {
            if (argument == "--ros-args") {
                inRosArguments = true;
            } else {
                kept.push_back(argument);
            }
            continue;
        }
        if (argument == "--") {
            inRosArguments = false;
        } else if (argument == "--ros-args") {
            // A second "--ros-args" continues the same list, as in ROS 2.
        } else if (argument == "-r" || argument == "--remap") {
            if (i + 1 == arguments.size()) {
                throw std::invalid_argument("Couldn't parse trailing " + argument +
                                            " flag. No remap rule found.");
            }
            rules.push_back(transport::participant::parseRemapRule(argument, arguments[i + 1]));
            ++i;
        } else if (argument == "-e" || argument == "--enclave") {
            if (i + 1 == arguments.size()) {
                throw std::invalid_argument("invalid ROS argument \"" + argument +
                                            "\": an enclave name must follow it");
            }
            // The last one wins, as in rcl.
            enclave = arguments[++i];
            checkAbsoluteName(enclave, "invalid enclave name", "an enclave name");
        } else {
            throw std::invalid_argument("unsupported ROS argument \"" + argument +
                                        "\": only -r FROM:=TO and --enclave /NAME are known");
        }
    }
    // As rcl names a node: the first rule for its name wins, then the first rule for its
    // namespace, a node-targeted one matching the new name.
    const NodeIdentity current = nodeIdentity();
    NodeIdentity renamed = current;
    renamed.name = transport::participant::remapName(rules, RemapRule::NodeName, "", current.name,
                                                     current.nameSpace)
                       .value_or(current.name);
    renamed.nameSpace = transport::participant::remapName(rules, RemapRule::Namespace, "",
                                                          renamed.name, current.nameSpace)
                            .value_or(current.nameSpace);
    checkNodeName(renamed.name);
    checkNamespace(renamed.nameSpace);
    if (!enclave.empty()) {
        transport::participant::chooseEnclave(enclave);
    }
    const auto isNameRule = [](const RemapRule& rule) {
        return (rule.kinds & (RemapRule::Topic | RemapRule::Service)) != 0;
    };
    rules.erase(std::remove_if(rules.begin(), rules.end(),
                               [&](const RemapRule& rule) { return !isNameRule(rule); }),
                rules.end());
    transport::participant::setProcessRemapRules(std::move(rules));
    if (renamed.name != current.name || renamed.nameSpace != current.nameSpace) {
        setNodeIdentity(renamed.name, renamed.nameSpace);
    }
    arguments = std::move(kept);
}

}  // namespace qorROS2
