// The daemon as docs/behaviour.md states it, without threads, files, sockets or a clock of its own.
//
// A history is a row of calls, each with its time; after each call log(), responses(), writes() and flash() say what is
// to be seen of the daemon by then, and wire() what it says next to its mail server. Nothing happens between two calls.
#pragma once

#include "box/model/Sender.h"

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace model {

class Model {
public:
    // What the daemon finds: the switch's attributes, the names that resolve, and the files left behind.
    explicit Model(Attributes attributes, Flash flash = {});

    // --- Lives ---
    void start(const Now& now);
    void kill();
    // Told to end; over() once it has ended. kill() stands for the end of its patience.
    void stop(const Now& now);
    bool over() const { return !life_; }

    // --- The switch ---
    void setAttribute(const std::string& key, const std::string& value) { outside_.attributes[key] = value; }
    void removeAttribute(const std::string& key) { outside_.attributes.erase(key); }
    void setName(const std::string& name, const std::string& canonical) { outside_.names[name] = canonical; }
    void tick(const Now& now);
    void event(const Now& now, const Sw_Log_Type& record);
    void state(const Now& now, const std::string& state);
    void hostname(const Now& now, const std::string& name);
    // As texts; empty: the event has none of this family.
    void address(const Now& now, const std::string& ipv4, const std::string& ipv6);

    // --- Management requests ---
    void profileChange(const Now& now, std::uint32_t handle);
    void testProfile(const Now& now, std::uint32_t handle, const std::string& name);
    void clearQueue(const Now& now, std::uint32_t handle);
    void processedInfo(const Now& now, std::uint32_t handle);
    void changeOver(const Now& now, std::uint32_t handle);
    void queueInfo(const Now& now, std::uint32_t handle);

    // --- The mail server ---
    WireStep wire() const;
    void connected(const Now& now);
    void connectFailed(const Now& now, const std::string& reason, const std::string& description);
    void replied(const Now& now, const std::string& reply);
    void closed(const Now& now, const std::string& description = "Success");
    void silent(const Now& now);

    // --- What is to be seen ---
    std::vector<LogEntry> takeLog() { return std::exchange(outside_.log, {}); }
    std::vector<Response> takeResponses() { return std::exchange(outside_.responses, {}); }
    std::vector<AttributeWrite> takeWrites() { return std::exchange(outside_.writes, {}); }
    const Flash& flash() const { return flash_; }
    const Attributes& attributes() const { return outside_.attributes; }
    // Null between lives.
    const Queue* queue() const { return life_ ? &life_->queue : nullptr; }

private:
    // What allows messages to be built: a message is built when all of it is true.
    struct Conditions {
        bool feature = true, service = true, server = true, sender = true, profiles = true;
        bool all() const { return feature && service && server && sender && profiles; }
    };

    // What ends with a life.
    struct Life {
        Life(Outside& outside, Flash& flash) : queue(outside, flash), sender(queue, identity, outside) {}

        Identity identity;
        Queue queue;
        Sender sender;
        std::vector<Profile> profiles;
        Conditions conditions;
        std::deque<Message> incoming;  // built, and not yet offered to the profiles
        std::string state;
        bool ready = false;     // the profiles have been read
        bool updating = false;  // they never will be: their number is missing
        bool stopping = false;
    };

    void readConfiguration(bool starting);
    void readSwitches();
    void readNumberOfProfiles(unsigned& profiles);
    void readProfiles(unsigned count);
    void readState();
    void validate();
    void noteAddress();
    void newState(const std::string& state);

    void take(Message message);
    void processIncoming();
    bool refuseTest(const std::string& profile);
    void addEnvelope(Message& message, Profile& profile);
    void afterStep();

    Outside outside_;
    Flash flash_;
    std::unique_ptr<Life> life_;
};

}  // namespace model
