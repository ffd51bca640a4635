#pragma once

// Two hosts on one machine: two network namespaces joined by a veth pair, each end with an
// address of its own, and nothing else but loopback. Removed again at destruction, whatever
// happened in between.

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "CommandOutput.h"

namespace qorTest {

class NetworkNamespacePair {
  public:
    NetworkNamespacePair() {
        const std::string id = std::to_string(::getpid());
        m_hosts = {"qor_host_a_" + id, "qor_host_b_" + id};
        m_links = {"qva" + id, "qvb" + id};
        const std::vector<std::string> addresses = {"10.213.7.1/24", "10.213.7.2/24"};
        // Leftovers of an earlier run with the same process id would make the setup fail.
        removeAll();
        run("ip link add " + m_links[0] + " type veth peer name " + m_links[1]);
        for (std::size_t i = 0; i < 2 && m_error.empty(); ++i) {
            run("ip netns add " + m_hosts[i]);
            run("ip link set " + m_links[i] + " netns " + m_hosts[i]);
            run("ip -n " + m_hosts[i] + " addr add " + addresses[i] + " dev " + m_links[i]);
            run("ip -n " + m_hosts[i] + " link set lo up");
            run("ip -n " + m_hosts[i] + " link set " + m_links[i] + " up");
        }
    }

    ~NetworkNamespacePair() { removeAll(); }

    NetworkNamespacePair(const NetworkNamespacePair&) = delete;
    NetworkNamespacePair& operator=(const NetworkNamespacePair&) = delete;

    /// Empty when both hosts are up; otherwise the first command that failed.
    const std::string& error() const { return m_error; }

    const std::string& host(std::size_t index) const { return m_hosts.at(index); }
    const std::string& link(std::size_t index) const { return m_links.at(index); }

    /// The bytes the host's end of the veth pair has received so far.
    unsigned long long receivedBytes(std::size_t index) const {
        const std::string text =
            commandOutput("ip netns exec " + m_hosts.at(index) + " cat /sys/class/net/" +
                          m_links.at(index) + "/statistics/rx_bytes");
        return std::strtoull(text.c_str(), nullptr, 10);
    }

  private:
    void run(const std::string& command) {
        if (m_error.empty() && std::system((command + " 2>&1").c_str()) != 0) {
            m_error = "command failed: " + command;
        }
    }

    void removeAll() {
        // Deleting a namespace deletes the end of the pair inside it, and with it the other end.
        for (const std::string& host : m_hosts) {
            std::system(("ip netns del " + host + " 2>/dev/null").c_str());
        }
        std::system(("ip link del " + m_links[0] + " 2>/dev/null").c_str());
    }

    std::vector<std::string> m_hosts;
    std::vector<std::string> m_links;
    std::string m_error;
};

}  // namespace qorTest
