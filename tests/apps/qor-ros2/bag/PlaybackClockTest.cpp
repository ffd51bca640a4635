// The schedule a player computes from the bag's times: message k is due at start + (log time -
// first) / rate, whatever happened to the messages before it, and a change of rate or a pause
// keeps the bag's time continuous.

#include <gtest/gtest.h>

#include <chrono>

#include "bag/PlaybackClock.h"

namespace {

using qorCli::PlaybackClock;
using namespace std::chrono_literals;

// A steady clock the test moves by hand.
struct ManualTime {
    PlaybackClock::SteadyTime now{std::chrono::seconds(1000)};
    PlaybackClock::SteadyNow source() {
        return [this] { return now; };
    }
};

constexpr std::int64_t kFirst = 1'700'000'000'000'000'000;

TEST(PlaybackClock, SchedulesEachMessageFromTheFirstAtTheRate) {
    for (const double rate : {1.0, 2.0, 0.5}) {
        ManualTime time;
        const auto start = time.now;
        PlaybackClock clock(kFirst, rate, false, time.source());
        for (const std::int64_t offset : {0LL, 1'000'000LL, 250'000'000LL, 7'000'000'001LL}) {
            // Time passing (a late message) does not move the schedule of the later ones.
            time.now += 3ms;
            const auto due = clock.steadyTimeOf(kFirst + offset);
            EXPECT_EQ((due - start).count(),
                      static_cast<std::int64_t>(static_cast<double>(offset) / rate + 0.5))
                << "rate " << rate << ", offset " << offset;
        }
    }
}

TEST(PlaybackClock, RateTwoHalvesEveryGap) {
    ManualTime time;
    PlaybackClock one(kFirst, 1.0, false, time.source());
    PlaybackClock two(kFirst, 2.0, false, time.source());
    for (std::int64_t gap : {100'000'000LL, 4LL, 2'000'000'000LL}) {
        EXPECT_EQ((two.steadyTimeOf(kFirst + gap) - time.now).count() * 2,
                  (one.steadyTimeOf(kFirst + gap) - time.now).count());
    }
}

TEST(PlaybackClock, ARateChangeOrAPauseKeepsTheBagTimeContinuous) {
    ManualTime time;
    PlaybackClock clock(kFirst, 1.0, false, time.source());
    time.now += 1s;
    EXPECT_EQ(clock.now(), kFirst + 1'000'000'000);
    ASSERT_TRUE(clock.setRate(2.0));
    EXPECT_EQ(clock.now(), kFirst + 1'000'000'000);
    time.now += 1s;
    EXPECT_EQ(clock.now(), kFirst + 3'000'000'000);
    clock.pause();
    time.now += 5s;
    EXPECT_EQ(clock.now(), kFirst + 3'000'000'000);
    EXPECT_FALSE(clock.sleepUntil(kFirst, 1ms));
    clock.resume();
    time.now += 500ms;
    EXPECT_EQ(clock.now(), kFirst + 4'000'000'000);
    EXPECT_FALSE(clock.setRate(0.0));
    EXPECT_FALSE(clock.setRate(-1.0));
    EXPECT_EQ(clock.rate(), 2.0);
    clock.jump(kFirst);
    EXPECT_EQ(clock.now(), kFirst);
}

TEST(PlaybackClock, SleepsUntilTheMessageIsDueOnTheRealClock) {
    PlaybackClock clock(kFirst, 4.0);
    const auto before = std::chrono::steady_clock::now();
    while (!clock.sleepUntil(kFirst + 200'000'000)) {
    }
    // Never early; how late is the scheduler's business.
    EXPECT_GE(std::chrono::steady_clock::now() - before, 50ms);
    EXPECT_GE(clock.now(), kFirst + 200'000'000);
}

}  // namespace
