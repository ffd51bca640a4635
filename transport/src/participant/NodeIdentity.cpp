#include "qorROS2/NodeIdentity.h"

#include <cctype>
#include <cerrno>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "participant/NetworkSettings.h"
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

// The rule of a remap argument, "__node:=NAME", split at ":=".
std::pair<std::string, std::string> splitRule(const std::string& rule) {
    const auto at = rule.find(":=");
    if (at == std::string::npos || at == 0) {
        throw std::invalid_argument("invalid ROS argument \"" + rule +
                                    "\": a remap rule has the form FROM:=TO");
    }
    return {rule.substr(0, at), rule.substr(at + 2)};
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
    std::vector<std::string> kept;
    NodeIdentity renamed = nodeIdentity();
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
                throw std::invalid_argument("invalid ROS argument \"" + argument +
                                            "\": a remap rule FROM:=TO must follow it");
            }
            const auto [from, to] = splitRule(arguments[++i]);
            if (from == "__node" || from == "__name") {
                checkNodeName(to);
                renamed.name = to;
            } else if (from == "__ns") {
                checkNamespace(to);
                renamed.nameSpace = to;
            } else {
                throw std::invalid_argument("unsupported ROS argument \"" + arguments[i] +
                                            "\": only __node:= and __ns:= can be remapped");
            }
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
                                        "\": only -r __node:=NAME, -r __ns:=/NS and --enclave "
                                        "/NAME are known");
        }
    }
    if (!enclave.empty()) {
        transport::participant::chooseEnclave(enclave);
    }
    const NodeIdentity current = nodeIdentity();
    if (renamed.name != current.name || renamed.nameSpace != current.nameSpace) {
        setNodeIdentity(renamed.name, renamed.nameSpace);
    }
    arguments = std::move(kept);
}

}  // namespace qorROS2
