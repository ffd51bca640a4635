#pragma once

// Parameters as the protocol writes them in JSON, both ways: numbers, booleans, strings and
// arrays of them as they are, doubles marked "float64" (so that 2.0 stays a double), byte arrays
// as base64 marked "byte_array".

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/web/Parameters.h"

namespace qorROS2::web::detail {

/// The longest parameter name a client may send.
inline constexpr std::size_t kMaxParameterNameBytes = 1024;

/// A parameter name of a request `op`. Throws std::invalid_argument for anything but a string of
/// 1 to kMaxParameterNameBytes bytes.
std::string parameterNameFromJson(const nlohmann::json& name, const std::string& op);

/// One element of a setParameters' "parameters". A missing or null value means not set; an array
/// without a type hint is of integers unless it holds a fractional number (then of doubles), and
/// an empty one is of integers. Throws std::invalid_argument with the text the client is sent.
Parameter parameterFromJson(const nlohmann::json& element, const std::string& op);

/// A parameterValues message; `id` is the request's, when it had one.
std::string parameterValuesJson(const std::vector<Parameter>& parameters,
                                const std::optional<std::string>& id);

std::string encodeBase64(const std::vector<std::uint8_t>& bytes);
/// The bytes of standard base64 text (padding required), or nothing when it is not base64.
std::optional<std::vector<std::uint8_t>> decodeBase64(const std::string& text);

}  // namespace qorROS2::web::detail
