#pragma once

// `topic echo`: prints every message received on a topic as `ros2 topic echo` does (YAML and
// "---", CSV, one field, arrays and strings cut or left out, the raw bytes), those a --filter
// expression matches, until a --timeout, or saves the images received as PNG files.

#include "qorROS2/typesupport/TypeSupport.h"
#include "topic/TopicOptions.h"

namespace qorCli {

/// Checks before subscribing what can be checked of echoing `type` with `options`: that the
/// selected field exists (on the raw bytes, none does) and that the filter fits the type.
/// Throws CommandFailure in ros2's words otherwise.
void checkEcho(const qorROS2::typesupport::TypeSupport& type, const TopicOptions& options);

/// Subscribes to options.topic for samples of `type` and prints them as options say, until
/// Ctrl-C, the first printed with --once, or the --timeout. Samples are taken as bytes and
/// decoded here; one that does not decode is dropped with a warning, except with --raw, which
/// prints the bytes as they came, as ros2 does.
int echoTopic(const qorROS2::typesupport::TypeSupport& type, const TopicOptions& options);

}  // namespace qorCli
