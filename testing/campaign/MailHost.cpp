#include "testing/campaign/MailHost.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace {

constexpr char kEventText[] = "Campaign event number ";
constexpr const char* kRecipients[] = {"operator@example.com", "second@example.com"};

}  // namespace

std::string campaignEventText(unsigned event) {
    return kEventText + std::to_string(event);
}

int campaignEventOf(const std::string& mail) {
    const std::size_t found = mail.find(kEventText);
    return found == std::string::npos ? -1 : std::atoi(mail.c_str() + found + sizeof kEventText - 1);
}

const char* campaignRecipient(unsigned index) {
    return kRecipients[index];
}

struct MailHost::Connection {
    Connection(int file, MailScript& script) : socket(file), session(script, ScriptedMailSession::Clock::now()) {}

    Descriptor socket;
    ScriptedMailSession session;
    std::size_t told = 0;  // mails that the board knows of
};

MailHost::MailHost(Board& board)
    : board_(board), listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const general = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener_.get(), general, length) != 0 || ::listen(listener_.get(), SOMAXCONN) != 0 ||
        ::getsockname(listener_.get(), general, &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "mail server");
    }
    port_ = ntohs(address.sin_port);
}

MailHost::~MailHost() = default;

bool MailHost::serveUntilClosed(int other, std::chrono::milliseconds limit) {
    const auto deadline = ScriptedMailSession::Clock::now() + limit;
    bool closed = false;
    while (ScriptedMailSession::Clock::now() < deadline) {
        // What was sent before the end is taken all the same.
        const bool waits = !closed || board_.openConnections > 0;
        const int served = serveOnce(closed ? -1 : other, waits ? 100 : 0);
        if (served == 0 && !waits) {
            return true;
        }
        closed = closed || served == kOtherClosed;
    }
    return closed;
}

// How many were served, or kOtherClosed.
int MailHost::serveOnce(int other, int limit) {
    std::vector<pollfd> waiting{{other, POLLIN, 0}, {listener_.get(), POLLIN, 0}};
    for (const auto& connection : connections_) {
        waiting.push_back({connection->socket.get(), POLLIN, 0});
    }
    const int ready = ::poll(waiting.data(), waiting.size(), limit);
    if (ready < 0 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "poll");
    }
    for (std::size_t i = 2; ready > 0 && i < waiting.size(); ++i) {
        if (waiting[i].revents != 0) {
            readFrom(*connections_[i - 2]);
        }
    }
    if (ready > 0 && waiting[1].revents != 0) {
        acceptOne();
    }
    return ready > 0 && waiting[0].revents != 0 ? kOtherClosed : ready;
}

std::vector<ScriptedMail> MailHost::mails() const {
    std::vector<ScriptedMail> all;
    for (const auto& connection : connections_) {
        const auto& mails = connection->session.mails();
        all.insert(all.end(), mails.begin(), mails.end());
    }
    return all;
}

void MailHost::acceptOne() {
    Descriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket || board_.refusing) {
        return;
    }
    if (board_.deferring.exchange(false)) {
        script_.onceRecipient(kRecipients[1], ScriptedReply::line("452 later"));
    }
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    connections_.push_back(std::make_unique<Connection>(socket.release(), script_));
    ++board_.openConnections;
    answer(*connections_.back());
}

void MailHost::readFrom(Connection& connection) {
    std::array<char, 65536> buffer{};
    const ssize_t got = ::recv(connection.socket.get(), buffer.data(), buffer.size(), 0);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (got <= 0) {
        connection.socket.reset();
        --board_.openConnections;
        return;
    }
    connection.session.receive({buffer.data(), static_cast<std::size_t>(got)}, ScriptedMailSession::Clock::now());
    for (; connection.told < connection.session.mails().size(); ++connection.told) {
        tellBoard(connection.session.mails()[connection.told]);
    }
    answer(connection);
    // A client that says goodbye within a text gets no reply, and waits for it in real time.
    if (connection.socket && connection.session.received().ends_with("QUIT\r\n")) {
        connection.socket.reset();
        --board_.openConnections;
    }
}

void MailHost::answer(Connection& connection) {
    while (const auto action = connection.session.due(ScriptedMailSession::Clock::now())) {
        // A reply is shorter than any socket's buffer.
        [[maybe_unused]] const ssize_t sent =
            ::send(connection.socket.get(), action->bytes.data(), action->bytes.size(), MSG_NOSIGNAL);
        if (action->end != ScriptedReply::End::kKeepOpen) {
            connection.socket.reset();
            --board_.openConnections;
            return;
        }
    }
}

void MailHost::tellBoard(const ScriptedMail& mail) {
    const int event = campaignEventOf(mail.text);
    if (mail.text.find("-CronCapture") != std::string::npos) {
        ++board_.captures;
    }
    if (event < 0 || static_cast<std::size_t>(event) >= Board::kEvents) {
        return;
    }
    for (std::size_t i = 0; i < Board::kRecipients; ++i) {
        const auto& to = mail.recipients;
        board_.mails[static_cast<std::size_t>(event)][i] +=
            static_cast<unsigned>(std::count(to.begin(), to.end(), kRecipients[i]));
    }
}
