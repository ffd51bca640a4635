#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace qorSensorTest {

// Expects function to throw std::invalid_argument with exactly text.
template <class Function>
inline void expectInvalidArgument(Function function, const std::string& text) {
    try {
        function();
        ADD_FAILURE() << "no exception; expected: " << text;
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
}

}  // namespace qorSensorTest
