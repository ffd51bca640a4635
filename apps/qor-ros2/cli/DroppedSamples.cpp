#include "cli/DroppedSamples.h"

namespace qorCli {
std::string dropReason(const qorROS2::typesupport::TypeSupportError& error) {
    const std::string what = error.what();
    const std::string separator = " payload: ";
    const std::size_t at = what.find(separator);
    if (what.rfind("malformed ", 0) != 0 || at == std::string::npos) {
        return what;
    }
    return what.substr(at + separator.size());
}

std::optional<qorROS2::typesupport::Sample> decodeOrDrop(
    const qorROS2::typesupport::TypeSupport& type, const std::vector<std::uint8_t>& bytes,
    qorROS2::MalformedSampleReport& dropped) {
    try {
        return type.decode(bytes);
    } catch (const qorROS2::typesupport::TypeSupportError& error) {
        dropped.dropped(dropReason(error).c_str());
        return std::nullopt;
    }
}

}  // namespace qorCli
