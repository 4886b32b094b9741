#include "switchctl/log/MailFailures.h"

#include "catalogue/OrvLogEntries.h"
#include "catalogue/OrvSendReasons.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

std::string serverText(const std::string& address, const std::string& port) {
    const bool isIPv6 = address.find(':') != std::string::npos;
    return (isIPv6 ? "[" + address + "]" : address) + ":" + port;
}

MailFailures::Stage MailFailures::Server::stage() const {
    constexpr std::pair<std::string_view, Stage> STAGES[] = {{orv_reason::kResolve, Stage::RESOLVE},
                                                             {orv_reason::kConnect, Stage::CONNECT},
                                                             {orv_reason::kSocketClosed, Stage::CLOSED},
                                                             {orv_reason::kResponse, Stage::RESPONSE}};
    const auto* const known = std::ranges::find(STAGES, reason, &std::pair<std::string_view, Stage>::first);
    return known == std::ranges::end(STAGES) ? Stage::OTHER : known->second;
}

bool MailFailures::Server::withoutError() const {
    return description == std::strerror(0);
}

MailFailures::Saying MailFailures::Saying::of(const OrvCatalogueMatch& entry) {
    const auto server = [&](std::size_t place) { return serverText(entry.argument(place), entry.argument(place + 1)); };
    const auto recipient = [&] { return Recipient{entry.argument(0), entry.argument(1), server(2), "", 0}; };
    if (entry.is(orv_log::kSendFailed)) {
        return {
            Kind::SERVER_FAILED, {server(0), entry.argument(2), entry.argument(3), entry.argument(4), 0, false}, {}};
    }
    if (entry.is(orv_log::kRetryLater)) {
        return {Kind::SERVER_NEXT, {server(0), "", "", "", 0, false}, {}};
    }
    if (entry.is(orv_log::kRecovered)) {
        return {Kind::RECOVERED};
    }
    if (entry.is(orv_log::kRecipientRetryFailed) || entry.is(orv_log::kRecipientGivenUp)) {
        return {Kind::RECIPIENT_GIVEN_UP, {}, recipient()};
    }
    if (entry.is(orv_log::kRecipientRefused)) {
        Recipient refused = recipient();
        refused.response = entry.argument(4);
        return {Kind::RECIPIENT_WORDS, {}, refused};
    }
    const bool read = entry.is(orv_log::kBuildDetailRequest) && entry.argument(0) == SERVERS_KEY;
    return {read ? Kind::SERVERS_READ : Kind::NOTHING};
}

void MailFailures::take(const Saying& saying, std::int64_t time) {
    switch (saying.kind) {
        case Saying::Kind::SERVER_FAILED:
            return takeServer(saying.server, time);
        case Saying::Kind::SERVER_NEXT:
            next_ = saying.server.server;
            return;
        case Saying::Kind::RECOVERED:
            return takeRecovery();
        case Saying::Kind::RECIPIENT_GIVEN_UP:
            return takeRecipient(saying.recipient, time);
        case Saying::Kind::RECIPIENT_WORDS:
            return takeWords(saying.recipient);
        case Saying::Kind::SERVERS_READ:
            // What was said to the old settings does not count for the new ones.
            return servers_.clear();
        case Saying::Kind::NOTHING:
            return;
    }
}

void MailFailures::takeServer(const Server& failed, std::int64_t time) {
    for (Server& other : servers_) {
        other.otherWorks = false;
    }
    // One that fails again and again is the last already.
    if (!servers_.empty() && servers_.back().server == failed.server) {
        servers_.back() = failed;
    } else {
        std::erase_if(servers_, [&](const Server& one) { return one.server == failed.server; });
        servers_.push_back(failed);
    }
    servers_.back().time = time;
}

// The server that was tried last took a mail.
void MailFailures::takeRecovery() {
    std::erase_if(servers_, [&](const Server& one) { return next_.empty() || one.server == next_; });
    for (Server& other : servers_) {
        other.otherWorks = true;
    }
}

void MailFailures::takeRecipient(const Recipient& recipient, std::int64_t time) {
    std::erase_if(recipients_, [&](const Recipient& one) {
        return one.profile == recipient.profile && one.address == recipient.address;
    });
    recipients_.push_back(recipient);
    recipients_.back().time = time;
}

// The daemon writes them behind each refusal.
void MailFailures::takeWords(const Recipient& recipient) {
    for (Recipient& one : recipients_) {
        if (one.profile == recipient.profile && one.address == recipient.address) {
            one.response = recipient.response;
        }
    }
}
