// Fills a record from YAML values written as for `ros2 topic pub`: a mapping of field names,
// nested mappings for nested records, sequences for arrays. As ros2's pub does since Humble, a
// std_msgs/Header given as `auto` and a builtin_interfaces/Time given as `now` can be stamps to
// set as each message is sent.

#include <yaml-cpp/yaml.h>

#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "KindRanges.h"
#include "qorROS2/typesupport/Yaml.h"

namespace qorROS2::typesupport {

namespace {

// `type` ("int32", "uint8", "float64") with the article its sound takes: "an int32", "a uint8".
std::string withArticle(const std::string& type) {
    const bool vowel = !type.empty() && std::string("aeio").find(type[0]) != std::string::npos;
    return (vowel ? "an " : "a ") + type;
}

[[noreturn]] void badValue(const std::string& path, const std::string& expected,
                           const YAML::Node& node) {
    std::string got = "a mapping";
    if (node.IsScalar()) {
        got = "'" + node.Scalar() + "'";
    } else if (node.IsSequence()) {
        got = "a sequence";
    } else if (node.IsNull()) {
        got = "nothing";
    }
    throw TypeSupportError("field '" + path + "': expected " + expected + ", got " + got);
}

// An integer within `range`, written in decimal with an optional sign.
bool parseInteger(const std::string& text, const detail::IntegerRange& range, Scalar& out) {
    const std::string digits = !text.empty() && text[0] == '+' ? text.substr(1) : text;
    const char* end = digits.data() + digits.size();
    if (range.lowest < 0) {
        std::int64_t value = 0;
        const auto result = std::from_chars(digits.data(), end, value);
        if (result.ec != std::errc() || result.ptr != end || value < range.lowest ||
            (value > 0 && static_cast<std::uint64_t>(value) > range.highest)) {
            return false;
        }
        out = value;
        return true;
    }
    std::uint64_t value = 0;
    const auto result = std::from_chars(digits.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || value > range.highest) {
        return false;
    }
    out = value;
    return true;
}

bool parseFloat(const std::string& text, double& out) {
    if (text == ".inf" || text == "+.inf" || text == ".Inf" || text == ".INF") {
        out = std::numeric_limits<double>::infinity();
        return true;
    }
    if (text == "-.inf" || text == "-.Inf" || text == "-.INF") {
        out = -std::numeric_limits<double>::infinity();
        return true;
    }
    if (text == ".nan" || text == ".NaN" || text == ".NAN") {
        out = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])) != 0) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    out = std::strtod(text.c_str(), &end);
    // Only decimal numbers: strtod would also take "inf", "nan" and hexadecimal.
    const bool decimal = text.find_first_of("xXiInN") == std::string::npos;
    return decimal && errno == 0 && end == text.c_str() + text.size();
}

// The code of `text` when it is one character of code 0 to 255, as echo and proto write a byte
// or a char: a single byte below 0x80, or the two bytes that UTF-8 gives a code from 0x80.
bool parseCharacter(const std::string& text, std::uint64_t& out) {
    if (text.size() == 1) {
        out = static_cast<unsigned char>(text[0]);
        return true;
    }
    const auto lead = text.size() == 2 ? static_cast<unsigned char>(text[0]) : 0U;
    const auto next = text.size() == 2 ? static_cast<unsigned char>(text[1]) : 0U;
    if ((lead == 0xC2 || lead == 0xC3) && (next & 0xC0U) == 0x80U) {
        out = ((lead & 0x1FU) << 6U) | (next & 0x3FU);
        return true;
    }
    return false;
}

// Echo and proto write a byte as its character ("\0", 'A') and a char as its code: a plain
// number is the code, a quoted value or any other single character is the character itself.
bool parseOctet(const YAML::Node& node, const std::string& text, std::uint64_t& code) {
    const bool quoted = node.Tag() == "!";
    Scalar number;
    if (!quoted && parseInteger(text, detail::rangeOf(FieldKind::uint8), number)) {
        code = std::get<std::uint64_t>(number);
        return true;
    }
    return parseCharacter(text, code);
}

// The value of a scalar node of `source`. yaml-cpp (0.7) reads a single-quoted scalar of line
// breaks alone, which is how PyYAML and the writer here put "\n" ('<break><break>  '), as empty;
// YAML folds its first break away, or into a space when it is the only one, and keeps the others.
std::string scalarOf(const YAML::Node& node, const std::string& source) {
    const std::size_t at = static_cast<std::size_t>(node.Mark().pos);
    if (!node.Scalar().empty() || node.Tag() != "!" || at >= source.size() || source[at] != '\'') {
        return node.Scalar();
    }
    std::size_t breaks = 0;
    std::size_t end = at + 1;
    for (; end < source.size() && std::string(" \t\r\n").find(source[end]) != std::string::npos;
         ++end) {
        breaks += source[end] == '\n' ? 1U : 0U;
    }
    if (breaks == 0 || end >= source.size() || source[end] != '\'') {
        return node.Scalar();
    }
    return breaks == 1 ? std::string(" ") : std::string(breaks - 1, '\n');
}

class YamlReader {
  public:
    YamlReader(const YamlReadOptions& options, const std::string& source)
        : m_options(options), m_source(source) {}

    void readRecord(const YAML::Node& node, const RecordView& record, const std::string& path) {
        if (node.IsNull()) {
            return;
        }
        const std::string typeName = record.description().shortName();
        if (!node.IsMap()) {
            if (path.empty()) {
                throw TypeSupportError("the values must be a YAML mapping of the fields of " +
                                       typeName + ", like '{field: value}'");
            }
            badValue(path, "a mapping of the fields of " + typeName, node);
        }
        for (const auto& entry : node) {
            const std::string key = entry.first.IsScalar() ? entry.first.Scalar() : "?";
            if (!record.findField(key)) {
                // In Python's words, as ros2 reports the attribute it could not set.
                throw TypeSupportError("'" + typeName.substr(typeName.rfind('/') + 1) +
                                       "' object has no attribute '" + key + "'");
            }
        }
        for (std::size_t index = 0; index < record.fieldCount(); ++index) {
            const FieldView field = record.field(index);
            const YAML::Node value = node[field.name()];
            if (value.IsDefined() && !takeStamp(value, field)) {
                readField(value, field, path.empty() ? field.name() : path + "." + field.name());
            }
        }
    }

    std::vector<RecordView> stamps() { return std::move(m_stamps); }

  private:
    // Whether `value`, given for `field`, is a stamp to set when sending: `auto` for a
    // std_msgs/Header, `now` for a builtin_interfaces/Time. Takes the stamp if so.
    bool takeStamp(const YAML::Node& value, const FieldView& field) {
        if (!m_options.stampKeywords || !value.IsScalar() || field.kind() != FieldKind::record ||
            field.container() != Container::single) {
            return false;
        }
        const std::string& type = field.description().record->rosName();
        if (type == "std_msgs/msg/Header" && value.Scalar() == "auto") {
            m_stamps.push_back(field.record().field("stamp").record());
            return true;
        }
        if (type == "builtin_interfaces/msg/Time" && value.Scalar() == "now") {
            m_stamps.push_back(field.record());
            return true;
        }
        return false;
    }

    void readField(const YAML::Node& node, const FieldView& field, const std::string& path) {
        if (field.container() == Container::single) {
            readElement(node, field, 0, path);
            return;
        }
        if (field.container() == Container::sequence ||
            field.container() == Container::boundedSequence) {
            if (node.IsNull()) {
                field.resize(0);
                return;
            }
            if (!node.IsSequence()) {
                badValue(path, "a sequence", node);
            }
            if (field.container() == Container::boundedSequence &&
                node.size() > field.description().arrayLength) {
                throw TypeSupportError("field '" + path + "': a " + field.description().typeText() +
                                       " holds at most " +
                                       std::to_string(field.description().arrayLength) +
                                       " elements, got " + std::to_string(node.size()));
            }
            // Default elements first: what was there before is no part of the values given.
            field.resize(0);
            field.resize(node.size());
        } else if (!node.IsSequence() || node.size() != field.size()) {
            badValue(path, "a sequence of exactly " + std::to_string(field.size()) + " values",
                     node);
        }
        for (std::size_t i = 0; i < node.size(); ++i) {
            readElement(node[i], field, i, path + "[" + std::to_string(i) + "]");
        }
    }

    void readElement(const YAML::Node& node, const FieldView& field, std::size_t index,
                     const std::string& path) {
        if (field.kind() == FieldKind::record) {
            readRecord(node, field.record(index), path);
            return;
        }
        const std::string type = kindName(field.kind());
        if (!node.IsScalar()) {
            badValue(path, withArticle(type), node);
        }
        const std::string text = scalarOf(node, m_source);
        switch (field.kind()) {
            case FieldKind::string:
                field.setString(index, text);
                return;
            case FieldKind::boolean: {
                bool value = false;
                if (!YAML::convert<bool>::decode(node, value)) {
                    badValue(path, "a bool (true or false)", node);
                }
                field.setScalar(index, Scalar{value});
                return;
            }
            case FieldKind::float32:
            case FieldKind::float64: {
                double value = 0.0;
                if (!parseFloat(text, value)) {
                    badValue(path, withArticle(type), node);
                }
                if (field.kind() == FieldKind::float32 && std::isfinite(value) &&
                    std::fabs(value) > static_cast<double>(FLT_MAX)) {
                    badValue(
                        path,
                        "a float32 (at most " + std::to_string(static_cast<double>(FLT_MAX)) + ")",
                        node);
                }
                field.setScalar(index, Scalar{value});
                return;
            }
            case FieldKind::character: {
                // ROS 2 takes a char as a uint8 and echo prints its code.
                std::uint64_t code = 0;
                if (!parseOctet(node, text, code)) {
                    badValue(path, "a char (one character or a code from 0 to 255)", node);
                }
                field.setScalar(index, Scalar{code});
                return;
            }
            case FieldKind::byte: {
                std::uint64_t code = 0;
                if (parseOctet(node, text, code)) {
                    field.setScalar(index, Scalar{code});
                    return;
                }
                break;
            }
            default:
                break;
        }
        const detail::IntegerRange range = detail::rangeOf(field.kind());
        Scalar value;
        if (!parseInteger(text, range, value)) {
            const std::string lowest = range.lowest < 0 ? std::to_string(range.lowest) : "0";
            badValue(path,
                     withArticle(type) + " (an integer from " + lowest + " to " +
                         std::to_string(range.highest) + ")",
                     node);
        }
        field.setScalar(index, value);
    }

    const YamlReadOptions& m_options;
    const std::string& m_source;
    std::vector<RecordView> m_stamps;
};

YAML::Node loadYaml(const std::string& text) {
    try {
        return YAML::Load(text);
    } catch (const YAML::Exception& error) {
        throw TypeSupportError("the values are not valid YAML: " + std::string(error.what()));
    }
}

}  // namespace

std::vector<RecordView> fromYaml(const std::string& text, const RecordView& record,
                                 const YamlReadOptions& options) {
    YamlReader reader(options, text);
    reader.readRecord(loadYaml(text), record, "");
    return reader.stamps();
}

bool isYamlMapping(const std::string& text) {
    return loadYaml(text).IsMap();
}

}  // namespace qorROS2::typesupport
