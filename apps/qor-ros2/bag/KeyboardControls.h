#pragma once

// The keys that control playback in a terminal: space, and the right, up and down arrows. The
// terminal is switched to reading single keys without echo while the controls live, and given
// back exactly as it was when they go, whichever way the verb ends.

#include <termios.h>

#include <atomic>
#include <functional>
#include <thread>

namespace qorCli {

enum class PlaybackKey { SPACE, CURSOR_RIGHT, CURSOR_UP, CURSOR_DOWN };

/// The name rosbag2 prints for `key` ("SPACE", "CURSOR_RIGHT", ...).
const char* playbackKeyName(PlaybackKey key);

class KeyboardControls {
  public:
    /// True when standard input is a terminal, the only case in which keys are read.
    static bool available();

    /// Reads keys from standard input on a thread of its own and calls `onKey` for each
    /// control key; other keys are ignored.
    explicit KeyboardControls(std::function<void(PlaybackKey)> onKey);
    ~KeyboardControls();
    KeyboardControls(const KeyboardControls&) = delete;
    KeyboardControls& operator=(const KeyboardControls&) = delete;

  private:
    void readKeys();

    std::function<void(PlaybackKey)> m_onKey;
    termios m_saved{};
    bool m_restore = false;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

}  // namespace qorCli
