#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "NotifyTestSupport.h"
#include "qor/Notify.h"

namespace qor::test {
namespace {

TEST(NotifySinkDeathTest, HeldBackLinesAreSummarisedWhenTheProcessExits) {
    // The child floods the default sink and exits at once: the summary comes out on its way out.
    EXPECT_EXIT(
        {
            // Lines of earlier tests in this process count against the current second.
            std::this_thread::sleep_for(std::chrono::milliseconds(1100));
            for (int i = 0; i < 25; ++i) {
                logLine(WARNING, "flood " + std::to_string(i));
            }
            std::exit(0);
        },
        ::testing::ExitedWithCode(0),
        "Warning: flood 19\nWarning: qor::Notify held back 5 lines; at most 20 lines a second "
        "are written to stderr \\(install a sink to receive every line\\)\n$");
}

}  // namespace
}  // namespace qor::test
