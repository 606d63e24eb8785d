#pragma once

#include "frame.h"

#include <functional>
#include <memory>
#include <string>

namespace editor {

/// A tab's line. What is sent waits its turn; a frame is told apart from text by being binary.
class Connection {
public:
    virtual ~Connection() = default;
    virtual void send(std::string text) = 0;
    virtual void send(FramePtr frame) = 0;
};

struct Reply {
    int status = 200;
    std::string type, body;
};

/// What the server serves. All calls come on its one thread.
class Site {
public:
    virtual ~Site() = default;
    /// Answers GET below the token, "" the page itself, now or later and from any thread.
    virtual void get(const std::string& path, std::function<void(Reply)> answer) = 0;
    virtual int join(std::shared_ptr<Connection> connection) = 0; ///< @return the tab's number.
    virtual void take(int tab, const std::string& message) = 0;
    virtual void leave(int tab) = 0;
};

/// HTTP and WebSocket on the loopback interface.
///
/// It answers only addresses that begin with the token, asked for by the name that was told, and WebSockets only from
/// its own pages (the Origin). Connections, sizes and rates have limits: what is over them is dropped with an error,
/// and who goes on nevertheless is cut off.
class Server {
public:
    struct Impl;

    /// @throws Error  the port is taken.
    Server(int port, std::string token);
    ~Server();

    std::string address() const;

    /// Serves until `stopWanted`, which is asked ten times a second.
    void run(Site& site, const std::function<bool()>& stopWanted);

    /// Has `work` done on the server's thread. Any thread.
    void post(std::function<void()> work);

private:
    std::unique_ptr<Impl> m_impl;
};

} // namespace editor
