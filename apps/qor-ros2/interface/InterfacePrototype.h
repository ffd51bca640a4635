#pragma once

// The prototype of a message type: the YAML of its default sample, ready to edit and give to
// `topic pub`.

#include <string>

#include "qorROS2/typesupport/TypeSupport.h"
#include "qorROS2/typesupport/Yaml.h"

namespace qorCli {

/// The block-style YAML of a default sample of `type`, every field with its zero value, ending
/// with a newline: what `ros2 interface proto` prints between its quotes.
inline std::string interfacePrototype(const qorROS2::typesupport::TypeSupport& type) {
    const qorROS2::typesupport::Sample sample = type.createSample();
    return qorROS2::typesupport::toYaml(qorROS2::typesupport::viewOf(sample));
}

}  // namespace qorCli
