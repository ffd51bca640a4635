#include "ParameterArguments.h"

#include <yaml-cpp/yaml.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <regex>
#include <stdexcept>

#include "qorROS2/ROS2ParameterServer.h"

namespace qorDemo {
namespace {

using Value = ParameterArguments::Value;

// A fault found while reading one rule or file, in rcl's words; the caller says which.
struct RuleError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

const char* const kParamsKey = "ros__parameters";

int lineOf(const YAML::Node& node) {
    return node.Mark().line + 1;
}

bool isOneOf(const std::string& text, std::initializer_list<const char*> words) {
    for (const char* word : words) {
        if (text == word) {
            return true;
        }
    }
    return false;
}

// A scalar typed as rcl's YAML parser types it: a plain bool word, then a whole number in C's
// notation (strtoll, base 0), then a floating-point number (strtod, and YAML's .inf and .nan),
// else a string; a quoted scalar is always a string.
Value scalarValue(const std::string& text, bool quoted) {
    Value value{};
    if (!quoted) {
        if (isOneOf(text,
                    {"Y", "y", "yes", "Yes", "YES", "true", "True", "TRUE", "on", "On", "ON"})) {
            return qorROS2::parameterValue(true);
        }
        if (isOneOf(text,
                    {"N", "n", "no", "No", "NO", "false", "False", "FALSE", "off", "Off", "OFF"})) {
            return qorROS2::parameterValue(false);
        }
        char* end = nullptr;
        errno = 0;
        const long long whole = std::strtoll(text.c_str(), &end, 0);
        if (errno == 0 && !text.empty() && end == text.c_str() + text.size()) {
            return qorROS2::parameterValue(static_cast<std::int64_t>(whole));
        }
        const char* number = text.c_str();
        if (isOneOf(text, {".nan", ".NaN", ".NAN", ".inf", ".Inf", ".INF", "+.inf", "+.Inf",
                           "+.INF", "-.inf", "-.Inf", "-.INF"})) {
            while (std::isalpha(static_cast<unsigned char>(*number)) == 0) {
                ++number;
            }
        }
        errno = 0;
        end = nullptr;
        double real = std::strtod(number, &end);
        if (number != text.c_str() && text.front() == '-') {
            real = -real;
        }
        if (errno == 0 && !text.empty() && end != number && *end == '\0') {
            return qorROS2::parameterValue(real);
        }
    }
    return qorROS2::parameterValue(text);
}

// A scalar is quoted when yaml-cpp gives it the non-specific tag "!".
bool quotedScalar(const YAML::Node& node) {
    return node.Tag() == "!";
}

// Appends `item` to the array of `sequence`, whose type the first item chose.
void appendItem(Value& sequence, const Value& item, int line) {
    static const char* const kWords[] = {"", "bool", "integer", "double", "string"};
    const std::uint8_t arrayType = static_cast<std::uint8_t>(item.type + 5);
    if (sequence.type == qorROS2::PARAMETER_NOT_SET) {
        sequence.type = arrayType;
    } else if (sequence.type != arrayType) {
        throw RuleError("Sequence should be of same type. Value type '" +
                        std::string(kWords[item.type]) + "' do not belong at line_num " +
                        std::to_string(line));
    }
    switch (item.type) {
        case qorROS2::PARAMETER_BOOL:
            sequence.bool_array_value.push_back(item.bool_value);
            break;
        case qorROS2::PARAMETER_INTEGER:
            sequence.integer_array_value.push_back(item.integer_value);
            break;
        case qorROS2::PARAMETER_DOUBLE:
            sequence.double_array_value.push_back(item.double_value);
            break;
        default:
            sequence.string_array_value.push_back(item.string_value);
            break;
    }
}

// A parameter's value: a scalar or a sequence of scalars of one type.
Value valueOf(const YAML::Node& node) {
    if (node.IsScalar()) {
        if (node.Scalar().empty() && !quotedScalar(node)) {
            throw RuleError("No value at line " + std::to_string(lineOf(node)));
        }
        return scalarValue(node.Scalar(), quotedScalar(node));
    }
    if (node.IsSequence()) {
        Value sequence{};
        for (const YAML::Node& item : node) {
            if (!item.IsScalar()) {
                throw RuleError(
                    "Sequences can only be values and not keys in params. Error at "
                    "line " +
                    std::to_string(lineOf(item)));
            }
            appendItem(sequence, scalarValue(item.Scalar(), quotedScalar(item)), lineOf(item));
        }
        if (sequence.type == qorROS2::PARAMETER_NOT_SET) {
            throw RuleError("No value at line " + std::to_string(lineOf(node)));
        }
        return sequence;
    }
    throw RuleError("No value at line " + std::to_string(lineOf(node)));
}

bool wordCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
}

// Checks a node key as rcl does before it keeps one: "/**", "/*", or a namespace and a node
// name, each part a word or a wildcard.
void validateNodeKey(const std::string& key) {
    if (key == "/**" || key == "/*") {
        return;
    }
    const std::size_t slash = key.rfind('/');
    const std::string name = slash == std::string::npos ? key : key.substr(slash + 1);
    if (name.empty()) {
        throw RuleError("node name must not be empty");
    }
    if (name != "*" && name != "**") {
        for (const char character : name) {
            if (!wordCharacter(character)) {
                throw RuleError(
                    "node name must not contain characters other than alphanumerics or '_'");
            }
        }
        if (std::isdigit(static_cast<unsigned char>(name.front())) != 0) {
            throw RuleError("node name must not start with a number");
        }
    }
    if (slash == std::string::npos) {
        return;
    }
    const std::string nameSpace = key.substr(0, slash + 1);
    if (nameSpace.find("//") != std::string::npos) {
        throw RuleError((nameSpace.front() == '/' ? nameSpace : "/" + nameSpace) +
                        " contains repeated forward slash");
    }
    for (const char character : nameSpace) {
        if (!wordCharacter(character) && character != '/' && character != '*') {
            throw RuleError(
                "namespace must not contain characters other than alphanumerics, '_', or '/'");
        }
    }
}

// rclcpp's match of a node key against a node: "/*" stands for one name, "/**" for any number.
bool nodeKeyMatches(std::string key, const std::string& nodeFullName) {
    if (key.empty() || key.front() != '/') {
        key.insert(0, "/");
    }
    std::string pattern;
    for (std::size_t at = 0; at < key.size();) {
        if (key.compare(at, 2, "/*") == 0) {
            pattern += "(/\\w+)";
            at += 2;
        } else {
            pattern += key[at];
            ++at;
        }
    }
    return std::regex_match(nodeFullName, std::regex(pattern));
}

}  // namespace

// Reads rules and files into the arguments' table.
struct ParameterArgumentsReader {
    ParameterArguments& into;

    // "NODE:NAME:=VALUE" or "NAME:=VALUE", as _rcl_parse_param_rule reads it.
    void rule(const std::string& text) const {
        const std::size_t separator = text.find(":=");
        if (separator == std::string::npos) {
            throw RuleError("Expected ':=' after the parameter name");
        }
        std::string node = "/**";
        std::string name = text.substr(0, separator);
        const std::size_t colon = name.find(':');
        if (colon != std::string::npos) {
            node = name.substr(0, colon);
            name = name.substr(colon + 1);
            validateNodeKey(node);
        }
        if (name.empty() || name.front() == '.' || name.back() == '.') {
            throw RuleError("Expecting token or wildcard");
        }
        for (const char character : name) {
            if (character == '*') {
                throw RuleError("Wildcard '*' is not implemented");
            }
            if (!wordCharacter(character) && character != '.' && character != '/') {
                throw RuleError("Expecting token or wildcard");
            }
        }
        const std::string valueText = text.substr(separator + 2);
        if (valueText.empty()) {
            throw RuleError("No value after ':='");
        }
        YAML::Node value;
        try {
            value = YAML::Load(valueText);
        } catch (const YAML::Exception&) {
            throw RuleError("Error parsing an event");
        }
        if (value.IsMap()) {
            throw RuleError("Unknown YAML event");
        }
        into.set(node, name, valueOf(value));
    }

    // A parameters file: node keys, nested or joined by '/', above "ros__parameters", then
    // parameter names, nested maps joined by '.'.
    void file(const std::string& path) const {
        std::ifstream stream(path);
        if (!stream) {
            throw RuleError("Error opening YAML file");
        }
        YAML::Node document;
        try {
            document = YAML::Load(stream);
        } catch (const YAML::ParserException& error) {
            throw RuleError("Error parsing a event near line " +
                            std::to_string(error.mark.line + 1));
        }
        if (document.IsNull()) {
            return;
        }
        nodeLevel(document, "");
    }

    void nodeLevel(const YAML::Node& map, const std::string& nodeKey) const {
        if (!map.IsMap()) {
            throw RuleError(map.IsSequence()
                                ? "Sequences can only be values and not keys in "
                                  "params. Error at line " +
                                      std::to_string(lineOf(map))
                                : "Cannot have a value before " + std::string(kParamsKey) +
                                      " at line " + std::to_string(lineOf(map)));
        }
        for (const auto& entry : map) {
            const std::string key = keyOf(entry.first);
            if (key.rfind(kParamsKey, 0) == 0) {
                if (nodeKey.empty()) {
                    throw RuleError("There are no node names before " + std::string(kParamsKey) +
                                    " at line " + std::to_string(lineOf(entry.first)));
                }
                validateNodeKey(nodeKey);
                if (!entry.second.IsNull()) {
                    parameterLevel(entry.second, nodeKey, "");
                }
            } else {
                const bool separated = nodeKey.empty() || nodeKey.back() == '/';
                nodeLevel(entry.second, nodeKey + (separated ? "" : "/") + key);
            }
        }
    }

    void parameterLevel(const YAML::Node& map, const std::string& nodeKey,
                        const std::string& prefix) const {
        if (!map.IsMap()) {
            throw RuleError("Cannot have a value before " + std::string(kParamsKey) + " at line " +
                            std::to_string(lineOf(map)));
        }
        for (const auto& entry : map) {
            const std::string name = (prefix.empty() ? "" : prefix + ".") + keyOf(entry.first);
            if (entry.second.IsMap()) {
                parameterLevel(entry.second, nodeKey, name);
            } else {
                into.set(nodeKey, name, valueOf(entry.second));
            }
        }
    }

    static std::string keyOf(const YAML::Node& key) {
        if (!key.IsScalar()) {
            throw RuleError("Sequences cannot be key at line " + std::to_string(lineOf(key)));
        }
        if (key.Scalar().empty()) {
            throw RuleError("No key at line " + std::to_string(lineOf(key)));
        }
        return key.Scalar();
    }
};

void ParameterArguments::set(const std::string& node, const std::string& name, Value value) {
    auto nodeEntry = m_nodes.begin();
    while (nodeEntry != m_nodes.end() && nodeEntry->first != node) {
        ++nodeEntry;
    }
    if (nodeEntry == m_nodes.end()) {
        m_nodes.emplace_back(node, NodeValues{});
        nodeEntry = m_nodes.end() - 1;
    }
    for (auto& parameter : nodeEntry->second) {
        if (parameter.first == name) {
            parameter.second = std::move(value);
            return;
        }
    }
    nodeEntry->second.emplace_back(name, std::move(value));
}

ParameterArguments ParameterArguments::take(std::vector<std::string>& arguments) {
    ParameterArguments read;
    const ParameterArgumentsReader reader{read};
    std::vector<std::string> left;
    bool inRosArguments = false;
    // Reads the value after the flag at `i` by `readValue`; rcl's words name what failed.
    const auto readFlag = [&](std::size_t& i, const char* missing, const char* what,
                              auto readValue) {
        const std::string& flag = arguments[i];
        if (i + 1 == arguments.size()) {
            throw std::invalid_argument("Couldn't parse trailing " + flag + " flag. " + missing);
        }
        const std::string& value = arguments[++i];
        try {
            readValue(value);
        } catch (const RuleError& error) {
            throw std::invalid_argument(std::string("Couldn't parse ") + what + ": '" + flag + " " +
                                        value + "'. Error: " + error.what());
        }
    };
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (argument == "--ros-args") {
            inRosArguments = true;
        } else if (inRosArguments && argument == "--") {
            inRosArguments = false;
        } else if (inRosArguments && (argument == "-p" || argument == "--param")) {
            readFlag(i, "No parameter override rule found.", "parameter override rule",
                     [&](const std::string& rule) { reader.rule(rule); });
            continue;
        } else if (inRosArguments && argument == "--params-file") {
            readFlag(i, "No file path provided.", "params file",
                     [&](const std::string& path) { reader.file(path); });
            continue;
        }
        left.push_back(argument);
    }
    arguments = std::move(left);
    return read;
}

std::map<std::string, Value> ParameterArguments::overridesFor(
    const std::string& nodeFullName) const {
    std::map<std::string, Value> overrides;
    for (const auto& [node, values] : m_nodes) {
        if (!nodeKeyMatches(node, nodeFullName)) {
            continue;
        }
        for (const auto& [name, value] : values) {
            overrides[name] = value;
        }
    }
    return overrides;
}

}  // namespace qorDemo
