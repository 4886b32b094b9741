#include "switchctl/visit/SmtpWire.h"

#include "Descriptor.h"
#include "base/OrvSocketLimits.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

using std::chrono::milliseconds;

// Hardly a piece is later than that.
constexpr milliseconds REST_PATIENCE(2000);
// Nothing depends on the answer.
constexpr milliseconds QUIT_PATIENCE(1000);
// What the client reads at once.
constexpr std::size_t MOST = 1024;
constexpr std::size_t CODE = 3;

std::string textOf(const sockaddr* address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address->sa_family == AF_INET) {
        sockaddr_in ip{};
        std::memcpy(&ip, address, sizeof ip);
        inet_ntop(AF_INET, &ip.sin_addr, text, sizeof text);
    } else if (address->sa_family == AF_INET6) {
        sockaddr_in6 ip{};
        std::memcpy(&ip, address, sizeof ip);
        inet_ntop(AF_INET6, &ip.sin6_addr, text, sizeof text);
    }
    return text;
}

// Which of the switch's addresses leads there. Nothing is sent for it.
void findRoute(const sockaddr* address, socklen_t length, SmtpWire::Try& found) {
    const Descriptor probe(::socket(address->sa_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_storage own{};
    socklen_t size = sizeof own;
    if (!probe || ::connect(probe.get(), address, length) < 0 ||
        getsockname(probe.get(), reinterpret_cast<sockaddr*>(&own), &size) < 0) {
        found.routeError = errno;
        return;
    }
    found.from = textOf(reinterpret_cast<const sockaddr*>(&own));
}

bool endsReply(std::string_view line) {
    const bool hasCode = line.size() > CODE && std::ranges::all_of(line.substr(0, CODE), [](unsigned char c) {
                             return std::isdigit(c) != 0;
                         });
    return !hasCode || line[CODE] != '-';
}

// Where the first reply in it ends; nothing while it goes on.
std::optional<std::size_t> endOfReply(std::string_view text) {
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n', begin)) {
        if (endsReply(text.substr(begin, end - begin))) {
            return end + 1;
        }
        begin = end + 1;
    }
    return std::nullopt;
}

std::int64_t since(SmtpWire::Clock::time_point begin) {
    return std::chrono::duration_cast<milliseconds>(SmtpWire::Clock::now() - begin).count();
}

}  // namespace

int SmtpWire::resolve(const char* name, const addrinfo& hints, addrinfo** list) {
    const bool forServer = tries_.empty() && asked_.empty() && reply_.empty();
    if (forServer) {
        tell_(VisitStage::Kind::NAME, name);
    }
    const int error = OrvSMTPSystem::resolve(name, hints, list);
    for (const addrinfo* one = error == 0 && forServer ? *list : nullptr; one != nullptr; one = one->ai_next) {
        addresses_.push_back(textOf(one->ai_addr));
    }
    addressesLeft_ = std::max<std::size_t>(addresses_.size(), 1);
    return error;
}

// The whole way within the time: an address that does not answer leaves half of it to those behind it.
int SmtpWire::connect(int socket, const sockaddr* address, socklen_t length) {
    Try& one = tries_.emplace_back();
    one.address = textOf(address);
    findRoute(address, length, one);
    tell_(VisitStage::Kind::CONNECT, one.address);
    const auto begin = Clock::now();
    one.error = connectTo(socket, address, length) < 0 ? errno : 0;
    one.milliseconds = since(begin);
    addressesLeft_ -= addressesLeft_ > 1 ? 1 : 0;
    timedOut_ = one.error == ETIMEDOUT;
    if (one.error == 0) {
        tell_(VisitStage::Kind::GREETING, "");
    }
    errno = one.error;
    return one.error == 0 ? 0 : -1;
}

int SmtpWire::connectTo(int socket, const sockaddr* address, socklen_t length) const {
    if (::connect(socket, address, length) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS && errno != EINTR) {
        return -1;
    }
    const auto now = Clock::now();
    const auto left = addressesLeft_ > 1 ? (deadline_ - now) / 2 : deadline_ - now;
    return orvAwaitConnection(socket, std::chrono::ceil<milliseconds>(left));
}

ssize_t SmtpWire::send(int socket, const void* bytes, std::size_t length, Waiting waiting) {
    dropUnasked(socket);
    asked_.assign(static_cast<const char*>(bytes), length);
    asked_.erase(asked_.find_last_not_of("\r\n") + 1);
    reply_.clear();
    timedOut_ = false;
    return OrvSMTPSystem::send(socket, bytes, length, waiting);
}

// What has come before anything was asked.
void SmtpWire::dropUnasked(int socket) {
    std::string text;
    while (await(socket, Clock::now()) && receivePiece(socket, text) > 0) {
    }
    if (!text.empty()) {
        notePieces(1, text, true);
    }
}

ssize_t SmtpWire::receive(int socket, void* bytes, std::size_t length) {
    if (!await(socket, patience())) {
        timedOut_ = true;
        errno = EAGAIN;  // as a limit of the socket's would show
        return -1;
    }
    reply_.clear();
    ssize_t got = receivePiece(socket, reply_);
    if (got > 0 && !unfinished_.empty()) {
        got = dropEarlier(socket);
    }
    if (got <= 0) {
        return got;
    }
    awaitRest(socket);
    const std::size_t count = std::min(reply_.size(), length);
    std::memcpy(bytes, reply_.data(), count);
    return static_cast<ssize_t>(count);
}

// What has come begins with the rest of the reply before. As recv.
ssize_t SmtpWire::dropEarlier(int socket) {
    const std::size_t known = unfinished_.size();
    const std::string text = std::exchange(unfinished_, "") + reply_;
    const auto end = endOfReply(text);
    if (!end || *end <= known) {
        return 1;
    }
    reply_ = text.substr(*end);
    if (!reply_.empty()) {
        return 1;
    }
    if (!await(socket, patience())) {
        timedOut_ = true;
        errno = EAGAIN;
        return -1;
    }
    return receivePiece(socket, reply_);
}

// The rest of a reply that is not whole. What follows a whole one answers nothing.
void SmtpWire::awaitRest(int socket) {
    const std::string first = reply_;
    std::size_t count = 1;
    auto end = endOfReply(reply_);
    const auto until = std::min(deadline_, Clock::now() + REST_PATIENCE);
    const bool isReply = reply_.size() < CODE || std::isdigit(static_cast<unsigned char>(reply_.front())) != 0;
    while (!end && isReply && await(socket, until) && receivePiece(socket, reply_) > 0) {
        ++count;
        end = endOfReply(reply_);
    }
    unfinished_ = isReply && !end ? reply_ : "";
    const std::size_t whole = end.value_or(reply_.size());
    if (count > 1 || (isReply && !end) || whole > MOST) {
        notePieces(std::max<std::size_t>(count, 2), first.substr(0, MOST), false);
    } else if (whole < reply_.size()) {
        notePieces(1, std::string_view(reply_).substr(whole), true);
    }
    reply_.resize(whole);
}

ssize_t SmtpWire::receivePiece(int socket, std::string& text) {
    std::array<char, MOST> bytes{};
    const ssize_t got = OrvSMTPSystem::receive(socket, bytes.data(), bytes.size());
    text.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return got;
}

void SmtpWire::notePieces(std::size_t count, std::string_view first, bool unasked) {
    if (!pieces_) {
        pieces_ = ServerVisit::Pieces{asked_, count, std::string(first), unasked};
    }
}

bool SmtpWire::await(int socket, Clock::time_point until) const {
    pollfd readable{socket, POLLIN, 0};
    int ready = -1;
    do {
        const auto left = std::chrono::ceil<milliseconds>(std::min(until, deadline_) - Clock::now());
        ready = ::poll(&readable, 1, static_cast<int>(std::max<milliseconds::rep>(left.count(), 0)));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

SmtpWire::Clock::time_point SmtpWire::patience() const {
    return asked_ == "QUIT" ? std::min(deadline_, Clock::now() + QUIT_PATIENCE) : deadline_;
}
