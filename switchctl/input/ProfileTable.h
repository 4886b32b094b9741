// CallHome's profiles as the attribute store keeps them: a count, a list of names, and attributes by number.
//
// They are kept dense: numbers run from 0 without gaps, and nothing stays behind a removed profile. Attributes of a
// profile that are not known here move along with it.
#pragma once

#include "switchd/store/Attribute.h"
#include "switchd/store/AttributeStore.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What an operator says about a profile.
struct ProfileSettings {
    std::string name;
    std::string level;
    std::string format;
    std::uint32_t maxSize = 2000000;
    std::string subject;
    std::vector<std::string> emails;
    std::string capture;  // DAY,HH:MM,WEEKS; empty: none
};

// What is to be different about one; what is not named stays.
struct ProfileChange {
    std::string name;
    std::optional<std::string> level;
    std::optional<std::string> format;
    std::uint32_t maxSize = 0;  // 0: not named
    std::optional<std::string> subject;
    std::vector<std::string> emails;     // in place of those that are there; none: not named
    std::optional<std::string> capture;  // "off" for none
};

class ProfileTable {
public:
    // Every key of a profile begins so.
    static constexpr const char* PREFIX = "Global.CallhomeDB.";

    struct Profile {
        std::string name;
        // By what follows "Global.CallhomeDB.Profile.N.".
        std::map<std::string, Attribute> fields;

        // The value; "" when there is none.
        std::string field(const std::string& suffix) const;
        std::vector<std::string> emails() const;
        // DAY,HH:MM,WEEKS; empty when it captures nothing.
        std::string capture() const;
    };

    // From all attributes that begin with PREFIX.
    explicit ProfileTable(std::vector<Attribute> attributes);

    const std::vector<Profile>& profiles() const { return profiles_; }
    // Null when there is none of that name.
    const Profile* find(const std::string& name) const;
    // What to say of a name that there is not.
    std::string noSuchProfile(const std::string& name) const;

    // Throws UsageError when a setting cannot be used, Refused when the name is taken.
    void add(const ProfileSettings& settings);
    // Throws Refused when there is none of that name.
    void remove(const std::string& name);
    // Throws UsageError when a setting cannot be used or none is named, Refused when there is no such profile.
    void set(const ProfileChange& change);

    // What has to change in the store.
    AttributeChange change() const;

private:
    std::vector<Attribute> wanted() const;
    // Throws Refused when there is none.
    Profile& known(const std::string& name);

    std::vector<Attribute> stored_;  // as they were read
    std::vector<Profile> profiles_;
};
