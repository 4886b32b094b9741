#include "switchctl/log/MailFailures.h"

#include "catalogue/OrvLogEntries.h"

#include <algorithm>
#include <utility>

std::string serverText(const std::string& address, const std::string& port) {
    const bool isIPv6 = address.find(':') != std::string::npos;
    return (isIPv6 ? "[" + address + "]" : address) + ":" + port;
}

void MailFailures::take(const OrvCatalogueMatch& entry, std::int64_t time) {
    const auto recipient = [&] {
        return Recipient{entry.argument(0), entry.argument(1), serverText(entry.argument(2), entry.argument(3)), "",
                         time};
    };
    if (entry.is(orv_log::kSendFailed)) {
        takeServer(entry, time);
    } else if (entry.is(orv_log::kRetryLater)) {
        next_ = serverText(entry.argument(0), entry.argument(1));
    } else if (entry.is(orv_log::kRecovered)) {
        takeRecovery();
    } else if (entry.is(orv_log::kRecipientRetryFailed) || entry.is(orv_log::kRecipientGivenUp)) {
        takeRecipient(recipient());
    } else if (entry.is(orv_log::kRecipientRefused)) {
        takeWords(entry);
    } else if (entry.is(orv_log::kBuildDetailRequest) && entry.argument(0) == "Global.Callhome.SMTPGatewayEnable") {
        // What was said to the old settings does not count for the new ones.
        servers_.clear();
    }
}

void MailFailures::takeServer(const OrvCatalogueMatch& entry, std::int64_t time) {
    Server failed{serverText(entry.argument(0), entry.argument(1)),
                  entry.argument(2),
                  entry.argument(3),
                  entry.argument(4),
                  time,
                  false};
    std::erase_if(servers_, [&](const Server& one) { return one.server == failed.server; });
    for (Server& other : servers_) {
        other.otherWorks = false;
    }
    servers_.push_back(std::move(failed));
}

// The server that was tried last took a mail.
void MailFailures::takeRecovery() {
    std::erase_if(servers_, [&](const Server& one) { return next_.empty() || one.server == next_; });
    for (Server& other : servers_) {
        other.otherWorks = true;
    }
}

void MailFailures::takeRecipient(Recipient recipient) {
    std::erase_if(recipients_, [&](const Recipient& one) {
        return one.profile == recipient.profile && one.address == recipient.address;
    });
    recipients_.push_back(std::move(recipient));
}

// The daemon writes them behind each refusal.
void MailFailures::takeWords(const OrvCatalogueMatch& entry) {
    for (Recipient& one : recipients_) {
        if (one.profile == entry.argument(0) && one.address == entry.argument(1)) {
            one.response = entry.argument(4);
        }
    }
}
