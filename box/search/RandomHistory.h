// A history that is drawn: events and their repeats, mail servers that come and go, restarts and kills, changes of the
// configuration and requests. In its end all faults are over, and time is left for what still waits.
#pragma once

#include "box/Random.h"
#include "box/Script.h"
#include "box/World.h"
#include "box/search/Counts.h"
#include "box/search/Judge.h"
#include "box/search/Steps.h"

#include <cstdint>
#include <string>
#include <vector>

namespace box {

class RandomHistory : public Script {
public:
    struct Settings {
        std::uint64_t seed = 1;
        Time end = kDay;  // of the faults
        std::uint32_t eventsPerDay = 200;
        std::uint32_t profiles = 2;
        std::uint32_t faults = 0;  // of Options.h
        Time until = kNever;
        Steps skip;   // as in Options.h
        Steps spare;  // the same
    };

    // Also gives the world its mail servers and its first configuration.
    RandomHistory(const Settings& settings, World& world);

    Time next() const override { return next_ < endAt_ ? next_ : endAt_; }
    void step(Life& life) override;
    std::uint64_t killAtCall() override;
    Trouble trouble() override;
    void mailTaken(Life& life, const MailServer& server, const Mail& mail) override;
    void logged(Life& life, const LogEntry& entry) override;
    void mainWaits(Life& life, const char* call) override;
    void written(Life& life, std::string_view text) override;
    void clientSteps(Life& life, ClientStep step, std::string_view what, Time at) override;
    // A history in which something is wrong is over with the life in which it went so.
    void ended(Life& life, LifeEnd how) override;
    void begins(const std::string& root) override;
    void encode(FieldWriter& out) const override;
    void decode(FieldReader& in) override;

    std::uint32_t steps() const { return step_; }
    // How often each kind of step happened.
    const Counts& happened() const { return happened_; }
    const Judge& judge() const { return judge_; }
    std::uint32_t events() const { return events_; }
    // What is wrong, "" when nothing is.
    Books::Sums sums() const { return judge_.sums(); }
    const std::string& problem() const { return judge_.problem(); }

private:
    static void fields(auto& io, auto& history);
    struct Kind;
    static const Kind kKinds[];
    void schedule(Time now);
    void happen(Life& life);
    void publish(Life& life, std::uint32_t event);
    void publishNew(Life& life);
    bool isSettled(const Life& life) const;
    bool takesEvents(Life& life) const;
    void ask(Life& life, std::uint16_t code, const std::vector<std::uint8_t>& payload);
    void listen(Life& life);
    void repeat(Life& life);
    void burst(Life& life);
    void changeServer(Life& life);
    void changeConfig(Life& life);
    void request(Life& life);
    void askWrongly(Life& life);
    void writeOddly(Life& life);
    void endLife(Life& life);
    void stop(Life& life);
    Trouble drawTrouble(std::uint32_t faults);
    void letFail(Life& life);
    void calmDown(Life& life);
    static Facts factsOf(Life& life);
    // To the timeline, if a rule has been broken.
    void tellBroken(Life& life);

    const Settings settings_;
    Random chance_;   // of when steps happen
    Random dice_{0};  // of one step, or of one life's beginning
    Time next_ = 0;
    std::uint32_t phase_ = 0;  // 0: faults; 1: calm; 2: over
    std::uint32_t step_ = 0;   // the last one
    std::uint32_t lives_ = 0;  // begun
    std::uint32_t events_ = 0;
    Counts happened_;
    // --- Of this life, and so never encoded ---
    Time settled_ = 0;  // the last order to read the configuration again
    bool listening_ = false;
    std::uint32_t endsIn_ = 0;  // so many steps of the dialogues it is told to end; 0: it is not
    Time endAt_ = kNever;       // or at this time
    Time countsAgain_ = 0;      // what is open and what files there are: dear, and grows slowly
    unsigned descriptors_ = 0;
    unsigned files_ = 0;
    // ---
    Judge judge_;
};

}  // namespace box
