#pragma once

// Records as YAML text and back, for any of the message types: written exactly as ros2's tools
// print them (`topic echo`, `interface proto`), read as `topic pub` takes its values. A bag
// player, a web bridge and the CLI share it through the record views.
//
//   const std::string text = toYaml(viewOfRecord(joints), YamlOptions{});
//   fromYaml("{name: [shoulder], position: [0.5]}", viewOfRecord(joints));

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/typesupport/Export.h"
#include "qorROS2/typesupport/RecordView.h"

namespace qorROS2::typesupport {

/// How toYaml writes a record; the defaults write everything in block style.
struct YamlOptions {
    /// Strings, bytes and arrays longer than this are cut to this many items, "..." after.
    std::optional<std::size_t> truncateLength;
    bool noArrays = false;   ///< arrays replaced by "<sequence type: double, length: 3>"
    bool noStrings = false;  ///< strings replaced by "<string length: <5>>"
    /// Arrays on one line, "[1.0, 2.0]", and so the messages in them, "[{x: 1.0}, {}]"; the
    /// message's own fields stay in block style, as PyYAML writes ros2's ordered mappings.
    bool flowStyle = false;
};

/// The YAML text of `record`, ending with a newline; "{}\n" for a record without fields.
QORTYPESUPPORT_EXPORT std::string toYaml(const ConstRecordView& record,
                                         const YamlOptions& options = {});

/// How fromYaml reads its text.
struct YamlReadOptions {
    /// Takes a std_msgs/Header given as `auto` and a builtin_interfaces/Time given as `now` as
    /// stamps to set at each send, as ros2's pub does; without it they are ordinary values (and
    /// so refused).
    bool stampKeywords = false;
};

/// Fills `record` as the YAML text describes it: a mapping of field names, nested mappings for
/// nested records, sequences for arrays; fields not named keep their value, and a sequence
/// given is replaced with default elements before they are read. Returns the stamps found with
/// YamlReadOptions::stampKeywords: the builtin_interfaces/Time records, inside `record`, to set to
/// the current time (a header's frame_id stays as it is). Throws TypeSupportError, naming the
/// field, when the text is not YAML, not a mapping, names a field the record lacks, or gives a
/// value of the wrong kind, out of its kind's range or (for a fixed array) of the wrong length.
QORTYPESUPPORT_EXPORT std::vector<RecordView> fromYaml(const std::string& text,
                                                       const RecordView& record,
                                                       const YamlReadOptions& options = {});

/// Whether the YAML text is a mapping (an empty text is none). Throws TypeSupportError with the
/// words of fromYaml when it is not YAML.
QORTYPESUPPORT_EXPORT bool isYamlMapping(const std::string& text);

/// Where a scalar stands: in block style, or inside a flow collection ("[a, b]", "{k: v}"),
/// where more characters make PyYAML quote it.
enum class YamlPlace { block, flow };

/// A float64 as Python's repr gives it, adjusted as PyYAML does: "0.5", "1.0", "1.0e-05",
/// ".inf", "-.inf", ".nan".
QORTYPESUPPORT_EXPORT std::string yamlFloat(double value);

/// A bool or a number as YAML writes it: "true", "-3", or the float as yamlFloat writes it.
QORTYPESUPPORT_EXPORT std::string yamlScalar(const Scalar& value);

/// A string as PyYAML writes it: plain when it reads back as the same string, in single quotes
/// when it would read as another type, starts with an indicator or holds line breaks, in double
/// quotes with escapes when it holds control characters or a space next to a line break. In
/// single quotes each run of line breaks is written with one more, and the line after it starts
/// with `lineIndent` spaces: two more than the column of the key or dash that the value follows.
/// In a flow collection (`place`), the characters that end or separate its items are quoted too.
QORTYPESUPPORT_EXPORT std::string yamlString(const std::string& value,
                                             YamlPlace place = YamlPlace::block,
                                             std::size_t lineIndent = 2);

/// A byte as ros2 shows it: the one-character string of that code.
QORTYPESUPPORT_EXPORT std::string yamlByte(std::uint8_t value, YamlPlace place = YamlPlace::block,
                                           std::size_t lineIndent = 2);

/// What --no-arr shows instead of an array or sequence field: "<sequence type: double, length:
/// 3>", "<array type: octet[4]>", in the element names of interface definitions.
QORTYPESUPPORT_EXPORT std::string arraySummary(const ConstFieldView& field);

}  // namespace qorROS2::typesupport
