#pragma once

// A YAML node read as a bag file's field: it knows the file and the key path it came from, so
// that every error names both.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <yaml-cpp/yaml.h>

namespace qorROS2::bag::detail {

class YamlField {
  public:
    /// The root of the document of `file`; `path` names it in errors ("" for the document).
    YamlField(const YAML::Node& node, std::string file, std::string path = "");

    /// Parses `text` as YAML; throws BagError naming `file` (and `path`) when it is not YAML.
    static YamlField parse(const std::string& text, const std::string& file,
                           const std::string& path = "");

    /// The value under `key`; throws BagError when this is not a map or the key is missing.
    YamlField operator[](const std::string& key) const;
    bool has(const std::string& key) const;

    /// The elements of a sequence; throws BagError for anything else.
    std::vector<YamlField> sequence() const;
    /// The entries of a map, in the file's order; throws BagError for anything else.
    std::vector<std::pair<std::string, YamlField>> entries() const;

    bool isNull() const { return m_node.IsNull(); }
    bool isScalar() const { return m_node.IsScalar(); }
    bool isMap() const { return m_node.IsMap(); }
    /// The number of elements of a list or entries of a map; 0 for anything else.
    std::size_t size() const { return m_node.size(); }

    /// A scalar's text; throws BagError for a map, a sequence or null.
    std::string text() const;
    /// A decimal integer without sign in [0, max]; throws BagError for anything else.
    std::uint64_t unsignedInteger(std::uint64_t max) const;
    /// A decimal integer, optionally signed, in [min, max]; throws BagError for anything else.
    std::int64_t integer(std::int64_t min, std::int64_t max) const;
    /// "true" or "false" in YAML's spellings; throws BagError for anything else.
    bool boolean() const;

    /// Throws BagError "<file>: <path>: <what>".
    [[noreturn]] void fail(const std::string& what) const;

    const std::string& path() const { return m_path; }
    const std::string& file() const { return m_file; }

  private:
    YAML::Node m_node;
    std::string m_file;
    std::string m_path;
};

}  // namespace qorROS2::bag::detail
