// What a start makes of the files that a power cut has left: some minutes without faults, with one further event.
#pragma once

#include "box/MailSession.h"
#include "box/Script.h"
#include "box/cuts/Mails.h"

#include <cstdint>
#include <string>
#include <vector>

namespace box {

class AfterCut final : public Script {
public:
    Time next() const override { return next_; }
    void step(Life& life) override;
    void mailTaken(Life& life, const MailServer& server, const Mail& mail) override;
    void logged(Life& life, const LogEntry& entry) override;
    void encode(FieldWriter& out) const override;
    void decode(FieldReader& in) override;

    // Those of the further event are not among them.
    const std::vector<Mail>& mails() const { return mails_; }
    // What is wrong; "" when nothing is.
    const std::string& problem() const { return problem_; }

private:
    static void fields(auto& io, auto& script);
    void publishFurther(Life& life) const;
    std::string unnamedLeftover() const;

    Time next_ = 1;
    Time began_ = 0;
    std::uint32_t steps_ = 0;
    bool furtherMailed_ = false;
    std::vector<Mail> mails_;
    std::string entries_;  // of the event log, as far as they name files of the queue
    std::string problem_;
};

}  // namespace box
