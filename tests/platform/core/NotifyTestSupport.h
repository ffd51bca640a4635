#pragma once

#include <ostream>
#include <string>

#include "qor/Notify.h"

namespace qor::test {

// Composes and emits one line on the calling thread, the way the rest of the platform does.
inline void logLine(int level, const std::string& text) {
    std::ostream& out = Notify::getThreadStringStream();
    out << Notify::setDebugStrings(level, "", -1, "") << text << std::endl << Notify::end();
}

// Sets the threshold for one test and puts the previous one back, so tests stay independent.
class ScopedNotifyLevel {
  public:
    explicit ScopedNotifyLevel(int level) : m_previous(Notify::getNotifyLevel()) {
        Notify::setNotifyLevel(level);
    }
    ~ScopedNotifyLevel() { Notify::setNotifyLevel(m_previous); }
    ScopedNotifyLevel(const ScopedNotifyLevel&) = delete;
    ScopedNotifyLevel& operator=(const ScopedNotifyLevel&) = delete;

  private:
    int m_previous;
};

}  // namespace qor::test
