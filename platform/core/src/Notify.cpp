#include "qor/Notify.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>

#include "StderrRateLimit.h"

namespace qor {
namespace {

// What the calling thread is composing, and whether it is currently inside a sink.
struct ThreadLine {
    std::ostringstream stream;
    int level = INFO;
    bool inSink = false;

    void reset() {
        stream.str(std::string());
        stream.clear();
        // A manipulator left on one line (std::hex, a precision) must not change how the next
        // line of this thread reads.
        stream.flags(std::ios_base::skipws | std::ios_base::dec);
        stream.precision(6);
        stream.width(0);
        stream.fill(' ');
        level = INFO;
    }
};

ThreadLine& threadLine() {
    thread_local ThreadLine line;
    return line;
}

struct LoggerState {
    std::mutex mutex;
    NotifySink sink;  // empty while the default sink is installed
    std::atomic<int> threshold{WARNING};
    detail::StderrRateLimit stderrLimit{detail::kStderrLinesPerSecond};
    bool summaryAtExitRegistered = false;
};

LoggerState& loggerState() {
    // Never destroyed: destructors of other statics may still log while the process exits.
    static LoggerState* const state = new LoggerState();
    return *state;
}

void writeToStderr(const std::string& text) {
    // One write per line, so that lines stay whole even next to other writers of stderr.
    const std::string line = text + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

// Writes the summary of what the default sink held back and never reported: a process that
// stops logging after a flood still says how much it held back.
void writeHeldBackAtExit() {
    LoggerState& state = loggerState();
    std::lock_guard<std::mutex> lock(state.mutex);
    const std::size_t heldBack = state.stderrLimit.takeHeldBack();
    if (heldBack > 0) {
        writeToStderr(state.stderrLimit.heldBackSummary(heldBack));
    }
}

// The default sink; called under the logger's lock.
void writeLimitedToStderr(LoggerState& state, const std::string& text) {
    const detail::StderrRateLimit::Decision decision =
        state.stderrLimit.offer(detail::StderrRateLimit::Clock::now());
    if (decision.heldBackBefore > 0) {
        writeToStderr(state.stderrLimit.heldBackSummary(decision.heldBackBefore));
    }
    if (decision.write) {
        writeToStderr(text);
    } else if (!state.summaryAtExitRegistered) {
        state.summaryAtExitRegistered = true;
        std::atexit(writeHeldBackAtExit);
    }
}

// Marks the calling thread as being inside a sink for as long as it exists, even if the sink
// throws.
class InSinkGuard {
  public:
    explicit InSinkGuard(ThreadLine& current) : m_current(current) { m_current.inSink = true; }
    ~InSinkGuard() { m_current.inSink = false; }
    InSinkGuard(const InSinkGuard&) = delete;
    InSinkGuard& operator=(const InSinkGuard&) = delete;

  private:
    ThreadLine& m_current;
};

void emit(int level, const std::string& text, ThreadLine& current) {
    LoggerState& state = loggerState();
    if (level > state.threshold.load(std::memory_order_relaxed)) {
        return;
    }
    if (current.inSink) {
        // A sink that logs would otherwise wait forever on the lock its own caller holds.
        writeToStderr(text);
        return;
    }
    // The sink is called under the lock: lines never interleave, and a sink that has been
    // replaced is known to be idle, so its owner may destroy what it writes to.
    std::lock_guard<std::mutex> lock(state.mutex);
    if (!state.sink) {
        writeLimitedToStderr(state, text);
        return;
    }
    InSinkGuard guard(current);
    state.sink(level, text);
}

const char* levelWord(int level) {
    switch (level) {
        case ALWAYS:
            return "";
        case FATAL:
            return "Fatal";
        case CRITICAL:
            return "Critical";
        case ERROR:
            return "Error";
        case WARNING:
            return "Warning";
        case INFO:
            return "Info";
        case DEBUG:
            return "Debug";
        default:
            return nullptr;
    }
}

std::string levelName(int level) {
    const char* word = levelWord(level);
    return word != nullptr ? std::string(word) : "Level " + std::to_string(level);
}

std::string locationText(const std::string& file, int line, const std::string& function) {
    std::string location = file;
    if (line >= 0) {
        location += file.empty() ? "line " : ":";
        location += std::to_string(line);
    }
    if (!function.empty()) {
        location += location.empty() ? "in " : " in ";
        location += function;
    }
    return location;
}

}  // namespace

std::string Notify::setDebugStrings(int level, const std::string& file, int line,
                                    const std::string& function) {
    threadLine().level = level;

    std::string prefix = levelName(level);
    const std::string location = locationText(file, line, function);
    if (!location.empty()) {
        if (!prefix.empty()) {
            prefix += ' ';
        }
        prefix += '(' + location + ')';
    }
    if (!prefix.empty()) {
        prefix += ": ";
    }
    return prefix;
}

std::ostream& Notify::getThreadStringStream() {
    return threadLine().stream;
}

void Notify::setNotifyLevel(int level) noexcept {
    loggerState().threshold.store(level, std::memory_order_relaxed);
}

int Notify::getNotifyLevel() noexcept {
    return loggerState().threshold.load(std::memory_order_relaxed);
}

bool Notify::isNotifyEnabled(int level) noexcept {
    return level <= getNotifyLevel();
}

void Notify::setSink(NotifySink sink) {
    // The replaced sink is destroyed after the lock is released, in case its captures log.
    exchangeSink(std::move(sink));
}

NotifySink Notify::exchangeSink(NotifySink sink) {
    LoggerState& state = loggerState();
    std::lock_guard<std::mutex> lock(state.mutex);
    std::swap(state.sink, sink);
    return sink;
}

std::ostream& operator<<(std::ostream& out, NotifyEnd /*marker*/) {
    ThreadLine& current = threadLine();
    if (&out != static_cast<std::ostream*>(&current.stream)) {
        return out;
    }

    std::string text = current.stream.str();
    const int level = current.level;
    // Emptied before the sink runs, so that a sink that logs starts from a clean line.
    current.reset();

    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
        if (!text.empty() && text.back() == '\r') {
            text.pop_back();
        }
    }
    emit(level, text, current);
    return out;
}

}  // namespace qor
