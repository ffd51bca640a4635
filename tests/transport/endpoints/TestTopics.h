#pragma once

// Names that keep concurrently running tests apart: ctest runs each test in a process of its
// own, several at a time, and other programs on the host may use DDS too.

#include <unistd.h>

#include <cstdint>
#include <string>

namespace qorTest {

/// The DDS domain of the endpoint tests that can tell their traffic apart by topic name.
inline constexpr std::int8_t kSharedTestDomain = 73;

/// A topic name that no other process uses: "/qor_test/p<pid>/<name>".
inline std::string uniqueTopic(const std::string& name) {
    return "/qor_test/p" + std::to_string(::getpid()) + "/" + name;
}

}  // namespace qorTest
