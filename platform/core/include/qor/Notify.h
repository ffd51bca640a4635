#pragma once

#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace qor {

// How serious a logged line is. A plain enum on purpose: levels are passed around as ints.
enum NotifySeverity {
    ALWAYS = 0,
    FATAL = 1,
    CRITICAL = 2,
    ERROR = 3,
    WARNING = 4,
    INFO = 5,
    DEBUG = 6
};

// Receives every line that passes the threshold: its level and its text without a line end.
// Calls are serialised, under a lock. A sink must not log and must not install sinks: installing
// one from inside a sink deadlocks, and a line logged from inside a sink goes straight to stderr.
using NotifySink = std::function<void(int level, const std::string& line)>;

// Marker that ends the line being composed on the calling thread's stream (see Notify::end()).
struct NotifyEnd {};

// The platform's logger. A line is composed piece by piece on a per-thread stream, so threads
// logging at the same time never mix their pieces, and is emitted when Notify::end() is
// written to that stream:
//
//     std::ostream& out = qor::Notify::getThreadStringStream();
//     out << qor::Notify::setDebugStrings(qor::WARNING, "", -1, "") << "Joint " << name
//         << " is unknown" << std::endl << qor::Notify::end();
class Notify {
  public:
    Notify() = delete;

    // Records level as the level of the line the calling thread is composing and returns the
    // line's prefix: "Warning: " without a location, "Warning (file.cpp:42 in function): " with
    // one. An empty file, a negative line or an empty function leave that part out.
    static std::string setDebugStrings(int level, const std::string& file, int line,
                                       const std::string& function);

    // Returns the calling thread's stream, on which the current line is composed.
    static std::ostream& getThreadStringStream();

    // Returns the marker that, written to the calling thread's stream, emits the composed line.
    static NotifyEnd end() noexcept { return {}; }

    // Sets the threshold: lines with a level greater than it are discarded.
    static void setNotifyLevel(int level) noexcept;

    // Returns the threshold; WARNING unless changed.
    static int getNotifyLevel() noexcept;

    // Returns true when a line of this level would reach the sink, so that callers can skip
    // composing lines that would be discarded anyway.
    static bool isNotifyEnabled(int level) noexcept;

    // Installs sink for every thread; an empty function restores the default sink, which
    // writes each line and a line end to stderr in one write, at most 20 lines a second: further
    // lines are counted, and one summary line with their count is written when the next second
    // begins or the process exits. An installed sink receives every line.
    static void setSink(NotifySink sink);

    // Installs sink like setSink() and returns the sink it replaces (empty for the default).
    // Once this returns, the replaced sink is no longer being called.
    static NotifySink exchangeSink(NotifySink sink);

    // Returns a sink that passes lines on to sink as the default sink writes them to stderr: at
    // most 20 in each second, the others counted, and their count handed on as the default
    // sink's summary line (level WARNING) when the next second begins, or when the last copy
    // of the returned sink is destroyed. For a program that writes lines of its own to the
    // terminal around the warnings (a status line, say) and keeps the default sink's guard
    // against floods.
    static NotifySink rateLimited(NotifySink sink);
};

// Ends a line. When out is the calling thread's stream, emits what was composed on it (less
// one trailing line end) with the level given to setDebugStrings() (INFO if none was), then
// empties the stream and forgets the level. Any other stream is left untouched.
std::ostream& operator<<(std::ostream& out, NotifyEnd marker);

// Installs a sink for the lifetime of this object, then puts back the sink it replaced.
// Instances must be destroyed in the reverse order of their creation.
class ScopedNotifySink {
  public:
    // Installs sink (an empty function installs the default one).
    explicit ScopedNotifySink(NotifySink sink);

    // Puts back the sink that was installed when this object was created.
    ~ScopedNotifySink();

    ScopedNotifySink(const ScopedNotifySink&) = delete;
    ScopedNotifySink& operator=(const ScopedNotifySink&) = delete;

  private:
    NotifySink m_previous;
};

// Collects every emitted line while it exists, for tests that compare exact log output.
// Lines may arrive from any thread.
class NotifyLineCollector {
  public:
    // Starts collecting; lines emitted before this are not seen.
    NotifyLineCollector();

    // Returns the collected lines, oldest first, without line ends.
    std::vector<std::string> lines() const;

    // Returns the level of each collected line, in the same order as lines().
    std::vector<int> levels() const;

    // Forgets everything collected so far.
    void clear();

  private:
    void record(int level, const std::string& line);

    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
    std::vector<int> m_levels;
    // Last, so that the sink is uninstalled before the storage it writes to goes away.
    ScopedNotifySink m_sink;
};

}  // namespace qor
