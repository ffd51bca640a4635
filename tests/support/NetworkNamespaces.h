#pragma once

// Networks of a test's own. A NetworkNamespace is one host: made with loopback up, always removed
// again. The topologies join hosts: a pair on one veth link, or several on one switch. A test
// that needs no second host leaves the machine's network altogether (enterPrivateNetwork).
// Making namespaces needs CAP_SYS_ADMIN.

#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace qorTest {

/// Runs `ip` with `arguments` (words separated by spaces, none quoted): "" when it succeeded,
/// else the command and what it printed.
inline std::string runIp(const std::string& arguments) {
    std::vector<std::string> argv = {"ip"};
    std::istringstream words(arguments);
    for (std::string word; words >> word;) {
        argv.push_back(word);
    }
    ChildProcess::Options options;
    options.output = ChildProcess::MERGED;
    const RunResult result = runToCompletion(argv, options, std::chrono::seconds(30));
    return result.exitCode == 0 ? "" : "command failed: ip " + arguments + ": " + result.output;
}

/// A network namespace named `name`, with loopback up, removed at destruction with every link
/// in it (deleting one end of a veth pair deletes the other).
class NetworkNamespace {
  public:
    explicit NetworkNamespace(std::string name) : m_name(std::move(name)) {
        // A leftover of an earlier run with the same process id would make the setup fail.
        runIp("netns del " + m_name);
        m_error = runIp("netns add " + m_name);
        run("link set lo up");
    }
    ~NetworkNamespace() { runIp("netns del " + m_name); }
    NetworkNamespace(const NetworkNamespace&) = delete;
    NetworkNamespace& operator=(const NetworkNamespace&) = delete;

    const std::string& name() const { return m_name; }
    /// Empty while every command succeeded; otherwise the first that failed.
    const std::string& error() const { return m_error; }

    /// Runs `ip -n NAME arguments`, unless an earlier command failed.
    void run(const std::string& arguments) {
        if (m_error.empty()) {
            m_error = runIp("-n " + m_name + " " + arguments);
        }
    }

    /// Waits until `link` is up, unless an earlier command failed. A veth end gets its carrier
    /// a moment after both ends were set up, and a participant started before that would see no
    /// network but loopback.
    void awaitUp(const std::string& link) {
        if (!m_error.empty()) {
            return;
        }
        ChildProcess::Options options;
        options.output = ChildProcess::MERGED;
        std::string state;
        const bool up = waitFor(
            [&] {
                state = runToCompletion({"ip", "-n", m_name, "-br", "link", "show", "dev", link},
                                        options, std::chrono::seconds(30))
                            .output;
                std::istringstream words(state);
                std::string name, operState;
                return words >> name >> operState && operState == "UP";
            },
            std::chrono::seconds(20));
        if (!up) {
            m_error = "link " + link + " of " + m_name + " did not come up: " + state;
        }
    }

  private:
    std::string m_name;
    std::string m_error;
};

/// Hosts that a topology joins: `count` namespaces named `prefix`0_ID, `prefix`1_ID, ... (ID the
/// test's process id, so that tests running at once do not collide).
class NetworkHosts {
  public:
    NetworkHosts(const std::string& prefix, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            m_hosts.push_back(
                std::make_unique<NetworkNamespace>(prefix + std::to_string(i) + "_" + id()));
        }
    }

    static std::string id() { return std::to_string(::getpid()); }
    std::size_t size() const { return m_hosts.size(); }
    NetworkNamespace& at(std::size_t index) { return *m_hosts.at(index); }
    const std::string& host(std::size_t index) const { return m_hosts.at(index)->name(); }
    /// The first failure of any host; empty when every host is up.
    std::string error() const {
        for (const auto& host : m_hosts) {
            if (!host->error().empty()) {
                return host->error();
            }
        }
        return "";
    }

  private:
    std::vector<std::unique_ptr<NetworkNamespace>> m_hosts;
};

/// Two hosts joined by a veth pair, each end with an address of its own (10.213.7.1 and .2), and
/// nothing else but loopback.
class NetworkNamespacePair {
  public:
    NetworkNamespacePair() : m_hosts("qor_pair_", 2) {
        m_links = {"qva" + NetworkHosts::id(), "qvb" + NetworkHosts::id()};
        m_hosts.at(0).run("link add " + m_links[0] + " type veth peer name " + m_links[1] +
                          " netns " + m_hosts.host(1));
        const std::vector<std::string> addresses = {"10.213.7.1/24", "10.213.7.2/24"};
        for (std::size_t i = 0; i < 2; ++i) {
            m_hosts.at(i).run("addr add " + addresses[i] + " dev " + m_links[i]);
            m_hosts.at(i).run("link set " + m_links[i] + " up");
        }
        for (std::size_t i = 0; i < 2; ++i) {
            m_hosts.at(i).awaitUp(m_links[i]);
        }
    }

    /// Empty when both hosts are up; otherwise the first command that failed.
    std::string error() const { return m_hosts.error(); }
    const std::string& host(std::size_t index) const { return m_hosts.host(index); }
    const std::string& link(std::size_t index) const { return m_links.at(index); }

    /// The bytes the host's end of the veth pair has received so far.
    unsigned long long receivedBytes(std::size_t index) const {
        const RunResult read =
            runToCompletion({"ip", "netns", "exec", host(index), "cat",
                             "/sys/class/net/" + link(index) + "/statistics/rx_bytes"},
                            {ChildProcess::OUTPUT, {}, ""}, std::chrono::seconds(30));
        return std::strtoull(read.output.c_str(), nullptr, 10);
    }

  private:
    NetworkHosts m_hosts;
    std::vector<std::string> m_links;
};

/// Several hosts, each joined by a veth pair to a bridge in a namespace of its own (the switch),
/// with addresses 10.213.8.1, .2, ... and, when asked, multicast switched off on every host's
/// link.
class NetworkSwitch {
  public:
    NetworkSwitch(std::size_t hosts, bool multicast)
        : m_switch("qor_switch_" + NetworkHosts::id()), m_hosts("qor_host_", hosts) {
        m_switch.run("link add qbr type bridge");
        m_switch.run("link set qbr up");
        for (std::size_t i = 0; i < hosts; ++i) {
            NetworkNamespace& host = m_hosts.at(i);
            const std::string link = "qs" + std::to_string(i) + "_" + NetworkHosts::id();
            host.run("link add eth0 type veth peer name " + link + " netns " + m_switch.name());
            m_switch.run("link set " + link + " master qbr up");
            host.run("addr add " + address(i) + "/24 dev eth0");
            if (!multicast) {
                host.run("link set eth0 multicast off");
            }
            host.run("link set eth0 up");
        }
        for (std::size_t i = 0; i < hosts; ++i) {
            m_hosts.at(i).awaitUp("eth0");
        }
    }

    /// Empty when every host is up; otherwise the first command that failed.
    std::string error() const {
        return m_switch.error().empty() ? m_hosts.error() : m_switch.error();
    }
    const std::string& host(std::size_t index) const { return m_hosts.host(index); }
    static std::string address(std::size_t index) {
        return "10.213.8." + std::to_string(index + 1);
    }

  private:
    NetworkNamespace m_switch;  // removed after the hosts, whose links end in it
    NetworkHosts m_hosts;
};

/// Moves the calling thread, and every thread and child process it starts from then on, into a
/// network namespace of its own with loopback up, and sets ROS_AUTOMATIC_DISCOVERY_RANGE to
/// LOCALHOST (discovery by unicast to 127.0.0.1 only, no multicast, so nothing crosses into
/// another namespace through shared memory either). Participants made afterwards, in this process
/// or in programs it starts, find each other and nobody else, on whatever domain. Call it before
/// the process first asks for its ROS environment (when it makes its first participant, at the
/// latest): the transport reads the variables once. The namespace ends with the last process in
/// it. Returns what failed, or "" when the network is private.
inline std::string enterPrivateNetwork() {
    if (::unshare(CLONE_NEWNET) != 0) {
        return std::string("unshare(CLONE_NEWNET) failed: ") + std::strerror(errno);
    }
    // ip runs in the new namespace, since it is started from this thread.
    const std::string error = runIp("link set lo up");
    if (!error.empty()) {
        return error + " (in the new network namespace)";
    }
    ::setenv("ROS_AUTOMATIC_DISCOVERY_RANGE", "LOCALHOST", 1);
    return "";
}

}  // namespace qorTest
