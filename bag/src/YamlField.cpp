#include "YamlField.h"

#include <charconv>
#include <limits>

#include "qorROS2/bag/BagError.h"

namespace qorROS2::bag::detail {

namespace {

// A number as rosbag2 writes one: decimal digits, at most one leading minus sign. Anything else
// (hex, floats, '+', spaces) is refused rather than read loosely.
bool parseDecimal(const std::string& text, bool allowSign, std::uint64_t& magnitude,
                  bool& negative) {
    const char* first = text.data();
    const char* last = text.data() + text.size();
    negative = allowSign && first != last && *first == '-';
    if (negative) {
        ++first;
    }
    if (first == last) {
        return false;
    }
    const auto [end, error] = std::from_chars(first, last, magnitude);
    return error == std::errc() && end == last;
}

}  // namespace

YamlField::YamlField(const YAML::Node& node, std::string file, std::string path)
    : m_node(node), m_file(std::move(file)), m_path(std::move(path)) {}

YamlField YamlField::parse(const std::string& text, const std::string& file,
                           const std::string& path) {
    try {
        return YamlField(YAML::Load(text), file, path);
    } catch (const YAML::Exception& error) {
        const std::string where = path.empty() ? file : file + ": " + path;
        throw BagError(where + ": not YAML (line " + std::to_string(error.mark.line + 1) +
                       ", column " + std::to_string(error.mark.column + 1) + ": " + error.msg +
                       ")");
    }
}

void YamlField::fail(const std::string& what) const {
    throw BagError(m_file + ": " + (m_path.empty() ? std::string("the document") : m_path) + ": " +
                   what);
}

YamlField YamlField::operator[](const std::string& key) const {
    const std::string childPath = m_path.empty() ? key : m_path + "." + key;
    if (!m_node.IsMap()) {
        fail("expected a map holding '" + key + "'");
    }
    const YAML::Node child = m_node[key];
    if (!child.IsDefined()) {
        YamlField(child, m_file, childPath).fail("missing");
    }
    return YamlField(child, m_file, childPath);
}

bool YamlField::has(const std::string& key) const {
    return m_node.IsMap() && m_node[key].IsDefined();
}

std::vector<YamlField> YamlField::sequence() const {
    if (!m_node.IsSequence()) {
        fail("expected a list");
    }
    std::vector<YamlField> elements;
    elements.reserve(m_node.size());
    std::size_t index = 0;
    for (const YAML::Node& element : m_node) {
        elements.emplace_back(element, m_file, m_path + "[" + std::to_string(index++) + "]");
    }
    return elements;
}

std::vector<std::pair<std::string, YamlField>> YamlField::entries() const {
    if (!m_node.IsMap()) {
        fail("expected a map");
    }
    std::vector<std::pair<std::string, YamlField>> result;
    for (const auto& entry : m_node) {
        if (!entry.first.IsScalar()) {
            fail("expected a map with plain keys");
        }
        const std::string key = entry.first.Scalar();
        result.emplace_back(
            key, YamlField(entry.second, m_file, m_path.empty() ? key : m_path + "." + key));
    }
    return result;
}

std::string YamlField::text() const {
    if (!m_node.IsScalar()) {
        fail(m_node.IsNull()
                 ? "expected a text, got null"
                 : "expected a text, got a " + std::string(m_node.IsMap() ? "map" : "list"));
    }
    return m_node.Scalar();
}

std::uint64_t YamlField::unsignedInteger(std::uint64_t max) const {
    const std::string value = text();
    std::uint64_t magnitude = 0;
    bool negative = false;
    if (!parseDecimal(value, false, magnitude, negative) || magnitude > max) {
        fail("expected an integer from 0 to " + std::to_string(max) + ", got '" + value + "'");
    }
    return magnitude;
}

std::int64_t YamlField::integer(std::int64_t min, std::int64_t max) const {
    const std::string value = text();
    std::uint64_t magnitude = 0;
    bool negative = false;
    const bool parsed = parseDecimal(value, true, magnitude, negative);
    // The magnitude of the lowest int64 is one more than the highest's.
    const std::uint64_t limit =
        static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (negative ? 1 : 0);
    if (parsed && magnitude <= limit) {
        const std::int64_t number =
            negative ? (magnitude == limit ? std::numeric_limits<std::int64_t>::min()
                                           : -static_cast<std::int64_t>(magnitude))
                     : static_cast<std::int64_t>(magnitude);
        if (number >= min && number <= max) {
            return number;
        }
    }
    fail("expected an integer from " + std::to_string(min) + " to " + std::to_string(max) +
         ", got '" + value + "'");
}

bool YamlField::boolean() const {
    const std::string value = text();
    // YAML 1.1's spellings, which yaml-cpp reads as booleans too.
    for (const char* yes : {"true", "True", "TRUE", "yes", "Yes", "YES", "on", "On", "ON"}) {
        if (value == yes) {
            return true;
        }
    }
    for (const char* no : {"false", "False", "FALSE", "no", "No", "NO", "off", "Off", "OFF"}) {
        if (value == no) {
            return false;
        }
    }
    fail("expected true or false, got '" + value + "'");
}

}  // namespace qorROS2::bag::detail
