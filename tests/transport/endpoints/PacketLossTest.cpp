// Two hosts that drop 5 % of the packets each sends to the other (nftables, in an output chain of
// each network namespace): reliable streams must lose nothing and keep their order, best-effort
// streams lose about what is dropped and keep flowing. The same streams without loss give the
// figures to compare with; both runs print their delivered counts and latency percentiles.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <string>

#include "ChildProcess.h"
#include "NetworkNamespaces.h"
#include "TestTopics.h"

namespace {

constexpr int kSendSeconds = 10;

struct Received {
    unsigned long long count = 0;
    unsigned long long outOfOrder = 0;
    long long p50 = -1;
    long long p99 = -1;
    long long max = -1;
};

struct StreamRun {
    std::map<std::string, unsigned long long> sent;
    std::map<std::string, Received> received;
    std::string error;
};

// Drops `percent` % of what host sends on its end of the pair, at random.
std::string dropCommand(const qorTest::NetworkNamespacePair& hosts, std::size_t host, int percent) {
    const std::string nft = "ip netns exec " + hosts.host(host) + " nft ";
    return nft + "add table inet qor_loss && " + nft +
           "'add chain inet qor_loss output { type filter hook output priority 0 ; }' && " + nft +
           "'add rule inet qor_loss output oifname " + hosts.link(host) +
           " numgen random mod 100 < " + std::to_string(percent) + " drop'";
}

StreamRun runStreams(int domain, bool lossy) {
    StreamRun run;
    qorTest::NetworkNamespacePair hosts;
    if (!hosts.error().empty()) {
        run.error = hosts.error();
        return run;
    }
    if (lossy) {
        for (std::size_t host = 0; host < 2; ++host) {
            const std::string command = dropCommand(hosts, host, 5);
            if (std::system(command.c_str()) != 0) {
                run.error = "command failed: " + command;
                return run;
            }
        }
    }
    const std::string prefix = qorTest::uniqueTopic(lossy ? "lossy" : "clean");
    const std::string domainText = std::to_string(domain);
    qorTest::ChildProcess receiver(
        {QOR_LOSS_PEER, "receive", domainText, prefix, std::to_string(kSendSeconds + 75)},
        {qorTest::ChildProcess::OUTPUT, {}, hosts.host(1)});
    qorTest::ChildProcess sender(
        {QOR_LOSS_PEER, "send", domainText, prefix, std::to_string(kSendSeconds)},
        {qorTest::ChildProcess::OUTPUT, {}, hosts.host(0)});
    const auto finished = [](const std::string& text) {
        return text.find("received states") != std::string::npos;
    };
    sender.readUntil(
        [](const std::string& text) { return text.find("sent states") != std::string::npos; },
        std::chrono::seconds(kSendSeconds + 75));
    receiver.readUntil(finished, std::chrono::seconds(kSendSeconds + 90));
    std::istringstream sent(sender.output());
    for (std::string word, stream; sent >> word >> stream;) {
        sent >> run.sent[stream];
    }
    std::istringstream received(receiver.output());
    for (std::string word, stream; received >> word >> stream;) {
        Received& r = run.received[stream];
        received >> r.count >> r.outOfOrder >> r.p50 >> r.p99 >> r.max;
    }
    for (const auto& [stream, r] : run.received) {
        std::cout << "[ " << (lossy ? "5 % loss" : "no loss") << " ] " << stream << ": sent "
                  << run.sent[stream] << ", received " << r.count << ", out of order "
                  << r.outOfOrder << ", latency p50 " << r.p50 << " us, p99 " << r.p99
                  << " us, max " << r.max << " us" << std::endl;
    }
    if (!finished(receiver.output())) {
        run.error = "the receiver did not report: " + receiver.output() + " / " + sender.output();
    }
    return run;
}

void expectReliable(const StreamRun& run, const std::string& stream) {
    SCOPED_TRACE(stream);
    ASSERT_TRUE(run.sent.count(stream) == 1 && run.received.count(stream) == 1);
    EXPECT_GT(run.sent.at(stream), 0U);
    EXPECT_EQ(run.received.at(stream).count, run.sent.at(stream));
    EXPECT_EQ(run.received.at(stream).outOfOrder, 0U);
}

TEST(PacketLoss, ReliableStreamsLoseNothingAndBestEffortKeepsFlowing) {
    ASSERT_EQ(::geteuid(), 0U) << "PacketLoss needs root for network namespaces and nftables";
    const StreamRun run = runStreams(116, true);
    ASSERT_EQ(run.error, "");
    expectReliable(run, "commands");
    expectReliable(run, "clock");
    expectReliable(run, "image");
    // A sample of the best-effort stream is one datagram: it is lost when that one is dropped.
    const double sent = static_cast<double>(run.sent.at("states"));
    const double delivered = static_cast<double>(run.received.at("states").count) / sent;
    EXPECT_GT(delivered, 0.85);
    EXPECT_LT(delivered, 0.995);
    EXPECT_EQ(run.received.at("states").outOfOrder, 0U);
}

TEST(PacketLoss, WithoutLossEveryStreamArrivesWhole) {
    ASSERT_EQ(::geteuid(), 0U) << "PacketLoss needs root for network namespaces";
    const StreamRun run = runStreams(117, false);
    ASSERT_EQ(run.error, "");
    expectReliable(run, "commands");
    expectReliable(run, "clock");
    expectReliable(run, "image");
    // With nothing dropped on the way, a best-effort sample is lost only when the receiving
    // host's socket buffer overflows while its process is held back, which a busy machine does
    // now and then for a few of 5000; it never comes near what 5 % loss costs.
    EXPECT_GT(static_cast<double>(run.received.at("states").count),
              0.98 * static_cast<double>(run.sent.at("states")));
    EXPECT_EQ(run.received.at("states").outOfOrder, 0U);
}

}  // namespace
