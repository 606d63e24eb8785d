// The one file of Boost.Beast, which takes long to compile.
#include "server.h"
#include "clock.h"
#include "messages.h"
#include <pixmill/develop/Error.h>

#include <boost/asio.hpp>
#include <boost/beast.hpp>

#include <deque>
#include <optional>
#include <utility>

namespace editor {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace asio = boost::asio;
using tcp = asio::ip::tcp;
using Fault = beast::error_code;
using namespace std::chrono_literals;

namespace {

constexpr int kMostConnections = 64;
constexpr std::uint32_t kMostHeader = 8 << 10;
constexpr std::size_t kMostMessage = 4 << 20, kMostWaiting = 1000;
constexpr double kMessages = 600, kMessagesAtOnce = 1500, kBytes = 30e6, kBytesAtOnce = 60e6;
constexpr int kMostDropped = 20000;

/// Compares in a time that does not tell how much was right.
bool same(const std::string& a, const std::string& b)
{
    unsigned difference = a.size() != b.size();
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
        difference |= unsigned(a[i] ^ b[i]);
    return difference == 0;
}

} // namespace

struct Server::Impl {
    int connections = 0; // before the loop: what handlers hold goes with it, and counts down
    asio::io_context loop{1};
    tcp::acceptor acceptor{loop};
    asio::steady_timer timer{loop};
    std::string token, host;
    Site* site = nullptr;

    bool isOurs(const std::string& name) const { return name == host || name == "localhost" + host.substr(9); }
    bool isOurOrigin(const std::string& origin) const
    {
        return origin.rfind("http://", 0) == 0 && isOurs(origin.substr(7));
    }
    void accept();
    void watch(const std::function<bool()>& stopWanted);
};

namespace {

/// Counts a connection while it lives.
struct Counted {
    explicit Counted(Server::Impl& server) : server(server) { ++server.connections; }
    ~Counted() { --server.connections; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    Server::Impl& server;
};

/// A tab's WebSocket.
class Live : public Connection, public std::enable_shared_from_this<Live> {
public:
    Live(tcp::socket&& socket, std::shared_ptr<Counted> counted)
        : m_socket(std::move(socket)), m_counted(std::move(counted))
    {
    }

    void begin(const http::request<http::empty_body>& request)
    {
        m_socket.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
        m_socket.read_message_max(kMostMessage);
        m_socket.auto_fragment(false);
        m_socket.write_buffer_bytes(1 << 18);
        m_socket.async_accept(request, [self = shared_from_this()](Fault fault) {
            if (fault)
                return;
            self->m_tab = self->site().join(self);
            self->read();
        });
    }

    void send(std::string text) override { send(Outgoing{std::move(text), nullptr}); }
    void send(FramePtr frame) override { send(Outgoing{{}, std::move(frame)}); }

private:
    struct Outgoing {
        std::string text;
        FramePtr frame;
    };

    Site& site() { return *m_counted->server.site; }

    void read()
    {
        m_socket.async_read(m_in, [self = shared_from_this()](Fault fault, std::size_t size) {
            if (fault)
                return self->end();
            self->received(size);
        });
    }

    void received(std::size_t size)
    {
        const std::string text = beast::buffers_to_string(m_in.data());
        m_in.consume(m_in.size());
        if (!m_messages.take(1) || !m_bytes.take(double(size))) {
            if (++m_dropped > kMostDropped)
                return end();
            if (m_dropped % 100 == 1)
                send(errorMessage("", "too much at once"));
        } else if (!m_socket.got_text()) {
            send(errorMessage("", "messages are text"));
        } else {
            site().take(m_tab, text);
        }
        read();
    }

    void send(Outgoing out)
    {
        if (m_ended)
            return;
        if (m_out.size() > kMostWaiting) // a page that takes nothing in is no page any more
            return asio::post(m_socket.get_executor(), [self = shared_from_this()] { self->end(); });
        m_out.push_back(std::move(out));
        if (m_out.size() == 1)
            write();
    }

    void write()
    {
        const Outgoing& out = m_out.front();
        m_socket.binary(out.frame != nullptr);
        const auto bytes = out.frame ? asio::const_buffer(out.frame->bytes.get(), out.frame->size)
                                     : asio::const_buffer(out.text.data(), out.text.size());
        m_socket.async_write(bytes, [self = shared_from_this()](Fault fault, std::size_t) {
            if (fault)
                return self->end();
            self->m_out.pop_front();
            if (!self->m_out.empty())
                self->write();
        });
    }

    void end()
    {
        if (std::exchange(m_ended, true))
            return;
        site().leave(m_tab);
        beast::get_lowest_layer(m_socket).close();
    }

    websocket::stream<beast::tcp_stream> m_socket;
    std::shared_ptr<Counted> m_counted;
    beast::flat_buffer m_in;
    std::deque<Outgoing> m_out;
    Allowance m_messages{kMessages, kMessagesAtOnce}, m_bytes{kBytes, kBytesAtOnce};
    int m_tab = 0, m_dropped = 0;
    bool m_ended = false;
};

/// A connection until it turns into a WebSocket.
class Http : public std::enable_shared_from_this<Http> {
public:
    Http(tcp::socket&& socket, Server::Impl& server)
        : m_stream(std::move(socket)), m_counted(std::make_shared<Counted>(server))
    {
    }

    void read()
    {
        m_parser.emplace();
        m_parser->header_limit(kMostHeader);
        m_parser->body_limit(0);
        m_stream.expires_after(60s);
        http::async_read(m_stream, m_buffer, *m_parser, [self = shared_from_this()](Fault fault, std::size_t) {
            if (!fault)
                self->route(self->m_parser->get());
        });
    }

private:
    const Server::Impl& server() const { return m_counted->server; }

    /// What was asked for behind the token, where all is as it should be.
    std::optional<std::string> below(const http::request<http::empty_body>& request) const
    {
        const std::string target(request.target()), host(request[http::field::host]);
        const std::string origin(request[http::field::origin]);
        const std::size_t slash = target.find('/', 1);
        if (!server().isOurs(host) || (!origin.empty() && !server().isOurOrigin(origin)) || target[0] != '/' ||
            slash == std::string::npos || !same(target.substr(1, slash - 1), server().token))
            return {};
        return target.substr(slash + 1);
    }

    void route(const http::request<http::empty_body>& request)
    {
        const auto path = below(request);
        if (!path)
            return answer({403, "text/plain", "This address is not yours.\n"});
        if (websocket::is_upgrade(request)) {
            if (*path != "live" || request[http::field::origin].empty())
                return answer({403, "text/plain", "No.\n"});
            m_stream.expires_never();
            return std::make_shared<Live>(m_stream.release_socket(), m_counted)->begin(request);
        }
        if (request.method() != http::verb::get)
            return answer({405, "text/plain", "Only GET.\n"});
        server().site->get(*path, [self = shared_from_this()](Reply reply) {
            asio::post(self->m_stream.get_executor(), [self, reply = std::move(reply)] { self->answer(reply); });
        });
    }

    void answer(const Reply& reply)
    {
        const bool stays = m_parser->get().keep_alive() && reply.status == 200;
        m_response = {http::status(reply.status), 11};
        m_response.set(http::field::content_type, reply.type);
        m_response.set(http::field::cache_control, "no-store");
        m_response.set("X-Content-Type-Options", "nosniff");
        m_response.set("Referrer-Policy", "no-referrer");
        m_response.set("Content-Security-Policy",
                       "default-src 'self'; img-src 'self' blob: data:; frame-ancestors 'none'; base-uri 'none'");
        m_response.body() = reply.body;
        m_response.keep_alive(stays);
        m_response.prepare_payload();
        m_stream.expires_after(60s);
        http::async_write(m_stream, m_response, [self = shared_from_this(), stays](Fault fault, std::size_t) {
            if (!fault && stays)
                self->read();
            else
                self->m_stream.close();
        });
    }

    beast::tcp_stream m_stream;
    std::shared_ptr<Counted> m_counted;
    beast::flat_buffer m_buffer;
    std::optional<http::request_parser<http::empty_body>> m_parser;
    http::response<http::string_body> m_response;
};

} // namespace

void Server::Impl::accept()
{
    acceptor.async_accept([this](Fault fault, tcp::socket socket) {
        if (!acceptor.is_open())
            return;
        Fault ignored;
        if (!fault && connections < kMostConnections) {
            socket.set_option(tcp::no_delay(true), ignored);
            std::make_shared<Http>(std::move(socket), *this)->read();
        }
        accept();
    });
}

void Server::Impl::watch(const std::function<bool()>& stopWanted)
{
    timer.expires_after(100ms);
    timer.async_wait([this, &stopWanted](Fault) {
        if (stopWanted())
            loop.stop();
        else
            watch(stopWanted);
    });
}

Server::Server(int port, std::string token) : m_impl(std::make_unique<Impl>())
{
    Fault fault;
    const tcp::endpoint end(asio::ip::address_v4::loopback(), static_cast<unsigned short>(port));
    m_impl->acceptor.open(end.protocol());
    m_impl->acceptor.set_option(tcp::acceptor::reuse_address(true));
    m_impl->acceptor.bind(end, fault);
    if (!fault)
        m_impl->acceptor.listen(asio::socket_base::max_listen_connections, fault);
    if (fault)
        throw pixmill::Error("pixmill edit", "", "", "port " + std::to_string(port) + ": " + fault.message());
    m_impl->token = std::move(token);
    m_impl->host = "127.0.0.1:" + std::to_string(m_impl->acceptor.local_endpoint().port());
}

Server::~Server() = default;

std::string Server::address() const
{
    return "http://" + m_impl->host + "/" + m_impl->token + "/";
}

void Server::run(Site& site, const std::function<bool()>& stopWanted)
{
    m_impl->site = &site;
    m_impl->accept();
    m_impl->watch(stopWanted);
    m_impl->loop.run();
}

void Server::post(std::function<void()> work)
{
    asio::post(m_impl->loop, std::move(work));
}

} // namespace editor
