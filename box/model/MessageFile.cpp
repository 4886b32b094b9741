// The message's part of an entry file. Rules: docs/queue-files.md, "An entry", and docs/behaviour.md, "Files".
#include "box/model/Message.h"

#include <algorithm>
#include <array>
#include <vector>

namespace model {
namespace {

const std::string kEnd = "</->";

std::string element(const std::string& tag, const std::string& value) {
    return "<" + tag + ">\n" + value + "\n" + kEnd + "\n";
}

std::string elementUnlessEmpty(const std::string& tag, const std::string& value) {
    return value.empty() ? "" : element(tag, value);
}

std::string envelopeText(const Envelope& envelope) {
    std::string text = "<OrvCHEnvelope>\n" + element("MaxSize", std::to_string(envelope.maxSize)) +
                       element("Type", envelope.format) + element("Profile", envelope.profile) +
                       element("Subj", envelope.subject) + "<RcptList>\n";
    for (const std::string& recipient : envelope.recipients) {
        text += recipient + "\n";
    }
    return text + "</RcptList>\n</OrvCHEnvelope>\n";
}

bool opens(const std::string& line) {
    return line.size() >= 2 && line[0] == '<' && line[1] != '/' && line.back() == '>';
}

// Reads a file line by line. Each function says false when the file is no message.
class Reader {
public:
    explicit Reader(const std::string& file) : file_(file) {}

    bool message(Message& message);

private:
    bool atEnd() const { return position_ >= file_.size(); }
    std::string line();
    bool value(std::string& out);
    bool skipElement(const std::string& opening);
    bool envelopes(Message& message);
    bool envelope(Envelope& envelope);
    bool element(Message& message, const std::string& tag);
    bool knows(const std::string& tag) const;

    const std::string& file_;
    std::size_t position_ = 0;
    bool typed_ = false;  // the identifier has been read: attributes of the event are known from here on
    std::vector<std::string> seen_;
};

std::string Reader::line() {
    const std::size_t end = std::min(file_.find('\n', position_), file_.size());
    std::string text = file_.substr(position_, end - position_);
    position_ = end + 1;
    return text;
}

bool Reader::value(std::string& out) {
    if (atEnd()) {
        return false;
    }
    out = line();
    return !atEnd() && line() == kEnd;
}

// What an unknown element holds is skipped, elements within it too.
bool Reader::skipElement(const std::string& opening) {
    std::vector<std::string> open{opening};
    while (!open.empty()) {
        if (atEnd()) {
            return false;
        }
        const std::string text = line();
        if (opens(text)) {
            open.push_back(text);
        } else if (text == kEnd || text == "</" + open.back().substr(1)) {
            open.pop_back();
        }
    }
    return true;
}

bool Reader::envelope(Envelope& envelope) {
    unsigned seen = 0;  // size, format, subject, recipients; the profile's name may be missing
    std::string text;
    while (!atEnd()) {
        const std::string tag = line();
        if (tag == "</OrvCHEnvelope>") {
            return seen == 15;
        }
        if (tag == "<MaxSize>") {
            if (!value(text)) {
                return false;
            }
            envelope.maxSize = std::uint32_t(toSigned(text));
            seen |= 1;
        } else if (tag == "<Type>" || tag == "<Subj>" || tag == "<Profile>") {
            std::string& field = tag == "<Type>"   ? envelope.format
                                 : tag == "<Subj>" ? envelope.subject
                                                   : envelope.profile;
            if (!value(field)) {
                return false;
            }
            seen |= tag == "<Type>" ? 2u : tag == "<Subj>" ? 4u : 0u;
        } else if (tag == "<RcptList>") {
            while (!atEnd() && (text = line()) != "</RcptList>") {
                envelope.recipients.push_back(text);
            }
            seen |= 8;
        } else if (!opens(tag) || !skipElement(tag)) {
            return false;
        }
    }
    return false;
}

bool Reader::envelopes(Message& message) {
    while (!atEnd()) {
        std::string text = line();
        if (text == "</EnvelopeList>") {
            return true;
        }
        while (text != "<OrvCHEnvelope>") {
            if (atEnd()) {
                return false;
            }
            text = line();
        }
        if (!envelope(message.envelopes.emplace_back())) {
            return false;
        }
    }
    return false;
}

bool Reader::knows(const std::string& tag) const {
    static const std::array<std::string, 5> always{"<DupCnt>", "<DupTime>", "<Time>", "<ID>", "<Text>"};
    static const std::array<std::string, 7> ofEvents{"<Level>", "<Blade>", "<ASIC>", "<Port>",
                                                     "<VID>",   "<App>",   "<Comp>"};
    return std::find(always.begin(), always.end(), tag) != always.end() ||
           (typed_ && std::find(ofEvents.begin(), ofEvents.end(), tag) != ofEvents.end());
}

bool Reader::element(Message& message, const std::string& tag) {
    std::string text;
    if (!value(text)) {
        return false;
    }
    const std::pair<const char*, std::string*> fields[] = {
        {"<DupTime>", &message.lastDuplicate},
        {"<Time>", &message.time},
        {"<ID>", &message.id},
        {"<Text>", &message.text},
        {"<Blade>", &message.blade},
        {"<ASIC>", &message.asic},
        {"<Port>", &message.port},
        {"<VID>", &message.fabric},
        {"<App>", &message.application},
        {"<Comp>", &message.component},
    };
    for (const auto& [name, field] : fields) {
        if (tag == name) {
            *field = text;
        }
    }
    if (tag == "<DupCnt>") {
        message.duplicates = std::uint32_t(toSigned(text));
    } else if (tag == "<Level>") {
        message.level = levelNumber(text);
    } else if (tag == "<ID>") {
        typed_ = text.size() == 9 && text.find('.') == 4;
        if (!typed_) {
            return false;
        }
    }
    seen_.push_back(tag);
    return true;
}

bool Reader::message(Message& message) {
    std::string tag;
    while (tag != "<OrvCHMesg>") {
        if (atEnd()) {
            return false;
        }
        tag = line();
    }
    while (!atEnd()) {
        tag = line();
        const auto seen = [this](const char* name) {
            return std::find(seen_.begin(), seen_.end(), name) != seen_.end();
        };
        if (tag == "</OrvCHMesg>") {
            return seen("<DupCnt>") && seen("<DupTime>") && seen("<Time>") && seen("<ID>") && seen("<Text>") &&
                   seen("<Level>") && seen("<EnvelopeList>");
        }
        if (tag == "<EnvelopeList>") {
            if (!envelopes(message)) {
                return false;
            }
            seen_.push_back(tag);
        } else if (tag == "</EnvelopeList>") {
            if (!seen("<EnvelopeList>")) {
                return false;
            }
        } else if (knows(tag) ? !element(message, tag) : !opens(tag) || !skipElement(tag)) {
            return false;
        }
    }
    return false;
}

}  // namespace

std::string fileOf(const Message& message) {
    std::string text = "<OrvCHMesg>\n" + element("DupCnt", std::to_string(std::int32_t(message.duplicates))) +
                       element("DupTime", message.lastDuplicate) + element("Time", message.time) +
                       element("ID", message.id) + element("Level", levelName(message.level)) +
                       elementUnlessEmpty("Blade", message.blade) + elementUnlessEmpty("ASIC", message.asic) +
                       elementUnlessEmpty("Port", message.port) + elementUnlessEmpty("VID", message.fabric) +
                       elementUnlessEmpty("App", message.application) + elementUnlessEmpty("Comp", message.component) +
                       element("Text", message.text) + "<EnvelopeList>\n";
    for (const Envelope& envelope : message.envelopes) {
        text += envelopeText(envelope);
    }
    return text + "</EnvelopeList>\n</OrvCHMesg>\n";
}

std::optional<Message> messageIn(const std::string& file) {
    Message message;
    return Reader(file).message(message) ? std::optional(message) : std::nullopt;
}

}  // namespace model
