// Asks a mail server, by the daemon's own SMTP client, all that it asks for a mail but the mail itself.
#pragma once

#include "smtp/OrvSMTPClient.h"
#include "switchctl/doctor/VisitPlan.h"
#include "switchctl/visit/SmtpWire.h"
#include "switchctl/visit/VisitRecord.h"

#include <string>

class Visitor {
public:
    // The record outlives it.
    Visitor(VisitPlan plan, VisitRecord& record, SmtpWire::Clock::time_point deadline);

    void run();

private:
    bool connect();
    void addConnecting();
    bool presentClient();
    bool askAbout(const VisitPlan::Profile& profile);
    // Records what came of an operation; whether it went well.
    bool conclude(VisitStage::Kind kind, int result, const std::string& profile = "");
    void noteLargestMail();

    const VisitPlan plan_;
    VisitRecord& record_;
    SmtpWire wire_;
    OrvSMTPClient client_;
};
