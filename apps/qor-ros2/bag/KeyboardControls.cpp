#include "bag/KeyboardControls.h"

#include <poll.h>
#include <unistd.h>

#include <string>

namespace qorCli {

const char* playbackKeyName(PlaybackKey key) {
    switch (key) {
        case PlaybackKey::SPACE:
            return "SPACE";
        case PlaybackKey::CURSOR_RIGHT:
            return "CURSOR_RIGHT";
        case PlaybackKey::CURSOR_UP:
            return "CURSOR_UP";
        case PlaybackKey::CURSOR_DOWN:
            return "CURSOR_DOWN";
    }
    return "UNKNOWN";
}

bool KeyboardControls::available() {
    return ::isatty(STDIN_FILENO) == 1;
}

KeyboardControls::KeyboardControls(std::function<void(PlaybackKey)> onKey)
    : m_onKey(std::move(onKey)) {
    if (::tcgetattr(STDIN_FILENO, &m_saved) == 0) {
        termios raw = m_saved;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        m_restore = ::tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
    }
    m_thread = std::thread([this] { readKeys(); });
}

KeyboardControls::~KeyboardControls() {
    m_stop = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
    if (m_restore) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &m_saved);
    }
}

void KeyboardControls::readKeys() {
    // An arrow arrives as ESC [ A..D; the bytes of one key may come in separate reads.
    std::string pending;
    while (!m_stop) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        const int ready = ::poll(&input, 1, 100);
        if (ready <= 0) {
            pending.clear();
            continue;
        }
        if ((input.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0 &&
            (input.revents & POLLIN) == 0) {
            return;
        }
        char byte = 0;
        if (::read(STDIN_FILENO, &byte, 1) != 1) {
            return;  // end of input: no more keys will come
        }
        pending += byte;
        if (pending == " ") {
            m_onKey(PlaybackKey::SPACE);
        } else if (pending == "\x1b[C") {
            m_onKey(PlaybackKey::CURSOR_RIGHT);
        } else if (pending == "\x1b[A") {
            m_onKey(PlaybackKey::CURSOR_UP);
        } else if (pending == "\x1b[B") {
            m_onKey(PlaybackKey::CURSOR_DOWN);
        } else if (pending == "\x1b" || pending == "\x1b[") {
            continue;
        }
        pending.clear();
    }
}

}  // namespace qorCli
