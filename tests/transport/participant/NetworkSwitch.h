#pragma once

// Several hosts on one machine: a network namespace per host, each joined by a veth pair to a
// bridge in a namespace of its own (the switch), with addresses 10.213.8.1, .2, ... and, when
// asked, multicast switched off on every host's link. Removed again at destruction.

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace qorTest {

class NetworkSwitch {
  public:
    NetworkSwitch(std::size_t hosts, bool multicast) {
        const std::string id = std::to_string(::getpid());
        m_switch = "qor_switch_" + id;
        for (std::size_t i = 0; i < hosts; ++i) {
            m_hosts.push_back("qor_host_" + std::to_string(i) + "_" + id);
        }
        removeAll();
        run("ip netns add " + m_switch);
        run("ip -n " + m_switch + " link add qbr type bridge");
        run("ip -n " + m_switch + " link set qbr up");
        for (std::size_t i = 0; i < hosts && m_error.empty(); ++i) {
            const std::string host = m_hosts[i];
            const std::string link = "qs" + std::to_string(i) + "_" + id;
            run("ip netns add " + host);
            run("ip -n " + host + " link add eth0 type veth peer name " + link + " netns " +
                m_switch);
            run("ip -n " + m_switch + " link set " + link + " master qbr up");
            run("ip -n " + host + " addr add " + address(i) + "/24 dev eth0");
            run("ip -n " + host + " link set lo up");
            if (!multicast) {
                run("ip -n " + host + " link set eth0 multicast off");
            }
            run("ip -n " + host + " link set eth0 up");
        }
    }

    ~NetworkSwitch() { removeAll(); }

    NetworkSwitch(const NetworkSwitch&) = delete;
    NetworkSwitch& operator=(const NetworkSwitch&) = delete;

    /// Empty when every host is up; otherwise the first command that failed.
    const std::string& error() const { return m_error; }
    const std::string& host(std::size_t index) const { return m_hosts.at(index); }
    static std::string address(std::size_t index) {
        return "10.213.8." + std::to_string(index + 1);
    }

  private:
    void run(const std::string& command) {
        if (m_error.empty() && std::system((command + " 2>&1").c_str()) != 0) {
            m_error = "command failed: " + command;
        }
    }

    void removeAll() {
        // Deleting a namespace deletes the veth ends in it, and with them their peers.
        for (const std::string& host : m_hosts) {
            std::system(("ip netns del " + host + " 2>/dev/null").c_str());
        }
        std::system(("ip netns del " + m_switch + " 2>/dev/null").c_str());
    }

    std::string m_switch;
    std::vector<std::string> m_hosts;
    std::string m_error;
};

}  // namespace qorTest
