#include "switchctl/doctor/Visitor.h"

#include "switchctl/text/Text.h"

#include <system_error>
#include <utility>

namespace {

using Kind = VisitStage::Kind;
using Outcome = VisitStage::Outcome;

// The deadline is the wire's.
OrvSMTPTimeouts noLimits() {
    constexpr std::chrono::milliseconds LONG = std::chrono::hours(24);
    return {LONG, LONG, LONG, LONG, LONG, LONG, LONG};
}

std::string systemText(int error) {
    return std::generic_category().message(error);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string line;
    for (const std::string& text : texts) {
        line += (line.empty() ? "" : ", ") + text;
    }
    return line;
}

// Of one try the error alone, of several each with its address.
std::string errorsOf(const std::vector<SmtpWire::Try>& tries) {
    std::vector<std::string> texts;
    for (const SmtpWire::Try& one : tries) {
        texts.push_back((tries.size() > 1 ? one.address + ": " : "") + systemText(one.error));
    }
    return joined(texts);
}

}  // namespace

Visitor::Visitor(VisitPlan plan, VisitRecord& record, SmtpWire::Clock::time_point deadline)
    : plan_(std::move(plan)),
      record_(record),
      wire_(deadline, [&record](Kind kind, const std::string& asked) { record.begin(kind, asked); }),
      client_(noLimits(), wire_) {
}

void Visitor::run() {
    if (connect()) {
        bool goesOn = presentClient() && !plan_.sender.empty();
        for (auto profile = plan_.profiles.begin(); goesOn && profile != plan_.profiles.end(); ++profile) {
            goesOn = askAbout(*profile);
        }
        if (client_.connected()) {
            record_.begin(Kind::QUIT, "QUIT");
            conclude(Kind::QUIT, client_.sendQuit());
        }
    }
    client_.disconnect();
    record_.finish(wire_.pieces());
}

bool Visitor::connect() {
    const int result = client_.connectServer(plan_.server.Address, plan_.server.Port, plan_.server.Kind);
    addConnecting();
    const bool reached = !wire_.tries().empty() && wire_.tries().back().error == 0;
    return reached && conclude(Kind::GREETING, result);
}

// What connecting consists of, as far as it came.
void Visitor::addConnecting() {
    const bool byName = plan_.server.Kind == SmtpAddrMode::kHostName;
    const auto& tries = wire_.tries();
    if (tries.empty()) {
        record_.add({Kind::NAME, Outcome::FAILED, plan_.server.Address, client_.errorText(), ""});
        return;
    }
    if (byName) {
        record_.add({Kind::NAME, Outcome::PASSED, plan_.server.Address, joined(wire_.addresses()), ""});
    }
    const SmtpWire::Try& last = tries.back();
    if (last.error != 0 && last.routeError != 0) {
        record_.add({Kind::ROUTE, Outcome::FAILED, last.address, errorsOf(tries), ""});
        return;
    }
    record_.add({Kind::ROUTE, Outcome::PASSED, last.address, last.from.empty() ? "" : "from " + last.from, ""});
    const Outcome outcome = last.error == 0 ? Outcome::PASSED : wire_.timedOut() ? Outcome::TIMED_OUT : Outcome::FAILED;
    const std::string port = ":" + std::to_string(plan_.server.Port);
    record_.add({Kind::CONNECT, outcome, last.address + port, last.error == 0 ? "" : errorsOf(tries), ""});
}

// One that cannot be resolved, or that the server does not take, makes room for the next.
bool Visitor::presentClient() {
    auto names = plan_.names;
    if (names.empty()) {
        const std::string& own = wire_.tries().back().from;
        const bool isIPv6 = own.find(':') != std::string::npos;
        names.push_back({isIPv6 ? SmtpAddrMode::kIPv6 : SmtpAddrMode::kIPv4, own});
    }
    int result = -1;
    for (auto name = names.begin(); result < 0 && client_.connected() && name != names.end(); ++name) {
        record_.begin(Kind::HELLO, "EHLO");
        result = client_.sendHello(name->text, name->kind);
    }
    if (result == 0) {
        noteLargestMail();
    }
    return conclude(Kind::HELLO, result);
}

// "250-SIZE 10240000"; 0 for no limit.
void Visitor::noteLargestMail() {
    for (const std::string& line : Text::split(wire_.reply(), '\n')) {
        constexpr std::string_view SIZE = "SIZE ";
        const std::string words = line.size() > 4 ? Text::trim(line.substr(4)) : "";
        const auto bytes =
            words.starts_with(SIZE) ? Text::number(words.substr(SIZE.size()), 1, INT64_MAX) : std::nullopt;
        if (bytes) {
            record_.noteLargestMail(static_cast<std::uint64_t>(*bytes));
        }
    }
}

// As the daemon offers a mail; RSET takes the offer back.
bool Visitor::askAbout(const VisitPlan::Profile& profile) {
    record_.begin(Kind::SENDER, "MAIL FROM:<" + plan_.sender + ">");
    if (!conclude(Kind::SENDER, client_.sendMailFrom(plan_.sender), profile.name)) {
        return false;
    }
    for (const std::string& address : profile.addresses) {
        record_.begin(Kind::RECIPIENT, "RCPT TO:<" + address + ">");
        conclude(Kind::RECIPIENT, client_.sendRcptTo(address), profile.name);
        if (!client_.connected()) {
            return false;
        }
    }
    record_.begin(Kind::RESET, "RSET");
    conclude(Kind::RESET, client_.sendReset());
    return client_.connected();
}

bool Visitor::conclude(Kind kind, int result, const std::string& profile) {
    VisitStage stage{kind, Outcome::PASSED, wire_.asked(), wire_.reply(), profile};
    if (result < 0 && client_.connected()) {
        // A host name of its own that cannot be resolved was not asked about.
        const bool refused = client_.errorCode() == OrvSMTPError::kResponseError;
        stage.outcome = refused ? Outcome::REFUSED : Outcome::FAILED;
        stage.words = refused ? wire_.reply() : client_.errorText();
    } else if (result < 0) {
        stage.outcome = wire_.timedOut() ? Outcome::TIMED_OUT : Outcome::CLOSED;
        stage.words = wire_.timedOut() ? "" : client_.errorText();
    }
    stage.words.erase(stage.words.find_last_not_of("\r\n") + 1);
    record_.add(std::move(stage));
    return result == 0;
}
