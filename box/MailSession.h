// A model mail server's side of one connection: what it answers to the bytes that come.
//
// Knows no time and no network. Takes every mail that ends with a line of one dot, and tells it.
#pragma once

#include "box/StateFields.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace box {

struct Mail {
    std::string from;
    std::vector<std::string> to;
    std::string text;

    static void fields(auto& io, auto& mail) {
        io.text32(mail.from);
        io.text32(mail.text);
        texts(io, mail.to);
    }
};

// Where a dialogue stands when a server shows how it behaves.
enum class MailStep { kGreeting, kHello, kFrom, kRecipient, kData, kText, kReset, kQuit, kOther };

const char* mailStepName(MailStep step);

class MailSession {
public:
    struct Answer {
        MailStep step = MailStep::kGreeting;
        std::string reply;  // with its line end
        bool closes = false;
    };
    // What the server answers at a step instead of what it would; empty: it goes on as usual.
    using Choice = std::function<std::string(MailStep step)>;
    using Taken = std::function<void(const Mail& mail)>;

    MailSession(Choice choice, Taken taken) : choice_(std::move(choice)), taken_(std::move(taken)) {}

    Answer greet();
    // The answers to what has come in whole; the rest is kept.
    std::vector<Answer> receive(std::string_view bytes);

private:
    Answer answer(MailStep step, std::string reply, bool closes = false);
    Answer command(const std::string& line);
    Answer recipient(const std::string& line);
    Answer endOfText();

    const Choice choice_;
    const Taken taken_;
    std::string pending_;
    Mail mail_;
    bool inText_ = false;
};

}  // namespace box
