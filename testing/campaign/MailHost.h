// The mail server of a campaign: served by the process that waits for a life, so that nothing but that process is at
// work when the next life is forked.
//
// Takes what it is sent, or does what the board says. What was taken is told to the board. One thread.
#pragma once

#include "Descriptor.h"
#include "testing/ScriptedMailSession.h"
#include "testing/campaign/Board.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class MailHost {
public:
    // Listens on a free port of the loopback address when it returns.
    explicit MailHost(Board& board);
    ~MailHost();

    std::uint16_t port() const { return port_; }
    // Serves until the other end of this descriptor is closed. False when that has not come in time.
    [[nodiscard]] bool serveUntilClosed(int other, std::chrono::milliseconds limit);
    // All that was taken, in the order of connecting.
    std::vector<ScriptedMail> mails() const;

private:
    struct Connection;
    static constexpr int kOtherClosed = -2;

    int serveOnce(int other, int limit);
    void acceptOne();
    void readFrom(Connection& connection);
    void answer(Connection& connection);
    void tellBoard(const ScriptedMail& mail);

    Board& board_;
    Descriptor listener_;
    std::uint16_t port_ = 0;
    MailScript script_;
    std::vector<std::unique_ptr<Connection>> connections_;
};

// What an event of a campaign is called in its mail, and which event a mail is about; -1: none.
std::string campaignEventText(unsigned event);
int campaignEventOf(const std::string& mail);
// The recipients of every profile.
const char* campaignRecipient(unsigned index);
