#pragma once

// Samples that a subscription took as bytes and could not decode: dropped, and told to the
// transport's report of malformed samples, so that the warnings have the words and the pace of
// the transport's typed subscriptions, which decode as they receive.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/MalformedSampleReport.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorCli {

/// What was wrong with the bytes that `error` refused: its text without the type support's
/// "malformed <type> payload: ", which the typed subscriptions' lines do not have either; any
/// other text whole.
std::string dropReason(const qorROS2::typesupport::TypeSupportError& error);

/// `bytes` decoded as a sample of `type`; none when they are no such sample, which is then told
/// to `dropped` with its dropReason(), as a typed subscription tells it.
std::optional<qorROS2::typesupport::Sample> decodeOrDrop(
    const qorROS2::typesupport::TypeSupport& type, const std::vector<std::uint8_t>& bytes,
    qorROS2::MalformedSampleReport& dropped);

}  // namespace qorCli
