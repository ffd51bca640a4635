#pragma once

// What a call refuses, as text, so that a test pins the exact words of a refusal.

#include <functional>
#include <stdexcept>
#include <string>

namespace qorTest {

/// The message of the std::invalid_argument that `action` throws, or "accepted" when it throws
/// none.
inline std::string refusal(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "accepted";
}

}  // namespace qorTest
