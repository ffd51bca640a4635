#include "param/ParameterText.h"

#include <yaml-cpp/yaml.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>
#include <regex>
#include <variant>
#include <vector>

#include "cli/CommandFailure.h"
#include "qorROS2/ParameterTypes.h"
#include "qorROS2/typesupport/Yaml.h"
#include "text/PythonText.h"

namespace qorCli {
namespace {

using qorROS2::rclInterfaces::ParameterValue;

// A YAML scalar as PyYAML resolves it: bool, int, float or str (None is taken as its text).
using Scalar = std::variant<bool, std::int64_t, double, std::string>;

std::string withoutUnderscores(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '_'), text.end());
    return text;
}

std::int64_t integerOf(const std::string& text) {
    std::string digits = withoutUnderscores(text);
    bool negative = false;
    if (!digits.empty() && (digits[0] == '-' || digits[0] == '+')) {
        negative = digits[0] == '-';
        digits.erase(0, 1);
    }
    int base = 10;
    if (digits.rfind("0b", 0) == 0) {
        base = 2;
        digits.erase(0, 2);
    } else if (digits.rfind("0x", 0) == 0) {
        base = 16;
        digits.erase(0, 2);
    } else if (digits.size() > 1 && digits[0] == '0') {
        base = 8;
    }
    errno = 0;
    const unsigned long long magnitude = std::strtoull(digits.c_str(), nullptr, base);
    const unsigned long long limit =
        static_cast<unsigned long long>(std::numeric_limits<std::int64_t>::max()) +
        (negative ? 1U : 0U);
    if (errno == ERANGE || magnitude > limit) {
        throw CommandFailure("Integer value '" + text + "' does not fit a parameter's 64 bits");
    }
    return negative ? static_cast<std::int64_t>(0U - magnitude)
                    : static_cast<std::int64_t>(magnitude);
}

double floatOf(const std::string& text) {
    const std::string plain = withoutUnderscores(text);
    const std::size_t dot = plain.find('.');
    const std::string tail = dot == std::string::npos ? "" : plain.substr(dot + 1);
    if (tail == "inf" || tail == "Inf" || tail == "INF") {
        return plain[0] == '-' ? -std::numeric_limits<double>::infinity()
                               : std::numeric_limits<double>::infinity();
    }
    if (tail == "nan" || tail == "NaN" || tail == "NAN") {
        return std::numeric_limits<double>::quiet_NaN();
    }
    return std::strtod(plain.c_str(), nullptr);
}

// PyYAML's implicit resolvers (YAML 1.1), without the sexagesimal forms.
Scalar resolve(const YAML::Node& node) {
    const std::string text = node.Scalar();
    if (node.Tag() == "!") {
        return text;  // quoted
    }
    static const std::regex kBool(
        "yes|Yes|YES|no|No|NO|true|True|TRUE|false|False|FALSE|on|On|ON|off|Off|OFF");
    static const std::regex kInt(
        "[-+]?0b[0-1_]+|[-+]?0[0-7_]+|[-+]?(?:0|[1-9][0-9_]*)|[-+]?0x[0-9a-fA-F_]+");
    static const std::regex kFloat(
        "[-+]?(?:[0-9][0-9_]*)\\.[0-9_]*(?:[eE][-+][0-9]+)?|\\.[0-9_]+(?:[eE][-+][0-9]+)?|"
        "[-+]?\\.(?:inf|Inf|INF)|\\.(?:nan|NaN|NAN)");
    if (std::regex_match(text, kBool)) {
        const char first = text[0];
        return first == 'y' || first == 'Y' || first == 't' || first == 'T' || text == "on" ||
               text == "On" || text == "ON";
    }
    if (std::regex_match(text, kInt)) {
        return integerOf(text);
    }
    if (std::regex_match(text, kFloat)) {
        return floatOf(text);
    }
    return text;
}

template <typename T>
bool allHold(const std::vector<Scalar>& items) {
    return std::all_of(items.begin(), items.end(),
                       [](const Scalar& item) { return std::holds_alternative<T>(item); });
}

ParameterValue stringValue(const std::string& text) {
    ParameterValue value{};
    value.type = qorROS2::PARAMETER_STRING;
    value.string_value = text;
    return value;
}

ParameterValue arrayValue(const YAML::Node& node, const std::string& text) {
    std::vector<Scalar> items;
    for (const YAML::Node& item : node) {
        if (!item.IsScalar()) {
            return stringValue(text);
        }
        items.push_back(resolve(item));
    }
    ParameterValue value{};
    if (allHold<bool>(items)) {
        value.type = qorROS2::PARAMETER_BOOL_ARRAY;
        for (const Scalar& item : items) {
            value.bool_array_value.push_back(std::get<bool>(item));
        }
    } else if (std::all_of(items.begin(), items.end(), [](const Scalar& item) {
                   // Python's bool is an int.
                   return std::holds_alternative<std::int64_t>(item) ||
                          std::holds_alternative<bool>(item);
               })) {
        value.type = qorROS2::PARAMETER_INTEGER_ARRAY;
        for (const Scalar& item : items) {
            value.integer_array_value.push_back(std::holds_alternative<bool>(item)
                                                    ? std::int64_t{std::get<bool>(item)}
                                                    : std::get<std::int64_t>(item));
        }
    } else if (allHold<double>(items)) {
        value.type = qorROS2::PARAMETER_DOUBLE_ARRAY;
        for (const Scalar& item : items) {
            value.double_array_value.push_back(std::get<double>(item));
        }
    } else if (allHold<std::string>(items)) {
        value.type = qorROS2::PARAMETER_STRING_ARRAY;
        for (const Scalar& item : items) {
            value.string_array_value.push_back(std::get<std::string>(item));
        }
    } else {
        return stringValue(text);
    }
    return value;
}

template <typename T, typename Repr>
std::string listRepr(const std::vector<T>& items, Repr repr) {
    std::string text = "[";
    for (std::size_t i = 0; i < items.size(); ++i) {
        text += (i == 0 ? "" : ", ") + repr(items[i]);
    }
    return text + "]";
}

std::string boolText(bool value) {
    return value ? "True" : "False";
}

std::string integerText(std::int64_t value) {
    return std::to_string(value);
}

}  // namespace

ParameterValue parameterValueOf(const std::string& text) {
    YAML::Node node;
    try {
        node = YAML::Load(text);
    } catch (const YAML::Exception&) {
        return stringValue(text);
    }
    if (node.IsSequence()) {
        return arrayValue(node, text);
    }
    if (!node.IsScalar()) {
        return stringValue(text);
    }
    const Scalar scalar = resolve(node);
    ParameterValue value{};
    if (const bool* flag = std::get_if<bool>(&scalar)) {
        value.type = qorROS2::PARAMETER_BOOL;
        value.bool_value = *flag;
    } else if (const std::int64_t* number = std::get_if<std::int64_t>(&scalar)) {
        value.type = qorROS2::PARAMETER_INTEGER;
        value.integer_value = *number;
    } else if (const double* real = std::get_if<double>(&scalar)) {
        value.type = qorROS2::PARAMETER_DOUBLE;
        value.double_value = *real;
    } else {
        value = stringValue(std::get<std::string>(scalar));
    }
    return value;
}

std::string pythonTextOf(const YAML::Node& node, bool repr) {
    if (node.IsNull()) {
        return "None";
    }
    if (node.IsScalar()) {
        const Scalar scalar = resolve(node);
        if (const bool* flag = std::get_if<bool>(&scalar)) {
            return boolText(*flag);
        }
        if (const std::int64_t* number = std::get_if<std::int64_t>(&scalar)) {
            return integerText(*number);
        }
        if (const double* real = std::get_if<double>(&scalar)) {
            return pythonFloatRepr(*real);
        }
        return repr ? pythonStrRepr(std::get<std::string>(scalar)) : std::get<std::string>(scalar);
    }
    std::string text;
    if (node.IsSequence()) {
        for (const YAML::Node& item : node) {
            text += (text.empty() ? "" : ", ") + pythonTextOf(item, true);
        }
        return "[" + text + "]";
    }
    for (const auto& entry : node) {
        text += (text.empty() ? "" : ", ") + pythonTextOf(entry.first, true) + ": " +
                pythonTextOf(entry.second, true);
    }
    return "{" + text + "}";
}

std::string parameterTypeName(std::uint8_t type) {
    static const char* const kNames[] = {
        "not set",    "boolean",       "integer",       "double",       "string",
        "byte array", "boolean array", "integer array", "double array", "string array"};
    return type < std::size(kNames) ? kNames[type] : "";
}

std::string parameterValueText(const ParameterValue& value, bool hideType) {
    std::string label;
    std::optional<std::string> shown;
    switch (value.type) {
        case qorROS2::PARAMETER_BOOL:
            label = "Boolean value is:";
            shown = boolText(value.bool_value);
            break;
        case qorROS2::PARAMETER_INTEGER:
            label = "Integer value is:";
            shown = integerText(value.integer_value);
            break;
        case qorROS2::PARAMETER_DOUBLE:
            label = "Double value is:";
            shown = pythonFloatRepr(value.double_value);
            break;
        case qorROS2::PARAMETER_STRING:
            label = "String value is:";
            shown = value.string_value;
            break;
        case qorROS2::PARAMETER_BYTE_ARRAY:
            label = "Byte values are:";
            shown = listRepr(value.byte_array_value, pythonByteRepr);
            break;
        case qorROS2::PARAMETER_BOOL_ARRAY:
            label = "Boolean values are:";
            shown = listRepr(value.bool_array_value, boolText);
            break;
        case qorROS2::PARAMETER_INTEGER_ARRAY:
            // rclpy holds integer and double arrays in Python's array.array.
            label = "Integer values are:";
            shown = "array('q', " + listRepr(value.integer_array_value, integerText) + ")";
            break;
        case qorROS2::PARAMETER_DOUBLE_ARRAY:
            label = "Double values are:";
            shown = "array('d', " + listRepr(value.double_array_value, pythonFloatRepr) + ")";
            break;
        case qorROS2::PARAMETER_STRING_ARRAY:
            label = "String values are:";
            shown = listRepr(value.string_array_value, pythonStrRepr);
            break;
        case qorROS2::PARAMETER_NOT_SET:
            label = "Parameter not set.";
            break;
        default:
            throw CommandFailure("Unknown parameter type '" + std::to_string(value.type) + "'");
    }
    if (hideType) {
        return (shown ? *shown : "None") + "\n";
    }
    return label + (shown ? " " + *shown : "") + "\n";
}

std::string parameterDescriptorText(const qorROS2::rclInterfaces::ParameterDescriptor& descriptor) {
    std::string text = "Parameter name: " + descriptor.name + "\n";
    text += "  Type: " + parameterTypeName(descriptor.type) + "\n";
    if (!descriptor.description.empty()) {
        text += "  Description: " + descriptor.description + "\n";
    }
    text += "  Constraints:\n";
    if (descriptor.read_only) {
        text += "    Read only: true\n";
    }
    // ros2 shows the first range, floating-point ones before integer ones.
    const auto rangeText = [](const auto& range, auto repr) {
        std::string lines = "    Min value: " + repr(range.from_value) + "\n" +
                            "    Max value: " + repr(range.to_value) + "\n";
        if (range.step != 0) {
            lines += "    Step: " + repr(range.step) + "\n";
        }
        return lines;
    };
    if (!descriptor.floating_point_range.empty()) {
        text += rangeText(descriptor.floating_point_range.front(), pythonFloatRepr);
    } else if (!descriptor.integer_range.empty()) {
        text += rangeText(descriptor.integer_range.front(),
                          [](auto number) { return std::to_string(number); });
    }
    if (!descriptor.additional_constraints.empty()) {
        text += "    Additional constraints: " + descriptor.additional_constraints + "\n";
    }
    return text;
}

namespace {

namespace yaml = qorROS2::typesupport;

// A mapping being dumped: values already written as YAML (a scalar, or block lines), or nested
// mappings.
struct DumpNode {
    std::optional<std::string> scalar;                 // "3", "base", "null"
    std::optional<std::vector<std::string>> sequence;  // each item's text, written "- item"
    std::map<std::string, DumpNode> children;
};

template <typename T, typename Text>
std::vector<std::string> itemsOf(const std::vector<T>& items, Text text) {
    std::vector<std::string> out;
    for (const T& item : items) {
        out.push_back(text(item));
    }
    return out;
}

void setDumped(DumpNode& node, const ParameterValue& value, std::size_t indent) {
    const auto stringText = [indent](const std::string& text) {
        return yaml::yamlString(text, yaml::YamlPlace::block, indent + 2);
    };
    switch (value.type) {
        case qorROS2::PARAMETER_BOOL:
            node.scalar = value.bool_value ? "true" : "false";
            return;
        case qorROS2::PARAMETER_INTEGER:
            node.scalar = std::to_string(value.integer_value);
            return;
        case qorROS2::PARAMETER_DOUBLE:
            node.scalar = yaml::yamlFloat(value.double_value);
            return;
        case qorROS2::PARAMETER_STRING:
            node.scalar = stringText(value.string_value);
            return;
        case qorROS2::PARAMETER_BOOL_ARRAY:
            node.sequence =
                itemsOf(value.bool_array_value, [](bool item) { return item ? "true" : "false"; });
            return;
        case qorROS2::PARAMETER_INTEGER_ARRAY:
            node.sequence = itemsOf(value.integer_array_value,
                                    [](std::int64_t item) { return std::to_string(item); });
            return;
        case qorROS2::PARAMETER_DOUBLE_ARRAY:
            node.sequence = itemsOf(value.double_array_value, yaml::yamlFloat);
            return;
        case qorROS2::PARAMETER_STRING_ARRAY:
            node.sequence = itemsOf(value.string_array_value, stringText);
            return;
        case qorROS2::PARAMETER_BYTE_ARRAY:
            throw CommandFailure(
                "cannot dump byte array parameters: ros2 writes them as Python "
                "bytes objects");
        default:
            node.scalar = "null";
            return;
    }
}

void writeDumped(const std::map<std::string, DumpNode>& mapping, std::size_t indent,
                 std::string& text) {
    const std::string pad(indent, ' ');
    for (const auto& [key, node] : mapping) {
        text += pad + yaml::yamlString(key, yaml::YamlPlace::block, indent + 2) + ":";
        if (node.scalar) {
            text += " " + *node.scalar + "\n";
        } else if (node.sequence && node.sequence->empty()) {
            text += " []\n";
        } else if (node.sequence) {
            // PyYAML writes a sequence in a mapping at the key's own indentation.
            text += "\n";
            for (const std::string& item : *node.sequence) {
                text += pad + "- " + item + "\n";
            }
        } else if (node.children.empty()) {
            text += " {}\n";
        } else {
            text += "\n";
            writeDumped(node.children, indent + 2, text);
        }
    }
}

}  // namespace

std::string parameterDumpText(const std::string& node,
                              const std::vector<DumpedParameter>& parameters) {
    std::map<std::string, DumpNode> root;
    DumpNode& values = root[node].children["ros__parameters"];
    constexpr std::size_t kValuesIndent = 4;
    for (const DumpedParameter& parameter : parameters) {
        DumpNode* at = &values;
        std::size_t indent = kValuesIndent;
        std::string rest = parameter.name;
        for (std::size_t dot = rest.find('.'); dot != std::string::npos; dot = rest.find('.')) {
            at = &at->children[rest.substr(0, dot)];
            rest.erase(0, dot + 1);
            indent += 2;
        }
        DumpNode& leaf = at->children[rest];
        if (parameter.value) {
            setDumped(leaf, *parameter.value, indent);
        } else {
            leaf.scalar = yaml::yamlString("# Parameter not set");
        }
    }
    std::string text;
    writeDumped(root, 0, text);
    return text + "\n";
}

}  // namespace qorCli
