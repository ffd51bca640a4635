#pragma once

// Scalars written the way `ros2 topic echo` writes them (Python's repr through PyYAML).

#include <cstdint>
#include <string>

namespace qorCli {

/// A float64 as Python's repr gives it, adjusted as PyYAML does: "0.5", "1.0", "1.0e-05",
/// ".inf", "-.inf", ".nan".
std::string formatFloat(double value);

/// A float64 as Python's repr gives it: "0.5", "1.0", "1e-05", "inf", "-inf", "nan".
std::string pythonFloatRepr(double value);

/// A string as PyYAML writes it: plain when it reads back as the same string, in single quotes
/// when it would read as another type or starts with an indicator, in double quotes with
/// escapes when it holds control characters.
std::string formatString(const std::string& value);

/// A byte (or char) as ros2 shows it: the one-character string of that code.
std::string formatByte(std::uint8_t value);

}  // namespace qorCli
