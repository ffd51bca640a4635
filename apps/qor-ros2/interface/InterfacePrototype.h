#pragma once

// The prototype of a message type: the YAML of its default record, ready to edit and give to
// `topic pub`.

#include <string>

#include "qorROS2/typesupport/Yaml.h"

namespace qorCli {

/// The block-style YAML of a default `Record`, every field with its zero value, ending with a
/// newline: what `ros2 interface proto` prints between its quotes.
template <typename Record>
std::string interfacePrototype() {
    const Record record{};
    return qorROS2::typesupport::toYaml(qorROS2::typesupport::viewOfRecord(record));
}

}  // namespace qorCli
