#pragma once

// Numbers and strings spelled the way Python spells them, for the outputs ros2's tools print.

#include <cstdint>
#include <string>

namespace qorCli {

/// A float as Python's repr (and str) gives it: the shortest text that reads back as the same
/// double, positional from 1e-4 up to 1e16 ("0.5", "1.0", "123.25"), scientific elsewhere
/// ("1e-05", "1.5e+16"); "inf", "-inf", "nan".
std::string pythonFloatRepr(double value);

/// `value` rounded to `decimals` places, as Python's '%.3f' and f'{x:.2f}' give it.
std::string pythonFixed(double value, int decimals);

/// `value` as Python's '{:.4}'.format gives it for precision 4: `precision` significant digits,
/// trailing zeros dropped, scientific from an exponent of -5 down or `precision` up, and a
/// positional number always keeps one decimal ("10.0", "0.1235", "1.235e+05").
std::string pythonShortFloat(double value, int precision);

/// The repr of a str holding UTF-8 `value`: in single quotes, or double quotes when it holds a
/// single quote and no double one; backslashes, the quote and unprintable characters escaped.
std::string pythonStrRepr(const std::string& value);

/// The repr of a bytes object holding `bytes`: b'\x00\x01hi', in double quotes when the bytes
/// hold a single quote and no double one, as Python writes it.
std::string pythonBytesRepr(const std::string& bytes);

/// The repr of a bytes object of one byte: b'a', b'\x00', b"'".
std::string pythonByteRepr(std::uint8_t value);

/// Python's str.center: `text` padded with spaces to `width`, the odd space placed as Python
/// places it.
std::string pythonCenter(const std::string& text, std::size_t width);

/// The number of characters (code points) of UTF-8 `value`, as Python's len of the str.
std::size_t pythonLength(const std::string& value);

/// The first `count` characters (code points) of UTF-8 `value`, as Python's value[:count].
std::string pythonPrefix(const std::string& value, std::size_t count);

}  // namespace qorCli
