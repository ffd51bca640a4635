#include "common/ParameterRequestQueue.h"

#include <utility>

namespace qorApps {

void ParameterRequestQueue::takeRequestsOf(qorROS2::web::ServerOptions& options,
                                           std::function<void()> arrived) {
    m_arrived = std::move(arrived);
    options.onGetParameters = [this](const std::vector<std::string>& names,
                                     qorROS2::web::ParameterReply reply) {
        add({names, {}, false, std::move(reply)});
    };
    options.onSetParameters = [this](const std::vector<qorROS2::web::Parameter>& parameters,
                                     qorROS2::web::ParameterReply reply) {
        add({{}, parameters, true, std::move(reply)});
    };
}

void ParameterRequestQueue::add(ParameterRequest request) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_waiting.push_back(std::move(request));
    }
    if (m_arrived) {
        m_arrived();
    }
}

std::deque<ParameterRequest> ParameterRequestQueue::take() {
    std::deque<ParameterRequest> taken;
    const std::lock_guard<std::mutex> lock(m_mutex);
    taken.swap(m_waiting);
    return taken;
}

}  // namespace qorApps
