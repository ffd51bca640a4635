#pragma once

// Scalars written the way `ros2 topic echo` writes them (Python's repr through PyYAML).

#include <cstddef>
#include <cstdint>
#include <string>

namespace qorCli {

/// Where a scalar stands: in block style, or inside a flow collection ("[a, b]", "{k: v}"),
/// where more characters make PyYAML quote it.
enum class YamlPlace { block, flow };

/// A float64 as Python's repr gives it, adjusted as PyYAML does: "0.5", "1.0", "1.0e-05",
/// ".inf", "-.inf", ".nan".
std::string formatFloat(double value);

/// A string as PyYAML writes it: plain when it reads back as the same string, in single quotes
/// when it would read as another type, starts with an indicator or holds line breaks, in double
/// quotes with escapes when it holds control characters or a space next to a line break. In
/// single quotes each run of line breaks is written with one more, and the line after it starts
/// with `lineIndent` spaces: two more than the column of the key or dash that the value follows.
/// In a flow collection (`place`), the characters that end or separate its items are quoted too.
std::string formatString(const std::string& value, YamlPlace place = YamlPlace::block,
                         std::size_t lineIndent = 2);

/// A byte (or char) as ros2 shows it: the one-character string of that code.
std::string formatByte(std::uint8_t value, YamlPlace place = YamlPlace::block,
                       std::size_t lineIndent = 2);

}  // namespace qorCli
