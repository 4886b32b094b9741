#include "switchctl/trial/TestRecipients.h"

#include "catalogue/OrvEventCatalogue.h"
#include "catalogue/OrvLogEntries.h"
#include "switchctl/log/LogDigest.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

// In the order of the states.
constexpr std::array RECIPIENT_STATES = {"waiting", "taken", "put off", "refused"};

std::string inQuotes(const std::string& words) {
    return words.empty() ? "" : ": \"" + Text::oneLine(words) + "\"";
}

}  // namespace

TestRecipients::TestRecipients(std::string profile, const std::vector<std::string>& addresses)
    : profile_(std::move(profile)) {
    for (const std::string& address : addresses) {
        recipients_.push_back({address, State::WAITING, "", ""});
    }
}

std::string TestRecipients::take(const LogEntry& entry) {
    const auto match = orvRecognise(entry.level, entry.number, entry.text);
    if (!match) {
        return "";
    }
    if (match->is(orv_log::kNoRecipientAccepted)) {
        refusedByAll_ = refusedByAll_ || match->argument(2) == profile_;
        return "";
    }
    const bool ofServer = match->is(orv_log::kSendFailed) || match->is(orv_log::kRetryLater) ||
                          match->is(orv_log::kNoUsableServer) || match->is(orv_log::kRetryNow);
    return ofServer ? takeServer(*match, entry) : takeRecipient(*match);
}

TestRecipients::Recipient& TestRecipients::recipient(const std::string& address) {
    const auto found = std::ranges::find(recipients_, address, &Recipient::address);
    return found != recipients_.end() ? *found : recipients_.emplace_back(Recipient{address, State::WAITING, "", ""});
}

// First what becomes of the recipient, then the server's words.
std::string TestRecipients::takeRecipient(const OrvCatalogueMatch& entry) {
    const bool putOff = entry.is(orv_log::kRecipientRetry);
    const bool refused = entry.is(orv_log::kRecipientRetryFailed) || entry.is(orv_log::kRecipientGivenUp);
    const bool words = entry.is(orv_log::kRecipientRefused);
    if ((!putOff && !refused && !words) || entry.argument(0) != profile_) {
        return "";
    }
    Recipient& one = recipient(entry.argument(1));
    one.server = serverText(entry.argument(2), entry.argument(3));
    if (!words) {
        one.state = refused ? State::REFUSED : State::PUT_OFF;
        return "";
    }
    one.words = entry.argument(4);
    const bool again = one.state == State::PUT_OFF;
    return Text::oneLine(one.address) + ": " + RECIPIENT_STATES[static_cast<std::size_t>(one.state)] + " by " +
           one.server + inQuotes(one.words) + (again ? "; it is tried once more, at once" : "");
}

std::string TestRecipients::takeServer(const OrvCatalogueMatch& entry, const LogEntry& whole) {
    nextTry_.reset();
    if (entry.is(orv_log::kSendFailed)) {
        return "the mail server " + serverText(entry.argument(0), entry.argument(1)) +
               " has failed: " + Text::oneLine(entry.argument(2) + ", " + entry.argument(3)) +
               inQuotes(entry.argument(4));
    }
    if (entry.is(orv_log::kRetryLater)) {
        LogDigest digest;
        digest.take(whole, LogDigest::timeScale());
        if (!digest.retry) {
            return "";
        }
        nextTry_ = Try{digest.retry->server, digest.retry->due};
        return "next try at " + timeOfDay(nextTry_->time) + " through " + nextTry_->server;
    }
    return entry.is(orv_log::kNoUsableServer) ? Text::oneLine(whole.text) : "";
}

void TestRecipients::end(bool passed) {
    const bool known =
        std::ranges::any_of(recipients_, [](const Recipient& one) { return one.state == State::REFUSED; });
    for (Recipient& one : recipients_) {
        if (passed || (known && one.state != State::REFUSED)) {
            one = {one.address, State::TAKEN, "", ""};
        }
    }
    nextTry_.reset();
}

std::string TestRecipients::notReached() const {
    std::string text;
    for (const Recipient& one : recipients_) {
        if (one.state == State::REFUSED || one.state == State::PUT_OFF) {
            text += (text.empty() ? "" : "; ") + Text::oneLine(one.address) + ", " +
                    RECIPIENT_STATES[static_cast<std::size_t>(one.state)] + " by " + one.server + inQuotes(one.words);
        }
    }
    return text;
}

Json TestRecipients::json() const {
    Json list = Json::array();
    for (const Recipient& one : recipients_) {
        list.add(Json()
                     .set("address", one.address)
                     .set("state", RECIPIENT_STATES[static_cast<std::size_t>(one.state)])
                     .set("server", one.server)
                     .set("words", one.words));
    }
    return list;
}
