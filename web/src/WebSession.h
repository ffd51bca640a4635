#pragma once

// One client's connection: its HTTP request, then (after an upgrade) its WebSocket with what it
// subscribed, what it advertised, and the frames waiting for it.

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ProtocolMessages.h"
#include "ServerCore.h"

namespace qorROS2::web::detail {

/// Reads one HTTP request of a new connection and answers it: a file, a refusal, or the
/// WebSocket upgrade that hands the connection to a WebSession.
void serveConnection(ServerCore& core, boost::asio::ip::tcp::socket socket);

/// The newest sample of one subscription that the client has not been sent yet.
struct PendingSample {
    std::shared_ptr<const std::vector<std::uint8_t>> payload;
    std::int64_t logTimeNs = 0;
};

class WebSession : public std::enable_shared_from_this<WebSession> {
  public:
    WebSession(ServerCore& core, boost::beast::tcp_stream stream, std::string remote);

    /// Completes the upgrade `request` asked for with `subprotocol`, then serves the client.
    void accept(const boost::beast::http::request<boost::beast::http::string_body>& request,
                const std::string& subprotocol);

    // Under the core's mutex, from any thread: queue a frame and make sure it gets written.
    void queueText(std::string text);
    void queueSample(std::uint32_t subscriptionId, const PendingSample& sample);
    void queueTime(std::int64_t timeNs);
    /// A frame that is never dropped for a newer one: a service's response.
    void queueBinary(std::vector<std::uint8_t> frame);
    /// Under the core's mutex: sends what is queued, then closes with a policy error.
    void closeAfterQueued();
    /// I/O thread: closes the connection at once.
    void shutDown();

    // Under the core's mutex.
    std::uint64_t clientId = 0;
    std::string remote;
    std::map<std::uint32_t, ChannelId> subscriptions;       // by subscription id
    std::map<std::uint32_t, ClientChannel> clientChannels;  // by the client's channel id
    std::map<std::uint32_t, std::uint64_t> pendingCalls;    // the server's ticket by call id
    bool announcesTime = false;
    std::set<std::string> parameterSubscriptions;
    bool subscribedToEveryParameter = false;  // an empty subscribeParameterUpdates
    std::uint64_t sentSamples = 0;
    std::uint64_t droppedSamples = 0;
    std::uint64_t errors = 0;
    /// Drops what waits for a subscription that ends.
    void forgetSubscription(std::uint32_t subscriptionId);

  private:
    void schedule();
    void writeNext();
    /// Writes `buffers` as one text or binary frame; `lock` (the core's) is released first.
    template <typename Buffers>
    void startWrite(std::unique_lock<std::mutex>& lock, bool text, const Buffers& buffers);
    void read();
    void onRead(boost::beast::error_code error, std::size_t size);
    void fail();

    ServerCore* m_core;
    boost::beast::websocket::stream<boost::beast::tcp_stream> m_socket;

    // Under the core's mutex.
    std::deque<std::string> m_texts;
    std::deque<std::vector<std::uint8_t>> m_binaries;
    std::map<std::uint32_t, PendingSample> m_samples;
    std::deque<std::uint32_t> m_ready;
    std::optional<std::int64_t> m_time;
    bool m_writing = false;
    bool m_flushPosted = false;
    bool m_closing = false;
    bool m_closed = false;

    // I/O thread only: what is being read and written.
    boost::beast::flat_buffer m_chunk;
    std::string m_message;
    bool m_oversized = false;
    std::string m_outText;
    std::vector<std::uint8_t> m_outBinary;
    std::array<std::uint8_t, kMessageDataHeaderSize> m_outHeader{};
    std::array<std::uint8_t, 9> m_outTime{};
    std::shared_ptr<const std::vector<std::uint8_t>> m_outPayload;
};

}  // namespace qorROS2::web::detail
