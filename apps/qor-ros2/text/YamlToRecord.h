#pragma once

// Fills a record from YAML values written as for `ros2 topic pub`: a mapping of field names,
// nested mappings for nested records, sequences for arrays. Missing fields keep their zero value.
// As ros2's pub does since Humble, a std_msgs/Header given as `auto` and a builtin_interfaces/Time
// given as `now` are stamps to set as each message is sent.

#include <yaml-cpp/yaml.h>

#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "cli/UsageError.h"
#include "qorROS2/MessageFields.h"
#include "qorROS2/Messages.h"
#include "text/FieldFilter.h"

namespace qorCli {

/// The stamps of a record that `topic pub` sets to the current time as it sends each message:
/// each builtin_interfaces/Time field given as `now`, and the stamp of each std_msgs/Header
/// given as `auto` (whose frame_id stays empty). They point into the record filled.
using StampFields = std::vector<qorROS2::builtinInterfaces::Time*>;

namespace detail {

// `type` ("int32", "uint8", "float64") with the article its sound takes: "an int32", "a uint8".
inline std::string withArticle(const std::string& type) {
    const bool vowel = !type.empty() && std::string("aeio").find(type[0]) != std::string::npos;
    return (vowel ? "an " : "a ") + type;
}

[[noreturn]] inline void badValue(const std::string& path, const std::string& expected,
                                  const YAML::Node& node) {
    std::string got = "a mapping";
    if (node.IsScalar()) {
        got = "'" + node.Scalar() + "'";
    } else if (node.IsSequence()) {
        got = "a sequence";
    } else if (node.IsNull()) {
        got = "nothing";
    }
    throw UsageError("field '" + path + "': expected " + expected + ", got " + got);
}

template <typename T>
bool parseInteger(const std::string& text, T& out) {
    const std::string digits = !text.empty() && text[0] == '+' ? text.substr(1) : text;
    if constexpr (std::is_signed_v<T>) {
        long long value = 0;
        const auto end = digits.data() + digits.size();
        const auto result = std::from_chars(digits.data(), end, value);
        if (result.ec != std::errc() || result.ptr != end ||
            value < std::numeric_limits<T>::min() || value > std::numeric_limits<T>::max()) {
            return false;
        }
        out = static_cast<T>(value);
    } else {
        unsigned long long value = 0;
        const auto end = digits.data() + digits.size();
        const auto result = std::from_chars(digits.data(), end, value);
        if (result.ec != std::errc() || result.ptr != end ||
            value > std::numeric_limits<T>::max()) {
            return false;
        }
        out = static_cast<T>(value);
    }
    return true;
}

inline bool parseFloat(const std::string& text, double& out) {
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
inline bool parseCharacter(const std::string& text, unsigned char& out) {
    if (text.size() == 1) {
        out = static_cast<unsigned char>(text[0]);
        return true;
    }
    const auto lead = text.size() == 2 ? static_cast<unsigned char>(text[0]) : 0U;
    const auto next = text.size() == 2 ? static_cast<unsigned char>(text[1]) : 0U;
    if ((lead == 0xC2 || lead == 0xC3) && (next & 0xC0U) == 0x80U) {
        out = static_cast<unsigned char>(((lead & 0x1FU) << 6U) | (next & 0x3FU));
        return true;
    }
    return false;
}

template <typename Record>
void readRecord(const YAML::Node& node, Record& record, const std::string& path,
                StampFields* stamps);

template <typename T>
void readValue(const YAML::Node& node, T& out, const std::string& path, const char* rosElement,
               StampFields* stamps);

template <typename T>
void readScalar(const YAML::Node& node, T& out, const std::string& path, const char* rosElement) {
    const std::string type = rosElement != nullptr ? rosElement : qorROS2::rosElementTypeName<T>();
    if (!node.IsScalar()) {
        badValue(path, withArticle(type), node);
    }
    const std::string& text = node.Scalar();
    if constexpr (std::is_same_v<T, std::string>) {
        out = text;
    } else if constexpr (std::is_same_v<T, bool>) {
        if (!YAML::convert<bool>::decode(node, out)) {
            badValue(path, "a bool (true or false)", node);
        }
    } else if constexpr (std::is_floating_point_v<T>) {
        double value = 0.0;
        if (!parseFloat(text, value)) {
            badValue(path, withArticle(type), node);
        }
        if (std::is_same_v<T, float> && std::isfinite(value) &&
            std::fabs(value) > static_cast<double>(FLT_MAX)) {
            badValue(path,
                     "a float32 (at most " + std::to_string(static_cast<double>(FLT_MAX)) + ")",
                     node);
        }
        out = static_cast<T>(value);
    } else if constexpr (std::is_same_v<T, char>) {
        // ROS 2 takes a char as a uint8 and echo prints its code: a plain number is that code, a
        // quoted value or any other single character is the character itself.
        unsigned char code = 0;
        const bool quoted = node.Tag() == "!";
        if ((!quoted && parseInteger(text, code)) || parseCharacter(text, code)) {
            out = static_cast<char>(code);
        } else {
            badValue(path, "a char (one character or a code from 0 to 255)", node);
        }
    } else {
        if constexpr (std::is_same_v<T, std::uint8_t>) {
            // Echo and proto write a byte as its character ("\0", 'A'): a quoted value is that
            // character, a plain one a number when it reads as one.
            unsigned char code = 0;
            const bool quoted = node.Tag() == "!";
            if (isByteElement(rosElement) && (quoted || !parseInteger(text, code)) &&
                parseCharacter(text, code)) {
                out = code;
                return;
            }
        }
        if (!parseInteger(text, out)) {
            badValue(path,
                     withArticle(type) + " (an integer from " +
                         std::to_string(+std::numeric_limits<T>::min()) + " to " +
                         std::to_string(+std::numeric_limits<T>::max()) + ")",
                     node);
        }
    }
}

template <typename T>
void readValue(const YAML::Node& node, T& out, const std::string& path, const char* rosElement,
               StampFields* stamps) {
    if constexpr (qorROS2::isMessageRecord<T>) {
        readRecord(node, out, path, stamps);
    } else if constexpr (qorROS2::isSequence<T>) {
        if (node.IsNull()) {
            out.clear();
            return;
        }
        if (!node.IsSequence()) {
            badValue(path, "a sequence", node);
        }
        out.resize(node.size());
        for (std::size_t i = 0; i < node.size(); ++i) {
            const std::string item = path + "[" + std::to_string(i) + "]";
            if constexpr (std::is_same_v<typename T::value_type, bool>) {
                // std::vector<bool> hands out no reference to its items.
                bool element = false;
                readValue(node[i], element, item, rosElement, stamps);
                out[i] = element;
            } else {
                // In place: the stamps of a record in the sequence point into it.
                out[i] = typename T::value_type{};
                readValue(node[i], out[i], item, rosElement, stamps);
            }
        }
    } else if constexpr (qorROS2::isFixedArray<T>) {
        if (!node.IsSequence() || node.size() != out.size()) {
            badValue(path, "a sequence of exactly " + std::to_string(out.size()) + " values", node);
        }
        for (std::size_t i = 0; i < out.size(); ++i) {
            readValue(node[i], out[i], path + "[" + std::to_string(i) + "]", rosElement, stamps);
        }
    } else {
        readScalar(node, out, path, rosElement);
    }
}

// Whether `value`, given for a field of type `Member`, is a stamp to set when sending: `auto` for
// a std_msgs/Header, `now` for a builtin_interfaces/Time. Takes the stamp into `stamps` if so.
template <typename Member>
bool takeStamp(const YAML::Node& value, Member& member, StampFields* stamps) {
    if (stamps == nullptr || !value.IsScalar()) {
        return false;
    }
    if constexpr (std::is_same_v<Member, qorROS2::stdMsgs::Header>) {
        if (value.Scalar() == "auto") {
            stamps->push_back(&member.stamp);
            return true;
        }
    } else if constexpr (std::is_same_v<Member, qorROS2::builtinInterfaces::Time>) {
        if (value.Scalar() == "now") {
            stamps->push_back(&member);
            return true;
        }
    }
    return false;
}

template <typename Record>
void readRecord(const YAML::Node& node, Record& record, const std::string& path,
                StampFields* stamps) {
    if (node.IsNull()) {
        return;
    }
    const std::string typeName = qorROS2::rosElementTypeName<Record>();
    if (!node.IsMap()) {
        if (path.empty()) {
            throw UsageError("the values must be a YAML mapping of the fields of " + typeName +
                             ", like '{field: value}'");
        }
        badValue(path, "a mapping of the fields of " + typeName, node);
    }
    std::set<std::string> known;
    qorROS2::forEachFieldOf<Record>([&](const auto& field) {
        if (isVisibleField(field.name)) {
            known.insert(field.name);
        }
    });
    for (const auto& entry : node) {
        const std::string key = entry.first.IsScalar() ? entry.first.Scalar() : "?";
        if (known.count(key) == 0) {
            // In Python's words, as ros2 reports the attribute it could not set.
            throw UsageError(std::string("'") + qorROS2::MessageDescription<Record>::name +
                             "' object has no attribute '" + key + "'");
        }
    }
    qorROS2::forEachField(record, [&](const auto& field, auto& member) {
        if (!isVisibleField(field.name)) {
            return;
        }
        const YAML::Node value = node[field.name];
        if (value.IsDefined() && !takeStamp(value, member, stamps)) {
            readValue(value, member, path.empty() ? field.name : path + "." + field.name,
                      field.rosElement, stamps);
        }
    });
}

}  // namespace detail

/// The YAML text `values` loaded. Throws UsageError when it is not YAML.
inline YAML::Node loadValues(const std::string& values) {
    try {
        return YAML::Load(values);
    } catch (const YAML::Exception& error) {
        throw UsageError("the values are not valid YAML: " + std::string(error.what()));
    }
}

/// Fills `record`, at its defaults, as the YAML text `values` describes it; with `stamps`,
/// `header: auto` and `stamp: now` are taken as stamps to set later, into `stamps`, which point
/// into `record`. Throws UsageError as recordFromYaml() does.
template <typename Record>
void fillRecordFromYaml(const std::string& values, Record& record, StampFields* stamps) {
    detail::readRecord(loadValues(values), record, "", stamps);
}

/// The record that the YAML text `values` describes. Throws UsageError naming the field when the
/// text is not YAML, names a field the record does not have, or gives a value of the wrong type
/// or (for a fixed array) length.
template <typename Record>
Record recordFromYaml(const std::string& values) {
    Record record{};
    fillRecordFromYaml(values, record, nullptr);
    return record;
}

}  // namespace qorCli
