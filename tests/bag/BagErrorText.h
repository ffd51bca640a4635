#pragma once

// The text of the BagError a call throws, for tests that pin every error's words.

#include <string>

#include "qorROS2/bag/BagError.h"

namespace qorTest {

/// What `call` throws as a BagError, or "no error" when it returns.
template <typename Call>
std::string bagErrorOf(Call call) {
    try {
        call();
    } catch (const qorROS2::bag::BagError& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace qorTest
