#include "param/ParameterFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <yaml-cpp/yaml.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <utility>

#include "cli/CommandFailure.h"
#include "param/ParameterText.h"
#include "text/PythonText.h"

namespace qorCli {
namespace {

namespace rcl = qorROS2::rclInterfaces;

// The class of the OSError that Python's open() raises for `error`.
std::string osErrorClass(int error) {
    switch (error) {
        case ENOENT:
            return "FileNotFoundError";
        case EACCES:
        case EPERM:
            return "PermissionError";
        case EISDIR:
            return "IsADirectoryError";
        default:
            return "OSError";
    }
}

[[noreturn]] void throwOsError(int error, const std::string& path) {
    throw CommandFailure(pythonOsErrorText(error, path));
}

// A YAML mapping as PyYAML builds a Python dict of it: keys in the order they first came, a
// repeated key's last value at its first place.
struct PyDict {
    std::vector<std::pair<YAML::Node, YAML::Node>> items;
    std::map<std::string, std::size_t> places;  // each key's repr, and its place in items

    auto begin() const { return items.begin(); }
    auto end() const { return items.end(); }
};

void updateDict(PyDict& dict, const YAML::Node& key, const YAML::Node& value) {
    const auto [place, added] = dict.places.emplace(pythonTextOf(key, true), dict.items.size());
    if (added) {
        dict.items.emplace_back(key, value);
    } else {
        dict.items[place->second].second = value;
    }
}

PyDict dictOf(const YAML::Node& mapping) {
    PyDict dict;
    for (const auto& entry : mapping) {
        updateDict(dict, entry.first, entry.second);
    }
    return dict;
}

// The text of `key` when PyYAML reads it as a str.
std::optional<std::string> stringKey(const YAML::Node& key) {
    if (!key.IsScalar() && !key.IsNull()) {
        return std::nullopt;
    }
    const std::string text = pythonTextOf(key, false);
    return pythonTextOf(key, true) == pythonStrRepr(text) ? std::optional(text) : std::nullopt;
}

const YAML::Node* find(const PyDict& dict, const std::string& name) {
    for (const auto& [key, value] : dict) {
        if (stringKey(key) == name) {
            return &value;
        }
    }
    return nullptr;
}

// Nested mappings unrolled into parameters named "outer.inner", as ros2 unrolls them.
void unroll(const PyDict& dict, const std::string& prefix, std::vector<rcl::Parameter>& out) {
    for (const auto& [key, value] : dict) {
        const std::optional<std::string> name = stringKey(key);
        if (!name) {
            throw CommandFailure("Invalid parameter name " + pythonTextOf(key, true) +
                                 " in parameter file: a name is a string");
        }
        if (value.IsMap()) {
            unroll(dictOf(value), prefix + *name + ".", out);
        } else {
            out.push_back(
                rcl::Parameter{prefix + *name, parameterValueOf(pythonTextOf(value, false))});
        }
    }
}

YAML::Node parsed(const std::string& text, const std::string& path) {
    std::vector<YAML::Node> documents;
    try {
        documents = YAML::LoadAll(text);
    } catch (const YAML::Exception& error) {
        // PyYAML's place: lines and columns counted from 1.
        throw CommandFailure("yaml.YAMLError: " + error.msg + "\n  in \"" + path + "\", line " +
                             std::to_string(error.mark.line + 1) + ", column " +
                             std::to_string(error.mark.column + 1));
    }
    if (documents.size() > 1) {
        throw CommandFailure("yaml.YAMLError: expected a single document in the stream\n  in \"" +
                             path + "\"");
    }
    return documents.empty() ? YAML::Node() : documents.front();
}

}  // namespace

std::string pythonOsErrorText(int error, const std::string& path) {
    return osErrorClass(error) + ": [Errno " + std::to_string(error) + "] " + std::strerror(error) +
           ": " + pythonStrRepr(path);
}

std::string parameterFileText(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throwOsError(errno, path);
    }
    std::string text;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            const int error = got < 0 ? errno : 0;
            ::close(fd);
            if (error != 0) {
                throwOsError(error, path);
            }
            return text;
        }
        text.append(buffer, static_cast<std::size_t>(got));
    }
}

std::vector<rcl::Parameter> parametersToLoad(const std::string& text, const std::string& path,
                                             const std::string& node, bool useWildcard) {
    const YAML::Node root = parsed(text, path);
    const std::string structure = "expected same format as provided by ros2 param dump";
    if (!root.IsMap()) {
        throw CommandFailure("Invalid structure of parameter file " + pythonStrRepr(path) + ": " +
                             structure);
    }
    const PyDict file = dictOf(root);
    std::vector<std::string> keys;
    if (useWildcard && find(file, "/**") != nullptr) {
        keys.push_back("/**");
    }
    if (find(file, node) != nullptr) {
        keys.push_back(node);
    }
    if (keys.empty()) {
        std::string names;
        for (const auto& entry : file) {
            names += (names.empty() ? "" : ", ") + pythonTextOf(entry.first, true);
        }
        // Two spaces after the comma, as ros2 writes it.
        throw CommandFailure("Param file does not contain parameters for " + node +
                             ",  only for nodes: dict_keys([" + names + "])");
    }
    PyDict values;
    for (const std::string& key : keys) {
        const YAML::Node& entry = *find(file, key);
        const PyDict fields = entry.IsMap() ? dictOf(entry) : PyDict{};
        const YAML::Node* parameters = find(fields, "ros__parameters");
        // ros2 runs the node's name and its words together.
        if (parameters == nullptr || !parameters->IsMap()) {
            throw CommandFailure("Invalid structure of parameter file for node " + key + structure);
        }
        for (const auto& [name, value] : dictOf(*parameters)) {
            updateDict(values, name, value);
        }
    }
    std::vector<rcl::Parameter> out;
    unroll(values, "", out);
    return out;
}

std::string loadResultText(const std::string& name, const rcl::SetParametersResult& result,
                           bool& toErrors) {
    toErrors = !result.successful;
    return "Set parameter " + name + (result.successful ? " successful" : " failed") +
           (result.reason.empty() ? "" : ": " + result.reason) + "\n";
}

}  // namespace qorCli
