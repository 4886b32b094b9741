#include "switchctl/input/ProfileTable.h"

#include "dsClient.h"
#include "switchctl/input/CaptureTime.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Rules.h"
#include "switchctl/text/Suggestion.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <set>

namespace {

constexpr std::uint32_t STRING = dsClient::TYPE_STRING;
constexpr std::uint32_t INTEGER = dsClient::TYPE_INTEGER;
constexpr std::uint32_t MOST_EMAILS = 10;  // of a profile; the daemon reads no more
const std::string COUNT = "Global.CallhomeDB.NumberOfProfiles";
const std::string NAMES = "Global.CallhomeDB.ProfileList.";
const std::string PROFILE = "Global.CallhomeDB.Profile.";

std::uint32_t numberIn(const std::string& text) {
    return static_cast<std::uint32_t>(Text::number(text, 0, INT32_MAX).value_or(0));
}

// Reads "N" or "N.suffix"; false when there is no number.
bool splitNumber(const std::string& text, std::uint32_t& number, std::string& suffix) {
    const std::size_t dot = text.find('.');
    const auto value = Text::number(text.substr(0, dot), 0, INT32_MAX);
    if (!value) {
        return false;
    }
    number = static_cast<std::uint32_t>(*value);
    suffix = dot == std::string::npos ? "" : text.substr(dot + 1);
    return true;
}

void put(ProfileTable::Profile& profile, const std::string& suffix, std::uint32_t type, std::string value) {
    profile.fields[suffix] = Attribute{suffix, type, std::move(value)};
}

void putCapture(ProfileTable::Profile& profile, const std::string& text) {
    put(profile, "CaptureEnable", STRING, text.empty() ? "False" : "True");
    put(profile, "CaptureEntries", INTEGER, text.empty() ? "0" : "1");
    if (!text.empty()) {
        const CaptureTime time = CaptureTime::parse(text);
        put(profile, "Capture.0.Type", STRING, "Cron");
        put(profile, "Capture.0.DayOfWeek", STRING, time.day);
        put(profile, "Capture.0.TimeOfDay", STRING, time.time);
        put(profile, "Capture.0.Interval", INTEGER, time.weeks);
    }
}

void putEmails(ProfileTable::Profile& profile, const std::vector<std::string>& emails) {
    Rules::emails(emails);
    std::erase_if(profile.fields, [](const auto& field) { return field.first.starts_with("EmailList."); });
    put(profile, "NumberOfEmails", INTEGER, std::to_string(emails.size()));
    for (std::size_t number = 0; number < emails.size(); ++number) {
        put(profile, "EmailList." + std::to_string(number), STRING, emails[number]);
    }
}

void putSubject(ProfileTable::Profile& profile, const std::string& subject) {
    Rules::subject(subject);
    put(profile, "EmailSubject", STRING, subject);
}

bool namesNothing(const ProfileChange& change) {
    return !change.level && !change.format && change.maxSize == 0 && !change.subject && change.emails.empty() &&
           !change.capture;
}

}  // namespace

std::string ProfileTable::Profile::field(const std::string& suffix) const {
    const auto found = fields.find(suffix);
    return found == fields.end() ? "" : found->second.value;
}

std::vector<std::string> ProfileTable::Profile::emails() const {
    std::vector<std::string> addresses;
    const std::uint32_t count = std::min(numberIn(field("NumberOfEmails")), MOST_EMAILS);
    for (std::uint32_t number = 0; number < count; ++number) {
        const std::string address = field("EmailList." + std::to_string(number));
        if (!address.empty()) {
            addresses.push_back(address);
        }
    }
    return addresses;
}

std::string ProfileTable::Profile::capture() const {
    if (field("CaptureEnable") != "True" || numberIn(field("CaptureEntries")) == 0) {
        return "";
    }
    return field("Capture.0.DayOfWeek") + "," + field("Capture.0.TimeOfDay") + "," + field("Capture.0.Interval");
}

ProfileTable::ProfileTable(std::vector<Attribute> attributes) : stored_(std::move(attributes)) {
    std::uint32_t count = 0;
    std::map<std::uint32_t, Profile> byNumber;
    for (const Attribute& attribute : stored_) {
        std::uint32_t number = 0;
        std::string suffix;
        if (attribute.key == COUNT) {
            count = numberIn(attribute.value);
        } else if (attribute.key.starts_with(NAMES) &&
                   splitNumber(attribute.key.substr(NAMES.size()), number, suffix) && suffix.empty()) {
            byNumber[number].name = attribute.value;
        } else if (attribute.key.starts_with(PROFILE) &&
                   splitNumber(attribute.key.substr(PROFILE.size()), number, suffix) && !suffix.empty()) {
            byNumber[number].fields[suffix] = attribute;
        }
    }
    for (auto& [number, profile] : byNumber) {
        if (number < count) {
            profiles_.push_back(std::move(profile));
        }
    }
}

const ProfileTable::Profile* ProfileTable::find(const std::string& name) const {
    const auto found = std::ranges::find(profiles_, name, &Profile::name);
    return found == profiles_.end() ? nullptr : &*found;
}

void ProfileTable::add(const ProfileSettings& settings) {
    Rules::profileName(settings.name);
    Profile profile{settings.name, {}};
    put(profile, "Level", STRING, Rules::level(settings.level));
    put(profile, "Format", STRING, Rules::format(settings.format));
    put(profile, "MaxSize", INTEGER, std::to_string(settings.maxSize));
    putSubject(profile, settings.subject);
    putEmails(profile, settings.emails);
    putCapture(profile, settings.capture);
    if (find(settings.name) != nullptr) {
        throw Refused("there is a profile " + settings.name + " already");
    }
    profiles_.push_back(std::move(profile));
}

void ProfileTable::remove(const std::string& name) {
    profiles_.erase(profiles_.begin() + (&known(name) - profiles_.data()));
}

ProfileTable::Profile& ProfileTable::known(const std::string& name) {
    const auto found = std::ranges::find(profiles_, name, &Profile::name);
    if (found == profiles_.end()) {
        throw Refused(noSuchProfile(name));
    }
    return *found;
}

std::string ProfileTable::noSuchProfile(const std::string& name) const {
    std::vector<std::string> names;
    for (const Profile& profile : profiles_) {
        names.push_back(profile.name);
    }
    return "there is no profile " + Text::oneLine(name) + Suggestion::didYouMean(name, names);
}

void ProfileTable::set(const ProfileChange& change) {
    if (namesNothing(change)) {
        throw UsageError("there is nothing to set; name at least one option");
    }
    Profile profile = known(change.name);
    if (change.level) {
        put(profile, "Level", STRING, Rules::level(*change.level));
    }
    if (change.format) {
        put(profile, "Format", STRING, Rules::format(*change.format));
    }
    if (change.maxSize != 0) {
        put(profile, "MaxSize", INTEGER, std::to_string(change.maxSize));
    }
    if (change.subject) {
        putSubject(profile, *change.subject);
    }
    if (!change.emails.empty()) {
        putEmails(profile, change.emails);
    }
    if (change.capture) {
        putCapture(profile, *change.capture == "off" ? "" : *change.capture);
    }
    known(change.name) = std::move(profile);
}

std::vector<Attribute> ProfileTable::wanted() const {
    std::vector<Attribute> attributes = {{COUNT, INTEGER, std::to_string(profiles_.size())}};
    for (std::size_t number = 0; number < profiles_.size(); ++number) {
        const std::string text = std::to_string(number);
        const std::string stem = PROFILE + text + ".";
        attributes.push_back({NAMES + text, STRING, profiles_[number].name});
        for (const auto& [suffix, field] : profiles_[number].fields) {
            attributes.push_back({stem + suffix, field.type, field.value});
        }
    }
    return attributes;
}

AttributeChange ProfileTable::change() const {
    AttributeChange change;
    std::set<std::string> kept;
    for (Attribute& attribute : wanted()) {
        kept.insert(attribute.key);
        if (std::ranges::find(stored_, attribute) == stored_.end()) {
            change.set.push_back(std::move(attribute));
        }
    }
    for (const Attribute& attribute : stored_) {
        const bool ours = attribute.key.starts_with(NAMES) || attribute.key.starts_with(PROFILE);
        if (ours && !kept.contains(attribute.key)) {
            change.unset.push_back(attribute.key);
        }
    }
    return change;
}
