// `topic bw`'s report: the rate over the window in B, KB or MB, and the message sizes.

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>

#include "topic/measure/BandwidthMeter.h"

namespace {

using qorCli::BandwidthMeter;

// A message of `bytes` that arrived at `seconds`.
struct Arrival {
    std::size_t bytes;
    double seconds;
};

// Hands `arrivals` to `meter`, in their order.
void receive(BandwidthMeter& meter, std::initializer_list<Arrival> arrivals) {
    for (const Arrival& arrival : arrivals) {
        meter.add(arrival.bytes, arrival.seconds);
    }
}

// The report at `nowSeconds` of a meter with the default window that received `arrivals`.
std::optional<std::string> reportAfter(std::initializer_list<Arrival> arrivals, double nowSeconds) {
    BandwidthMeter meter;
    receive(meter, arrivals);
    return meter.report(nowSeconds);
}

TEST(BandwidthMeter, ReportsNothingBeforeTwoSamples) {
    BandwidthMeter meter;
    EXPECT_EQ(meter.report(5.0), std::nullopt);
    receive(meter, {{100, 1.0}});
    EXPECT_EQ(meter.report(5.0), std::nullopt);
}

TEST(BandwidthMeter, SmallRatesAreInBytes) {
    EXPECT_EQ(reportAfter({{100, 1.0}, {100, 1.5}}, 2.0),
              "200 B/s from 2 messages\n\tMessage size mean: 100 B min: 100 B max: 100 B\n");
}

TEST(BandwidthMeter, BytesRoundHalfToEven) {
    EXPECT_EQ(reportAfter({{2, 1.0}, {3, 1.5}}, 2.0),
              "5 B/s from 2 messages\n\tMessage size mean: 2 B min: 2 B max: 3 B\n");
}

TEST(BandwidthMeter, RatesFromAThousandBytesAreInKilobytes) {
    EXPECT_EQ(reportAfter({{1500, 10.0}, {2500, 10.5}}, 11.0),
              "4.00 KB/s from 2 messages\n\tMessage size mean: 2.00 KB min: "
              "1.50 KB max: 2.50 KB\n");
}

TEST(BandwidthMeter, RatesFromAMillionBytesAreInMegabytes) {
    EXPECT_EQ(reportAfter({{6220800, 0.0}, {6220800, 0.1}, {6220800, 0.2}}, 1.0),
              "18.66 MB/s from 3 messages\n\tMessage size mean: 6.22 MB min: "
              "6.22 MB max: 6.22 MB\n");
}

TEST(BandwidthMeter, KeepsOnlyTheWindow) {
    BandwidthMeter meter(2);
    receive(meter, {{900, 0.0}, {100, 1.0}, {300, 2.0}});
    // The first sample left the window: 400 bytes since the second one.
    EXPECT_EQ(meter.report(3.0),
              "200 B/s from 2 messages\n\tMessage size mean: 200 B min: 100 B max: 300 B\n");
}

TEST(BandwidthMeter, ReportsNothingWhenTheClockIsNotPastTheWindow) {
    BandwidthMeter meter;
    receive(meter, {{100, 4.0}, {100, 5.0}});
    EXPECT_EQ(meter.report(4.0), std::nullopt);
    EXPECT_EQ(meter.report(3.0), std::nullopt);
}

TEST(BandwidthMeter, AClockThatGoesBackRestartsTheWindow) {
    BandwidthMeter meter;
    receive(meter, {{100, 50.0}, {100, 51.0}, {10, 1.0}});
    EXPECT_EQ(meter.report(2.0), std::nullopt);
    meter.add(10, 1.5);
    EXPECT_EQ(meter.report(2.0),
              "20 B/s from 2 messages\n\tMessage size mean: 10 B min: 10 B max: 10 B\n");
}

TEST(BandwidthMeter, SubscribedLineNamesTheTopic) {
    EXPECT_EQ(qorCli::subscribedLine("/camera/image_raw"), "Subscribed to [/camera/image_raw]\n");
}

}  // namespace
