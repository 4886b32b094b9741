// Vocabulary of the tests of doctor: a switch on which nothing is wrong, its mail server, and faults that are seeded in
// them.
#pragma once

#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/StatusTest.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

class DoctorTest : public StatusTest {
public:
    ScriptedMailServer& server() { return server_; }

    void set(const std::vector<std::string>& attributes) {
        std::vector<std::string> words = {"attr", "set"};
        words.insert(words.end(), attributes.begin(), attributes.end());
        done(words);
    }
    void reply(MailStage stage, const ScriptedReply& reply) { server_.answer(stage, reply); }
    void say(MailStage stage, const std::string& line) { server_.answer(stage, ScriptedReply::line(line)); }
    void sayOf(const std::string& recipient, const std::string& line) {
        server_.answerRecipient(recipient, ScriptedReply::line(line));
    }
    // The second mail server.
    void useSecond(const std::string& address, std::uint16_t port) {
        set({"Global.Callhome.NF-SMTPAddr1=" + address, "Global.Callhome.SMTPPort1=" + std::to_string(port),
             "Global.Callhome.SMTPEnable1=True"});
    }
    template <typename... Arguments>
    void happened(const OrvLogEntry<Arguments...>& kind, std::type_identity_t<Arguments>... arguments) {
        log(kind, arguments...);
    }
    // A record of the daemon's, as early as the switch's clock begins.
    void traced(const std::string& thread, const std::string& record) { traceTo(thread) << HEAD << record; }
    void wrote(const std::string& file) {
        const std::filesystem::path path = switch_.root().at(file);
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << "x";
    }
    // What the daemon says about itself.
    void condition(const char* value) { condition_ = value; }
    void reads(const char* value) { config_ = value; }
    void queueOpen(const char* value) { queueOpen_ = value; }
    void queueSettingsRead(const char* value) { queueSettingsRead_ = value; }
    void silent() { silent_ = true; }
    void waiting(std::uint32_t count) { waiting_ = count; }
    void open(std::uint32_t count) { open_ = count; }
    void ended() {
        daemon_.remove();
        switch_.pump();
    }
    void later(std::uint64_t milliseconds) { switch_.clock().advance(milliseconds); }

protected:
    void SetUp() override {
        StatusTest::SetUp();
        configure();
        set({"Global.Callhome.NF-SMTPAddr=1-127.0.0.1", "Global.Callhome.SMTPPort=" + std::to_string(server_.port()),
             "Global.Network.Eth.0.NF-IPAddress=1-C0000209", "Oper.Callhome.NF-ActiveSMTPAddr=1-127.0.0.1",
             "Oper.Callhome.ActiveSMTPPort=" + std::to_string(server_.port())});
    }

    std::string serverText() const { return "127.0.0.1:" + std::to_string(server_.port()); }

    ScriptedMailServer server_;
};

// What is made wrong on that switch, and what doctor finds then.
struct SeededFault {
    const char* name;  // in words that a test may be called by
    std::function<void(DoctorTest&)> seed;
    const char* id;
    const char* text;    // stands in what it says
    const char* remedy;  // and in what it tells to do
    int status = 1;
    const char* limit = "10";  // seconds
};

inline std::string nameOf(const testing::TestParamInfo<SeededFault>& info) {
    std::string name = info.param.name;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

// So that a failing one is shown by its name.
inline void PrintTo(const SeededFault& fault, std::ostream* out) {
    *out << fault.name;
}

class SeededFaults : public DoctorTest, public testing::WithParamInterface<SeededFault> {
protected:
    // The problem of that id, in the order of its keys.
    static std::string problemIn(const std::string& json, const std::string& id) {
        const std::size_t end = json.find("\",\"id\":\"" + id + "\",\"state\":");
        if (end == std::string::npos) {
            return "";
        }
        const std::size_t begin = json.rfind("{\"cause\":", end);
        return json.substr(begin, json.find('}', end) - begin);
    }
    void expectFound() {
        const SeededFault& fault = GetParam();
        fault.seed(*this);

        const Outcome result = run({"doctor", "--json", "--timeout", fault.limit});

        const std::string found = problemIn(result.out, fault.id);
        EXPECT_NE(found, "") << result.out;
        EXPECT_THAT(found, testing::HasSubstr(fault.text));
        const std::string remedy = found.substr(std::min(found.find("\"remedy\":"), found.size()));
        EXPECT_THAT(remedy, testing::HasSubstr(fault.remedy));
        EXPECT_EQ(result.status, fault.status) << result.err;
    }
};
