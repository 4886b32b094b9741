#include "switchctl/queue/QueueMails.h"

#include "profile/OrvCHMesgCommon.h"
#include "switchctl/client/Attributes.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/PlainFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>

namespace {

// What is parked is mailed for its repeats, to everybody once more.
std::vector<std::string> stillWaiting(const OrvCHEnvelope& envelope, bool parked) {
    std::vector<std::string> addresses;
    for (const std::string& marked : envelope.Recipients) {
        const char mark = OrvCHEnvelope::markOf(marked);
        if (parked || (mark != OrvCHEnvelope::kDelivered && mark != OrvCHEnvelope::kGivenUp)) {
            addresses.push_back(marked.substr(mark == OrvCHEnvelope::kNoMark ? 0 : 1));
        }
    }
    return addresses;
}

// What every file system takes as a part of a name.
std::string plainName(std::string_view text) {
    constexpr std::string_view PLAIN = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
    std::string name(text);
    std::ranges::replace_if(
        name, [&](char c) { return PLAIN.find(c) == std::string_view::npos; }, '_');
    return name;
}

// A text of an attribute may have line feeds alone.
std::string withLineEnds(std::string_view text) {
    std::string result;
    for (std::size_t place = 0; place < text.size(); ++place) {
        const bool paired = text[place] == '\r' && text.substr(place + 1).starts_with('\n');
        if (text[place] == '\r' || text[place] == '\n') {
            result += "\r\n";
            place += paired ? 1 : 0;
        } else {
            result += text[place];
        }
    }
    return result.ends_with("\r\n") ? result : result + "\r\n";
}

std::string freeName(const QueueMail& mail, std::set<std::string>& taken) {
    const std::string message = mail.message.substr(mail.message.rfind('/') + 1);
    const std::string queue = mail.message.substr(0, mail.message.size() - message.size());
    const std::string begin = plainName(queue) + "m" + message + "-" + plainName(mail.profile);
    std::string name = begin;
    for (int number = 2; !taken.insert(name).second; ++number) {
        name = begin + "-" + std::to_string(number);
    }
    return name + ".eml";
}

}  // namespace

MailMaker mailMaker(Session& session, const QueueFacts& facts) {
    return {Attributes::get(session, orvIdentityKeys()), facts.status.traces.presentedAs};
}

std::vector<QueueMail> mailsOf(const QueueEntry& entry, const MailMaker& maker) {
    std::vector<QueueMail> mails;
    if (!entry.message || !entry.message->whole()) {
        throw Refused("the file of message " + entry.name() + " is not whole: there is no mail of it");
    }
    for (const auto& envelope : entry.message->message().Envelopes) {
        mails.push_back({entry.name(), envelope->ProfileName, maker.sender(),
                         stillWaiting(*envelope, entry.queue == QueueFiles::DUPLICATE),
                         maker.compose(entry.message->message(), *envelope)});
    }
    return mails;
}

std::vector<ExportedMail> exportMails(std::vector<QueueMail> mails, const std::string& directory) {
    if (mkdir(directory.c_str(), S_IRWXU) < 0 && errno != EEXIST) {
        throw Refused("the directory " + directory + " cannot be made: " + std::strerror(errno));
    }
    std::vector<ExportedMail> exported;
    std::set<std::string> taken;
    for (QueueMail& mail : mails) {
        const std::string file = directory + "/" + freeName(mail, taken);
        if (PlainFile::create(file, withLineEnds(mail.text)) < 0) {
            throw Refused(file + " cannot be written: " + std::strerror(errno));
        }
        exported.push_back({std::move(mail), file});
    }
    return exported;
}
