#include "WebSession.h"

// GCC sees a possible null dereference inside Asio's scheduler once its handlers are inlined here;
// Asio checks that pointer itself. Every other warning stays on.
#pragma GCC diagnostic ignored "-Wnull-dereference"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/file_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <chrono>
#include <utility>

#include "StaticFiles.h"

namespace qorROS2::web::detail {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using Request = http::request<http::string_body>;

constexpr const char* kSubprotocols[] = {"foxglove.websocket.v1", "foxglove.sdk.v1"};
constexpr std::size_t kReadChunk = 64 * 1024;

// The first subprotocol the client offers that we speak; empty when none.
std::string chosenSubprotocol(const Request& request) {
    const std::string offered(request[http::field::sec_websocket_protocol]);
    std::size_t start = 0;
    while (start <= offered.size()) {
        const std::size_t end = std::min(offered.find(',', start), offered.size());
        std::string name = offered.substr(start, end - start);
        name.erase(0, name.find_first_not_of(" \t"));
        name.erase(name.find_last_not_of(" \t") + 1);
        for (const char* ours : kSubprotocols) {
            if (name == ours) {
                return name;
            }
        }
        start = end + 1;
    }
    return {};
}

// Compares without stopping at the first difference, so that timing tells nothing of the token.
bool sameToken(const std::string& given, const std::string& expected) {
    unsigned char difference = given.size() == expected.size() ? 0 : 1;
    for (std::size_t i = 0; i < given.size(); ++i) {
        difference |= static_cast<unsigned char>(given[i] ^ expected[i % expected.size()]);
    }
    return difference == 0;
}

bool authorized(const Request& request, const std::string& token) {
    if (token.empty()) {
        return true;
    }
    const std::optional<std::string> query = queryParameter(std::string(request.target()), "token");
    if (query && sameToken(*query, token)) {
        return true;
    }
    const std::string header(request[http::field::authorization]);
    const std::string bearer = "Bearer ";
    return header.compare(0, bearer.size(), bearer) == 0 &&
           sameToken(header.substr(bearer.size()), token);
}

// One HTTP exchange: the request, then an answer, then the connection closes.
class HttpExchange : public std::enable_shared_from_this<HttpExchange> {
  public:
    HttpExchange(ServerCore& core, boost::asio::ip::tcp::socket socket)
        : m_core(&core), m_stream(std::move(socket)) {}

    void start() {
        boost::system::error_code unknown;
        const auto endpoint = m_stream.socket().remote_endpoint(unknown);
        m_remote =
            unknown ? "?" : endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
        m_parser.header_limit(16 * 1024);
        m_parser.body_limit(64 * 1024);
        // A client that never finishes its request does not hold the connection.
        m_stream.expires_after(std::chrono::seconds(30));
        http::async_read(m_stream, m_buffer, m_parser,
                         [self = shared_from_this()](beast::error_code error, std::size_t) {
                             if (!error) {
                                 self->answer();
                             }
                         });
    }

  private:
    void answer() {
        const Request& request = m_parser.get();
        if (!authorized(request, m_core->options().token)) {
            reply(http::status::unauthorized,
                  "a token is needed: add ?token=TOKEN to the address or send the header "
                  "\"Authorization: Bearer TOKEN\"\n");
            return;
        }
        if (websocket::is_upgrade(request)) {
            const std::string subprotocol = chosenSubprotocol(request);
            if (subprotocol.empty()) {
                reply(http::status::bad_request,
                      "this server speaks the WebSocket subprotocols foxglove.websocket.v1 and "
                      "foxglove.sdk.v1; the client offered neither\n");
                return;
            }
            m_stream.expires_never();
            auto session = std::make_shared<WebSession>(*m_core, std::move(m_stream), m_remote);
            session->accept(request, subprotocol);
            return;
        }
        if (request.method() != http::verb::get && request.method() != http::verb::head) {
            reply(http::status::method_not_allowed, "only GET and HEAD are served\n");
            return;
        }
        const std::string& directory = m_core->options().staticDirectory;
        const std::optional<std::filesystem::path> file =
            directory.empty() ? std::nullopt : staticFile(directory, std::string(request.target()));
        if (!file) {
            reply(http::status::not_found, "not found\n");
            return;
        }
        http::response<http::file_body> response{http::status::ok, request.version()};
        beast::error_code error;
        response.body().open(file->c_str(), beast::file_mode::scan, error);
        if (error) {
            reply(http::status::not_found, "not found\n");
            return;
        }
        response.set(http::field::content_type, contentType(*file));
        response.set(http::field::cache_control, "no-cache");
        response.keep_alive(false);
        response.prepare_payload();
        if (request.method() == http::verb::head) {
            http::response<http::empty_body> head{http::status::ok, request.version()};
            head.set(http::field::content_type, contentType(*file));
            head.content_length(response.body().size());
            head.keep_alive(false);
            send(std::move(head));
            return;
        }
        send(std::move(response));
    }

    void reply(http::status status, const std::string& text) {
        http::response<http::string_body> response{status, m_parser.get().version()};
        response.set(http::field::content_type, "text/plain; charset=utf-8");
        if (status == http::status::unauthorized) {
            response.set(http::field::www_authenticate, "Bearer");
        }
        response.body() = text;
        response.keep_alive(false);
        response.prepare_payload();
        send(std::move(response));
    }

    template <typename Response>
    void send(Response&& response) {
        auto kept = std::make_shared<std::decay_t<Response>>(std::forward<Response>(response));
        http::async_write(m_stream, *kept,
                          [self = shared_from_this(), kept](beast::error_code, std::size_t) {
                              beast::error_code ignored;
                              self->m_stream.socket().shutdown(
                                  boost::asio::ip::tcp::socket::shutdown_send, ignored);
                          });
    }

    ServerCore* m_core;
    beast::tcp_stream m_stream;
    beast::flat_buffer m_buffer;
    http::request_parser<http::string_body> m_parser;
    std::string m_remote;
};

}  // namespace

void serveConnection(ServerCore& core, boost::asio::ip::tcp::socket socket) {
    std::make_shared<HttpExchange>(core, std::move(socket))->start();
}

WebSession::WebSession(ServerCore& core, beast::tcp_stream stream, std::string remoteAddress)
    : remote(std::move(remoteAddress)), m_core(&core), m_socket(std::move(stream)) {}

void WebSession::accept(const Request& request, const std::string& subprotocol) {
    // Pings at half the idle time: a client that only listens still answers them, and one that
    // is gone is let go after five minutes.
    websocket::stream_base::timeout timeout =
        websocket::stream_base::timeout::suggested(beast::role_type::server);
    timeout.keep_alive_pings = true;
    m_socket.set_option(timeout);
    m_socket.set_option(
        websocket::stream_base::decorator([subprotocol](websocket::response_type& response) {
            response.set(http::field::sec_websocket_protocol, subprotocol);
        }));
    // Messages are measured as they arrive (onRead), so that one over the limit is discarded
    // and reported without closing the connection.
    m_socket.read_message_max(0);
    m_socket.auto_fragment(false);
    m_socket.async_accept(request, [self = shared_from_this()](beast::error_code error) {
        if (error) {
            return;
        }
        self->m_core->connected(self);
        self->read();
    });
}

void WebSession::queueText(std::string text) {
    if (m_closing) {
        return;
    }
    m_texts.push_back(std::move(text));
    schedule();
}

void WebSession::queueSample(std::uint32_t subscriptionId, const PendingSample& sample) {
    if (m_closing) {
        return;
    }
    const auto [slot, added] = m_samples.insert_or_assign(subscriptionId, sample);
    if (added) {
        m_ready.push_back(subscriptionId);
    } else {
        ++droppedSamples;
    }
    schedule();
}

void WebSession::queueTime(std::int64_t timeNs) {
    if (m_closing) {
        return;
    }
    m_time = timeNs;
    schedule();
}

void WebSession::queueBinary(std::vector<std::uint8_t> frame) {
    if (m_closing) {
        return;
    }
    m_binaries.push_back(std::move(frame));
    schedule();
}

void WebSession::forgetSubscription(std::uint32_t subscriptionId) {
    if (m_samples.erase(subscriptionId) > 0) {
        m_ready.erase(std::find(m_ready.begin(), m_ready.end(), subscriptionId));
    }
}

void WebSession::closeAfterQueued() {
    m_closing = true;
    m_binaries.clear();
    m_samples.clear();
    m_ready.clear();
    m_time.reset();
    schedule();
}

void WebSession::schedule() {
    if (m_writing || m_flushPosted || m_closed) {
        return;
    }
    m_flushPosted = true;
    boost::asio::post(m_socket.get_executor(), [self = shared_from_this()] { self->writeNext(); });
}

template <typename Buffers>
void WebSession::startWrite(std::unique_lock<std::mutex>& lock, bool text, const Buffers& buffers) {
    m_writing = true;
    lock.unlock();
    m_socket.text(text);
    m_socket.async_write(buffers,
                         [self = shared_from_this()](beast::error_code error, std::size_t) {
                             {
                                 const std::lock_guard<std::mutex> relock(self->m_core->mutex());
                                 self->m_writing = false;
                             }
                             if (error) {
                                 self->fail();
                                 return;
                             }
                             self->writeNext();
                         });
}

void WebSession::writeNext() {
    std::unique_lock<std::mutex> lock(m_core->mutex());
    m_flushPosted = false;
    if (m_writing || m_closed) {
        return;
    }
    // Control messages first: a sample's channel is always advertised before it.
    if (!m_texts.empty()) {
        m_outText = std::move(m_texts.front());
        m_texts.pop_front();
        startWrite(lock, true, boost::asio::buffer(m_outText));
        return;
    }
    if (m_closing) {
        m_closed = true;
        lock.unlock();
        m_socket.async_close(websocket::close_code::policy_error,
                             [self = shared_from_this()](beast::error_code) { self->fail(); });
        return;
    }
    if (!m_binaries.empty()) {
        m_outBinary = std::move(m_binaries.front());
        m_binaries.pop_front();
        startWrite(lock, false, boost::asio::buffer(m_outBinary));
        return;
    }
    if (m_time) {
        m_outTime = timeFrame(*m_time);
        m_time.reset();
        startWrite(lock, false, boost::asio::buffer(m_outTime));
        return;
    }
    if (!m_ready.empty()) {
        const std::uint32_t subscriptionId = m_ready.front();
        m_ready.pop_front();
        const auto pending = m_samples.find(subscriptionId);
        m_outHeader = messageDataHeader(subscriptionId, pending->second.logTimeNs);
        m_outPayload = std::move(pending->second.payload);
        m_samples.erase(pending);
        ++sentSamples;
        const std::array<boost::asio::const_buffer, 2> frame = {boost::asio::buffer(m_outHeader),
                                                                boost::asio::buffer(*m_outPayload)};
        startWrite(lock, false, frame);
    }
}

void WebSession::read() {
    m_socket.async_read_some(
        m_chunk, kReadChunk,
        [self = shared_from_this()](beast::error_code error, std::size_t size) {
            self->onRead(error, size);
        });
}

void WebSession::onRead(beast::error_code error, std::size_t) {
    if (error) {
        fail();
        return;
    }
    bool closing = false;
    {
        const std::lock_guard<std::mutex> lock(m_core->mutex());
        closing = m_closing;
    }
    const std::size_t limit = m_core->options().maxClientMessageBytes;
    if (!m_oversized && m_message.size() + m_chunk.size() <= limit) {
        m_message += beast::buffers_to_string(m_chunk.data());
    } else {
        m_oversized = true;
        m_message.clear();
    }
    m_chunk.consume(m_chunk.size());
    if (m_socket.is_message_done()) {
        if (closing) {
            // Nothing more of a client being disconnected is read; only its close frame.
        } else if (m_oversized) {
            m_core->reportError(
                *this, "message of more than " + std::to_string(limit) + " bytes discarded");
        } else {
            m_core->received(*this, m_message, m_socket.got_text());
        }
        m_message.clear();
        m_oversized = false;
    }
    read();
}

void WebSession::shutDown() {
    beast::error_code ignored;
    beast::get_lowest_layer(m_socket).socket().shutdown(boost::asio::ip::tcp::socket::shutdown_both,
                                                        ignored);
    beast::get_lowest_layer(m_socket).socket().close(ignored);
}

void WebSession::fail() {
    {
        const std::lock_guard<std::mutex> lock(m_core->mutex());
        m_closed = true;
    }
    m_core->disconnected(*this);
}

}  // namespace qorROS2::web::detail
