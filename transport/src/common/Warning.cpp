#include "common/Warning.h"

#include <ostream>

#include "qor/Notify.h"

namespace qorROS2::transport::common {

void warn(const std::string& text) {
    std::ostream& out = qor::Notify::getThreadStringStream();
    out << qor::Notify::setDebugStrings(qor::WARNING, "", -1, "") << text << std::endl
        << qor::Notify::end();
}

}  // namespace qorROS2::transport::common
