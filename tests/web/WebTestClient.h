#pragma once

// Plain clients of the web server for the tests: a WebSocket that sends whatever it is told
// (garbage included) and reads frame by frame, and one HTTP GET. Both give up after a bounded
// wait instead of hanging a test.

// GCC sees a possible null dereference inside Asio's scheduler once its handlers are inlined;
// Asio checks that pointer itself. The tests that include this header keep every other warning.
#pragma GCC diagnostic ignored "-Wnull-dereference"

#include <sys/socket.h>
#include <sys/time.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace qorWebTest {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using boost::asio::ip::tcp;

/// Makes blocking reads on `socket` fail after `timeout` instead of waiting for ever.
inline void limitReads(tcp::socket& socket, std::chrono::milliseconds timeout) {
    timeval limit{};
    limit.tv_sec = static_cast<time_t>(timeout.count() / 1000);
    limit.tv_usec = static_cast<suseconds_t>((timeout.count() % 1000) * 1000);
    ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

/// One message read from the server: text, binary, or the end of the connection.
struct Frame {
    bool text = false;
    std::string data;
    bool closed = false;  ///< the server closed the connection (closeCode tells how)
    int closeCode = 0;
    bool timedOut = false;
};

class RawWebSocket {
  public:
    /// Connects to 127.0.0.1:`port` and upgrades `target` with `subprotocol`; throws
    /// boost::system::system_error when the server refuses.
    RawWebSocket(std::uint16_t port, const std::string& subprotocol = "foxglove.websocket.v1",
                 const std::string& target = "/")
        : m_socket(m_context) {
        beast::get_lowest_layer(m_socket).connect(
            tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"), port));
        limitReads(beast::get_lowest_layer(m_socket), std::chrono::seconds(15));
        m_socket.set_option(
            websocket::stream_base::decorator([subprotocol](websocket::request_type& request) {
                request.set(http::field::sec_websocket_protocol, subprotocol);
            }));
        m_socket.handshake("127.0.0.1:" + std::to_string(port), target);
        m_socket.read_message_max(0);
    }

    void sendText(const std::string& text) {
        m_socket.text(true);
        m_socket.write(boost::asio::buffer(text));
    }
    void sendBinary(const std::vector<std::uint8_t>& bytes) {
        m_socket.binary(true);
        m_socket.write(boost::asio::buffer(bytes));
    }

    /// The next message, or how the connection ended.
    Frame read() {
        Frame frame;
        beast::flat_buffer buffer;
        beast::error_code error;
        m_socket.read(buffer, error);
        if (error == websocket::error::closed) {
            frame.closed = true;
            frame.closeCode = m_socket.reason().code;
            return frame;
        }
        if (error) {
            frame.closed = true;
            frame.timedOut =
                error == boost::asio::error::would_block || error == boost::asio::error::try_again;
            return frame;
        }
        frame.text = m_socket.got_text();
        frame.data = beast::buffers_to_string(buffer.data());
        return frame;
    }

    /// Reads until a text message containing `needle` (returned) or the connection ends.
    std::optional<std::string> readTextWith(const std::string& needle) {
        for (;;) {
            const Frame frame = read();
            if (frame.closed) {
                return std::nullopt;
            }
            if (frame.text && frame.data.find(needle) != std::string::npos) {
                return frame.data;
            }
        }
    }

    tcp::socket& socket() { return beast::get_lowest_layer(m_socket); }
    /// The WebSocket itself, for a client that reads into buffers of its own.
    websocket::stream<tcp::socket>& stream() { return m_socket; }

  private:
    boost::asio::io_context m_context;
    websocket::stream<tcp::socket> m_socket;
};

/// The next message whose op is `op`, skipping the others; null when the connection ended first.
inline nlohmann::json nextOp(RawWebSocket& socket, const std::string& op) {
    for (;;) {
        const Frame frame = socket.read();
        if (frame.closed) {
            return nullptr;
        }
        if (frame.text) {
            nlohmann::json message = nlohmann::json::parse(frame.data);
            if (message.at("op") == op) {
                return message;
            }
        }
    }
}

/// The server's warnings, written on its thread and read on the test's.
struct LogLines {
    std::function<void(const std::string&)> sink() {
        return [this](const std::string& line) {
            const std::lock_guard<std::mutex> lock(mutex);
            kept.push_back(line);
        };
    }
    std::vector<std::string> lines() {
        const std::lock_guard<std::mutex> lock(mutex);
        return kept;
    }
    std::mutex mutex;
    std::vector<std::string> kept;
};

struct HttpAnswer {
    unsigned status = 0;
    std::string contentType;
    std::string body;
};

/// GET (or `method`) `target` from 127.0.0.1:`port`, the target sent exactly as given.
inline HttpAnswer httpRequest(std::uint16_t port, const std::string& target,
                              const std::map<std::string, std::string>& headers = {},
                              http::verb method = http::verb::get) {
    boost::asio::io_context context;
    tcp::socket socket(context);
    socket.connect(tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"), port));
    limitReads(socket, std::chrono::seconds(15));
    http::request<http::empty_body> request{method, target, 11};
    request.set(http::field::host, "127.0.0.1");
    for (const auto& [name, value] : headers) {
        request.set(name, value);
    }
    http::write(socket, request);
    beast::flat_buffer buffer;
    http::response<http::string_body> response;
    http::read(socket, buffer, response);
    return {response.result_int(), std::string(response[http::field::content_type]),
            response.body()};
}

/// What a server handed the program on its own thread (a call, a parameter request), kept for
/// the test to look at and answer.
template <typename Item>
class HandedOver {
  public:
    void add(Item item) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_items.push_back(std::move(item));
        }
        m_arrived.notify_all();
    }
    /// The `index`-th item, once it came (bounded: a missing one fails the test, not hangs it).
    std::optional<Item> wait(std::size_t index) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_arrived.wait_for(lock, std::chrono::seconds(10),
                                [&] { return m_items.size() > index; })) {
            return std::nullopt;
        }
        return m_items[index];
    }
    std::size_t size() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_items.size();
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::vector<Item> m_items;
};

}  // namespace qorWebTest
