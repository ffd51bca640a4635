#pragma once

// An action server of simulation_interfaces/action/SimulateSteps run as a simulation runs one:
// a thread calls handleRequests() in a loop and makes one step of every executing goal per turn,
// as far as the test allows, so that a test decides when each feedback and each result goes.

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qorROS2/ActionServer.h"

namespace qorTest {

/// Serves SimulateSteps goals: a goal of no steps is refused, any other accepted and executing.
/// Each allowed turn does one step of every executing goal (feedback "completed, remaining"),
/// and a turn after the last step ends the goal with SUCCEEDED and the result message
/// "stepped N". A goal being cancelled ends with CANCELED on the next turn, allowed or not.
/// Goals do not step before a feedback subscription has matched.
class SteppingActionServer {
  public:
    using SimulateSteps = qorROS2::simulationInterfaces::SimulateSteps;
    using Server = qorROS2::ActionServer<SimulateSteps>;

    SteppingActionServer(const std::string& action, std::int8_t domain,
                         qorROS2::ActionServerOptions options = {}, bool acceptCancels = true)
        : m_server(
              action, domain,
              [this](const qorROS2::GoalId& id, const SimulateSteps::Goal& goal) {
                  if (goal.steps == 0) {
                      return qorROS2::GoalResponse::reject;
                  }
                  m_done[id] = 0;
                  return qorROS2::GoalResponse::acceptAndExecute;
              },
              [acceptCancels](const qorROS2::GoalId&) {
                  return acceptCancels ? qorROS2::CancelResponse::accept
                                       : qorROS2::CancelResponse::reject;
              },
              std::move(options)),
          m_thread([this] { run(); }) {}

    ~SteppingActionServer() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
        }
        m_thread.join();
    }
    SteppingActionServer(const SteppingActionServer&) = delete;
    SteppingActionServer& operator=(const SteppingActionServer&) = delete;

    /// Lets the loop make `turns` more turns that step.
    void allowTurns(int turns) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_allowed += turns;
    }

    /// Runs `look` on the server between two turns of the loop and returns what it returns.
    template <typename Look>
    auto with(Look&& look) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return look(m_server);
    }

    /// The requests the loop has taken so far.
    std::size_t taken() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_taken;
    }

    /// What the server refused to do that the loop asked of it; empty when all went well.
    std::vector<std::string> failures() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_failures;
    }

  private:
    void run() {
        for (;;) {
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                if (m_stop) {
                    return;
                }
                m_taken += m_server.handleRequests();
                turn();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    void turn() {
        const bool stepping = m_allowed > 0 && m_server.feedbackSubscriptions() > 0;
        for (const qorROS2::GoalId& id : m_server.activeGoals()) {
            if (m_server.status(id) == qorROS2::goalStatus::canceling) {
                check(m_server.canceled(id, SimulateSteps::Result{}), "canceled", id);
                continue;
            }
            const SimulateSteps::Goal* goal = m_server.goal(id);
            if (!stepping || goal == nullptr) {
                continue;
            }
            std::uint64_t& done = m_done[id];
            if (done == goal->steps) {
                SimulateSteps::Result result{};
                result.result.error_message = "stepped " + std::to_string(done);
                check(m_server.succeed(id, result), "succeed", id);
                continue;
            }
            ++done;
            check(m_server.publishFeedback(id, SimulateSteps::Feedback{done, goal->steps - done}),
                  "publishFeedback", id);
        }
        if (stepping) {
            --m_allowed;
        }
    }

    void check(bool done, const char* what, const qorROS2::GoalId& id) {
        if (!done) {
            m_failures.push_back(std::string(what) + " failed for " + qorROS2::goalIdText(id));
        }
    }

    std::mutex m_mutex;
    Server m_server;
    std::map<qorROS2::GoalId, std::uint64_t> m_done;
    int m_allowed = 0;
    std::size_t m_taken = 0;
    bool m_stop = false;
    std::vector<std::string> m_failures;
    std::thread m_thread;
};

}  // namespace qorTest
