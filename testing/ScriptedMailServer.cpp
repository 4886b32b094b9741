#include "testing/ScriptedMailServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace {

void require(bool done, const char* what) {
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

struct Endpoint {
    sockaddr_storage storage{};
    socklen_t length = 0;

    sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
};

Endpoint loopback(ScriptedMailServer::Family family, std::uint16_t port) {
    Endpoint endpoint;
    if (family == ScriptedMailServer::Family::kIPv4) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        std::memcpy(&endpoint.storage, &address, sizeof address);
        endpoint.length = sizeof address;
    } else {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(port);
        address.sin6_addr = in6addr_loopback;
        std::memcpy(&endpoint.storage, &address, sizeof address);
        endpoint.length = sizeof address;
    }
    return endpoint;
}

std::uint16_t portOf(int socket) {
    Endpoint endpoint;
    endpoint.length = sizeof endpoint.storage;
    require(getsockname(socket, endpoint.get(), &endpoint.length) == 0, "getsockname");
    // The port stands at the same place in both families.
    sockaddr_in address{};
    std::memcpy(&address, &endpoint.storage, sizeof address);
    return ntohs(address.sin_port);
}

void setOption(int socket, int level, int option, int value) {
    require(setsockopt(socket, level, option, &value, sizeof value) == 0, "setsockopt");
}

}  // namespace

struct ScriptedMailServer::Connection {
    Connection(Descriptor socket, MailScript& script, TimePoint now) : fd(std::move(socket)), session(script, now) {}

    Descriptor fd;  // none once closed
    bool reading = true;
    ScriptedMailSession session;
};

ScriptedMailServer::ScriptedMailServer(Family family) : family_(family) {
    holder_ = boundSocket(0);
    port_ = portOf(holder_.get());
    startListening();
    int ends[2];
    require(pipe2(ends, O_NONBLOCK | O_CLOEXEC) == 0, "pipe2");
    wakeRead_.reset(ends[0]);
    wakeWrite_.reset(ends[1]);
    thread_ = std::thread([this] { serve(); });
}

ScriptedMailServer::~ScriptedMailServer() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake();
    thread_.join();
    breakAll();
}

Descriptor ScriptedMailServer::boundSocket(std::uint16_t port) const {
    Endpoint endpoint = loopback(family_, port);
    Descriptor fd(socket(endpoint.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    require(static_cast<bool>(fd), "socket");
    // The listener stands beside the holder on the same port.
    setOption(fd.get(), SOL_SOCKET, SO_REUSEPORT, 1);
    require(bind(fd.get(), endpoint.get(), endpoint.length) == 0, "bind");
    return fd;
}

void ScriptedMailServer::startListening() {
    listener_ = boundSocket(port_);
    require(listen(listener_.get(), SOMAXCONN) == 0, "listen");
}

void ScriptedMailServer::answer(MailStage stage, ScriptedReply reply) {
    const std::lock_guard lock(mutex_);
    script_.set(stage, std::move(reply));
}

void ScriptedMailServer::answerOnce(MailStage stage, ScriptedReply reply) {
    const std::lock_guard lock(mutex_);
    script_.once(stage, std::move(reply));
}

void ScriptedMailServer::answerRecipient(const std::string& address, ScriptedReply reply) {
    const std::lock_guard lock(mutex_);
    script_.setRecipient(address, std::move(reply));
}

void ScriptedMailServer::answerRecipientOnce(const std::string& address, ScriptedReply reply) {
    const std::lock_guard lock(mutex_);
    script_.onceRecipient(address, std::move(reply));
}

void ScriptedMailServer::hangUpAfterReceiving(std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    receiveLimit_ = bytes;
}

void ScriptedMailServer::refuseConnections() {
    listenFromNowOn(false);
}

void ScriptedMailServer::acceptConnections() {
    listenFromNowOn(true);
}

// The serving thread opens and closes the listener, so that it never waits for a closed one.
void ScriptedMailServer::listenFromNowOn(bool listening) {
    std::unique_lock lock(mutex_);
    listening_ = listening;
    wake();
    changed_.wait(lock, [&] { return static_cast<bool>(listener_) == listening; });
}

void ScriptedMailServer::breakConnections() {
    std::unique_lock lock(mutex_);
    breaking_ = true;
    wake();
    changed_.wait(lock, [&] { return !breaking_; });
}

std::size_t ScriptedMailServer::connections() const {
    const std::lock_guard lock(mutex_);
    return connections_.size();
}

std::vector<std::string> ScriptedMailServer::received() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> result;
    for (const auto& connection : connections_) {
        result.push_back(connection->session.received());
    }
    return result;
}

std::string ScriptedMailServer::received(std::size_t connection) const {
    const std::lock_guard lock(mutex_);
    return connection < connections_.size() ? connections_[connection]->session.received() : "";
}

std::vector<ScriptedMail> ScriptedMailServer::mailsTaken() const {
    const std::lock_guard lock(mutex_);
    std::vector<ScriptedMail> result;
    for (const auto& connection : connections_) {
        const auto& mails = connection->session.mails();
        result.insert(result.end(), mails.begin(), mails.end());
    }
    return result;
}

std::size_t ScriptedMailServer::openConnections() const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(connections_.begin(), connections_.end(),
                                                  [](const auto& each) { return static_cast<bool>(each->fd); }));
}

bool ScriptedMailServer::waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        std::unique_lock lock(mutex_);
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        // The condition may have come true between the question and the lock: look again soon in any case.
        changed_.wait_for(lock, std::chrono::milliseconds(10));
    }
    return true;
}

void ScriptedMailServer::wake() {
    const char byte = 'w';
    while (write(wakeWrite_.get(), &byte, 1) < 0 && errno == EINTR) {
    }
}

int ScriptedMailServer::pollTimeout(TimePoint now) const {
    int timeout = -1;
    for (const auto& connection : connections_) {
        const auto next = connection->session.nextDue();
        if (connection->fd && next.has_value()) {
            const auto wait =
                std::chrono::ceil<std::chrono::milliseconds>(std::max(*next - now, TimePoint::duration(0)));
            timeout = timeout < 0 ? static_cast<int>(wait.count()) : std::min(timeout, static_cast<int>(wait.count()));
        }
    }
    return timeout;
}

void ScriptedMailServer::serve() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        std::vector<pollfd> waiting{{wakeRead_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
        for (const auto& connection : connections_) {
            // A connection that is not read any more is still told when the client breaks it off.
            waiting.push_back({connection->fd.get(), static_cast<short>(connection->reading ? POLLIN : 0), 0});
        }
        const int timeout = pollTimeout(ScriptedMailSession::Clock::now());
        lock.unlock();
        poll(waiting.data(), waiting.size(), timeout);
        lock.lock();

        std::array<char, 64> drained{};
        while (read(wakeRead_.get(), drained.data(), drained.size()) > 0) {
        }
        followListening();
        if (std::exchange(breaking_, false)) {
            breakAll();
        }
        const TimePoint now = ScriptedMailSession::Clock::now();
        for (std::size_t i = 2; i < waiting.size(); ++i) {
            if (waiting[i].revents != 0) {
                readFrom(*connections_[i - 2], now);
            }
        }
        if (waiting[1].revents != 0 && waiting[1].fd == listener_.get()) {
            acceptOne(now);
        }
        for (const auto& connection : connections_) {
            act(*connection, now);
        }
        changed_.notify_all();
    }
}

void ScriptedMailServer::followListening() {
    if (listening_ && !listener_) {
        startListening();
    } else if (!listening_) {
        listener_.reset();
    }
}

void ScriptedMailServer::breakAll() {
    for (const auto& connection : connections_) {
        end(*connection, ScriptedReply::End::kReset);
    }
}

void ScriptedMailServer::acceptOne(TimePoint now) {
    Descriptor fd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (fd) {
        setOption(fd.get(), IPPROTO_TCP, TCP_NODELAY, 1);
        connections_.push_back(std::make_unique<Connection>(std::move(fd), script_, now));
    }
}

void ScriptedMailServer::readFrom(Connection& connection, TimePoint now) {
    if (!connection.fd) {
        return;
    }
    std::array<char, 65536> buffer{};
    const std::size_t room = receiveLimit_ - connection.session.received().size();
    const ssize_t got = recv(connection.fd.get(), buffer.data(), std::min(buffer.size(), room), 0);
    if (got > 0) {
        connection.session.receive({buffer.data(), static_cast<std::size_t>(got)}, now);
        if (connection.session.received().size() >= receiveLimit_) {
            end(connection, ScriptedReply::End::kReset);
        }
    } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
        end(connection, ScriptedReply::End::kHangUp);
    }
}

void ScriptedMailServer::act(Connection& connection, TimePoint now) {
    while (connection.fd) {
        const auto action = connection.session.due(now);
        if (!action.has_value()) {
            return;
        }
        std::string_view rest = action->bytes;
        while (!rest.empty()) {
            const ssize_t sent = send(connection.fd.get(), rest.data(), rest.size(), MSG_NOSIGNAL);
            if (sent < 0 && errno == EAGAIN) {
                pollfd writable{connection.fd.get(), POLLOUT, 0};
                if (poll(&writable, 1, 1000) > 0) {
                    continue;
                }
            }
            if (sent < 0) {
                end(connection, ScriptedReply::End::kHangUp);
                return;
            }
            rest.remove_prefix(static_cast<std::size_t>(sent));
        }
        end(connection, action->end);
    }
}

void ScriptedMailServer::end(Connection& connection, ScriptedReply::End how) {
    if (how == ScriptedReply::End::kStopReading) {
        connection.reading = false;
    }
    if (how == ScriptedReply::End::kKeepOpen || how == ScriptedReply::End::kStopReading || !connection.fd) {
        return;
    }
    if (how == ScriptedReply::End::kReset) {
        const linger breakOff{1, 0};
        setsockopt(connection.fd.get(), SOL_SOCKET, SO_LINGER, &breakOff, sizeof breakOff);
    }
    connection.fd.reset();
}
