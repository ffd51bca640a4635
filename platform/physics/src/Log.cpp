#include "Log.h"

#include <array>
#include <charconv>
#include <ostream>
#include <string>

#include "qor/Notify.h"

namespace qorSDK::detail {

void log(int level, const std::string& text) {
    if (!qor::Notify::isNotifyEnabled(level)) {
        return;
    }
    std::ostream& out = qor::Notify::getThreadStringStream();
    out << qor::Notify::setDebugStrings(level, "", -1, "") << text << std::endl
        << qor::Notify::end();
}

std::string formatNumber(double value) {
    std::array<char, 32> text{};
    const std::to_chars_result result =
        std::to_chars(text.data(), text.data() + text.size(), value);
    return std::string(text.data(), result.ptr);
}

}  // namespace qorSDK::detail
