#include "box/Network.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace box {

MailServer* Network::find(const std::string& address, std::uint16_t port) {
    for (MailServer& server : servers_) {
        if (server.address == address && server.port == port) {
            return &server;
        }
    }
    return nullptr;
}

const MailServer* Network::named(std::string_view name) const {
    for (const MailServer& server : servers_) {
        if (server.name == name || server.address == name) {
            return &server;
        }
    }
    return nullptr;
}

Connection::~Connection() {
    if (session_ != nullptr) {
        --network_.openDialogues;
    }
}

// A host without a server refuses.
int Connection::connect(const std::string& address, std::uint16_t port, Time now) {
    constexpr std::uint32_t kSlowest = 30;
    server_ = network_.find(address, port);
    connectedAt_ = now + (1 + network_.random().below(kSlowest)) * kMillisecond;
    network_.told().client(ClientStep::kConnects, address + ":" + std::to_string(port), now);
    if (server_ == nullptr || server_->manner.reach == ServerManner::kRefusing) {
        error_ = ECONNREFUSED;
        network_.told().client(ClientStep::kLoses, std::strerror(error_), connectedAt_);
        return 0;
    }
    if (server_->manner.reach == ServerManner::kUnreachable) {
        connectedAt_ = kNever;
        return 0;
    }
    session_ = std::make_unique<MailSession>([this](MailStep step) { return choose(step); },
                                             [this](const Mail& mail) { network_.told().mail(*server_, mail); });
    ++network_.openDialogues;
    lastPiece_ = connectedAt_;
    network_.told().client(ClientStep::kConnected, "", connectedAt_);
    say(session_->greet(), now);
    return 0;
}

std::string Connection::choose(MailStep step) {
    const std::uint32_t drawn = network_.random().below(1000);
    const ServerManner& manner = server_->manner;
    if (drawn < manner.defers) {
        return "451 later";
    }
    if (drawn < manner.defers + manner.refuses && step != MailStep::kQuit) {
        return "550 never";
    }
    return "";
}

void Connection::say(const MailSession::Answer& answer, Time now) {
    const ServerManner& manner = server_->manner;
    Random& random = network_.random();
    const Time at = std::max(lastPiece_, now) + random.below(manner.slowestReply + 1) * kMillisecond;
    if (random.below(1000) < manner.breaksOff) {
        breakOff(at);
        return;
    }
    if (random.below(1000) < manner.mute) {
        ++network_.troubles;
        over_ = true;
        network_.told().happening(*server_, std::string("says nothing at ") + mailStepName(answer.step));
        return;
    }
    const std::size_t cut = random.below(1000) < manner.splits ? 1 + random.below(3) : answer.reply.size();
    pieces_.push_back({at, answer.reply.substr(0, cut), 0});
    lastPiece_ = at;
    if (cut < answer.reply.size()) {
        ++network_.troubles;
        lastPiece_ = at + (1 + random.below(50)) * kMillisecond;
        pieces_.push_back({lastPiece_, answer.reply.substr(cut), 0});
    }
    if (answer.closes) {
        over_ = true;
        pieces_.push_back({lastPiece_, "", 0});
    }
}

void Connection::breakOff(Time at) {
    ++network_.troubles;
    const bool inOrder = network_.random().oneIn(2);
    network_.told().happening(*server_, inOrder ? "closes early" : "breaks off");
    pieces_.push_back({at, "", inOrder ? 0 : ECONNRESET});
    over_ = true;
}

long Connection::send(std::string_view bytes, Time now) {
    if (session_ == nullptr) {
        return -ENOTCONN;
    }
    network_.told().client(ClientStep::kSends, bytes, now);
    if (!over_) {
        for (const MailSession::Answer& answer : session_->receive(bytes)) {
            if (!over_) {
                say(answer, now);
            }
        }
        return static_cast<long>(bytes.size());
    }
    // Whoever writes to a connection that is gone learns of it by the second time.
    const bool gone = !pieces_.empty() && pieces_.front().bytes.empty() && pieces_.front().at <= now;
    return gone ? -EPIPE : static_cast<long>(bytes.size());
}

long Connection::receive(char* bytes, std::size_t room, Time now) {
    if (session_ == nullptr) {
        return -ENOTCONN;
    }
    if (pieces_.empty() || pieces_.front().at > now) {
        return -EAGAIN;
    }
    Piece& piece = pieces_.front();
    if (piece.bytes.empty()) {
        network_.told().client(ClientStep::kLoses, std::strerror(piece.error), now);
        return -piece.error;  // stays: every further one is met with it
    }
    const std::size_t taken = std::min(room, piece.bytes.size());
    piece.bytes.copy(bytes, taken);
    network_.told().client(ClientStep::kHears, {bytes, taken}, now);
    piece.bytes.erase(0, taken);
    if (piece.bytes.empty()) {
        pieces_.pop_front();
    }
    return static_cast<long>(taken);
}

long Connection::peek(char* bytes, std::size_t room, Time now) const {
    if (pieces_.empty() || pieces_.front().at > now) {
        return -EAGAIN;
    }
    const Piece& piece = pieces_.front();
    return piece.bytes.empty() ? -piece.error : static_cast<long>(piece.bytes.copy(bytes, room));
}

short Connection::ready(Time now) const {
    if (connectedAt_ > now) {
        return 0;
    }
    int events = POLLOUT;
    events |= error_ != 0 ? POLLERR | POLLHUP : 0;
    events |= !pieces_.empty() && pieces_.front().at <= now ? POLLIN : 0;
    return static_cast<short>(events);
}

Time Connection::due(Time now) const {
    if (connectedAt_ > now) {
        return connectedAt_;
    }
    return !pieces_.empty() && pieces_.front().at > now ? pieces_.front().at : kNever;
}

}  // namespace box
