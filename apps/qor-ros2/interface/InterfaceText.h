#pragma once

// A record's message definition, as `ros2 interface show` prints it.

#include <string>

#include "qorROS2/MessageFields.h"
#include "text/FieldFilter.h"

namespace qorCli {

namespace detail {

template <typename T>
struct ElementOf {
    using type = T;
};
template <typename T, typename A>
struct ElementOf<std::vector<T, A>> {
    using type = T;
};
template <typename T, std::size_t N>
struct ElementOf<std::array<T, N>> {
    using type = T;
};

}  // namespace detail

/// Appends one line per field ("float64[9] k"), each nested record's fields expanded below it
/// with one more tab of indentation, as ros2 does.
template <typename Record>
void appendInterfaceText(std::string& out, const std::string& indent) {
    qorROS2::forEachFieldOf<Record>([&](const auto& field) {
        if (!isVisibleField(field.name)) {
            return;
        }
        out += indent + qorROS2::rosFieldType(field) + " " + field.name + "\n";
        using Member = typename std::decay_t<decltype(field)>::MemberType;
        using Element = typename detail::ElementOf<Member>::type;
        if constexpr (qorROS2::isMessageRecord<Element>) {
            appendInterfaceText<Element>(out, indent + "\t");
        }
    });
}

/// The whole definition of `Record`, one field a line.
template <typename Record>
std::string interfaceText() {
    std::string out;
    appendInterfaceText<Record>(out, "");
    return out;
}

}  // namespace qorCli
