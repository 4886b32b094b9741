// Faults of a real switch, its daemon and its mail servers: status names each, and its remedies, typed one after the
// other, end it.
#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct Fault {
    const char* id;                   // that status has for it
    std::function<void()> seed;       // makes it
    std::function<void()> cure = {};  // what no command can do
};

class Problems : public SwitchProcesses {
protected:
    static constexpr std::chrono::seconds PATIENCE{30};

    // A daemon that sends to the server, with one profile.
    void SetUp() override {
        switchd_ = startSwitchd();
        daemon_ = startDaemon();
        done({"callhome", "setup", "--enable", "--from", "a@x", "--smtp", smtp()});
        done({"profile", "add", "Ops", "--level", "Info", "--format", "Tsc1", "--email", "ops@x", "desk@x"});
        awaitState("ok");
    }

    std::string smtp() const { return "1-127.0.0.1:" + std::to_string(server_.port()); }
    std::string status() const { return switchctl({"status", "--json", "--timeout", "2"}).output; }
    // The status that holds this, once it does.
    std::string statusWith(const std::string& text) const {
        const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
        std::string json = status();
        while (json.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            json = status();
        }
        EXPECT_THAT(json, HasSubstr(text));
        return json;
    }
    void awaitState(const std::string& state) const { statusWith("\"state\":\"" + state + "\",\"parked\""); }

    void set(const std::string& attribute) const {
        done({"attr", "set", attribute});
        done({"callhome", "profile-change"});
    }
    void happen() { done({"event", "log", "--type", "0", "--number", std::to_string(++events_), "something happens"}); }
    void restart() {
        daemon_->signal(SIGTERM);
        EXPECT_EQ(daemon_->wait(), 0);
        daemon_ = startDaemon();
    }
    // An answer of the server's that a mail runs into.
    std::function<void()> answer(MailStage stage, const ScriptedReply& reply) {
        return [=, this] {
            server_.answer(stage, reply);
            happen();
        };
    }
    std::function<void()> answerWell(MailStage stage, const char* reply) {
        return [=, this] {
            server_.answer(stage, ScriptedReply::line(reply));
            server_.breakConnections();
        };
    }

    // The command in the first problem's remedy.
    std::string remedyIn(const std::string& json) const {
        constexpr std::string_view KEY = "\"remedy\":\"";
        const std::size_t begin = json.find(KEY) + KEY.size();
        std::string remedy = json.substr(begin, json.find("\",\"id\"", begin) - begin);
        for (const char* word : {"switchctl ", "mv ", "kill "}) {
            if (remedy.find(word) != std::string::npos) {
                remedy = remedy.substr(remedy.find(word));
                break;
            }
        }
        return remedy.substr(0, remedy.find_first_of(",;"));
    }
    // As a person types it, with what only a person knows.
    void type(std::string command) const {
        const std::pair<std::string, std::string> words[] = {
            {"KIND-ADDRESS:PORT", smtp()},
            {"=1-ADDRESS", "=1-192.0.2.9"},
            {"ADDRESS", "ops@x"},
            {"NUMBER", "5120000"},
            {"NAME --level L --format F", "Ops --level Info --format Tsc1"},
            {"test NAME", "test Ops"},
            {"/var/tmp/", directory() + "/"}};
        for (const auto& [word, meaning] : words) {
            if (const std::size_t place = command.find(word); place != std::string::npos) {
                command.replace(place, word.size(), meaning);
            }
        }
        const std::string path = std::filesystem::path(Program::SWITCHCTL).parent_path();
        Environment surroundings = environment();
        surroundings["PATH"] = path + ":/usr/bin:/bin";
        Child shell("/bin/sh", {"-c", command}, surroundings);
        shell.readAll();
        shell.wait();
    }
    // Types the first remedy until nothing is left to be mended.
    void mend() const {
        const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
        std::string json = status();
        while (json.find("\"state\":\"ok\"") == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            type(remedyIn(json));
            json = status();
        }
        EXPECT_THAT(json, HasSubstr("\"state\":\"ok\""));
    }
    void expectMended(const Fault& fault) {
        SCOPED_TRACE(fault.id);
        fault.seed();

        const std::string json = statusWith("\"id\":\"" + std::string(fault.id) + "\"");

        const bool blocked = json.find("\"state\":\"blocked\"") != std::string::npos;
        EXPECT_THAT(json, StartsWith(blocked ? "{\"canSend\":false," : "{\"canSend\":true,"));
        EXPECT_EQ(switchctl({"status"}).status, 1);
        if (fault.cure) {
            fault.cure();
        }
        mend();
    }
    void expectAllMended(const std::vector<Fault>& faults) {
        for (const Fault& fault : faults) {
            expectMended(fault);
        }
    }

    ScriptedMailServer server_;
    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
    int events_ = 0;
};

TEST_F(Problems, ofTheConfigurationAreMendedByWhatStatusSays) {
    expectAllMended({
        {"feature-off", [&] { set("Default.Mfg.AllowCallhome=False"); }},
        {"service-off",
         [&] {
             done({"callhome", "setup", "--disable"});
         }},
        {"sender-missing", [&] { set("Global.Callhome.FromAddr=<undefined>"); }},
        {"server-missing",
         [&] {
             done({"callhome", "setup", "--smtp", "off"});
         }},
        {"profile-without-address", [&] { set("Global.CallhomeDB.Profile.0.NumberOfEmails=0"); }},
        {"profile-level", [&] { set("Global.CallhomeDB.Profile.0.Level=info"); }},
        {"profile-format", [&] { set("Global.CallhomeDB.Profile.0.Format=fulltext"); }},
        {"quota-zero", [&] { set("Global.Callhome.FilesAllowed=0"); }},
        {"quota-zero", [&] { set("Global.Callhome.FileSystemSpaceAllowed=much"); }},
        {"profiles-missing",
         [&] {
             done({"profile", "remove", "Ops"});
         }},
        {"configuration-unread",
         [&] {
             set("Global.Services.CallhomeEnable=False");
             done({"attr", "set", "Global.Services.CallhomeEnable=True"});
         }},
    });
}

TEST_F(Problems, ofMailServersAreMendedByWhatStatusSays) {
    expectAllMended({
        {"server-unreachable",
         [&] {
             server_.refuseConnections();
             happen();
         },
         [&] { server_.acceptConnections(); }},
        {"server-none", answer(MailStage::kGreeting, ScriptedReply::line("HTTP/1.1 400 Bad Request")),
         answerWell(MailStage::kGreeting, "220 mail")},
        {"server-declines", answer(MailStage::kGreeting, ScriptedReply::line("554 go away")),
         answerWell(MailStage::kGreeting, "220 mail")},
        {"server-breaks-off", answer(MailStage::kGreeting, ScriptedReply::hangUp()),
         answerWell(MailStage::kGreeting, "220 mail")},
        {"server-silent", answer(MailStage::kGreeting, ScriptedReply::silence()),
         answerWell(MailStage::kGreeting, "220 mail")},
        {"login-wanted", answer(MailStage::kMail, ScriptedReply::line("530 5.7.0 Authentication required")),
         answerWell(MailStage::kMail, "250 ok")},
        {"sender-refused", answer(MailStage::kMail, ScriptedReply::line("550 not from you")),
         answerWell(MailStage::kMail, "250 ok")},
        {"mail-too-large", answer(MailStage::kEndOfData, ScriptedReply::line("552 5.3.4 too large")),
         answerWell(MailStage::kEndOfData, "250 ok")},
    });
}

TEST_F(Problems, ofRecipientsEndWhenTheServerTakesThem) {
    const auto refuse = [&](const char* address, const char* words) {
        return [=, this] {
            server_.answerRecipient(address, ScriptedReply::line(words));
            happen();
        };
    };
    const auto take = [&](const char* address) {
        return [=, this] { server_.answerRecipient(address, ScriptedReply::line("250 ok")); };
    };
    expectAllMended({
        {"recipient-delayed", refuse("desk@x", "451 4.7.1 Greylisted"), take("desk@x")},
        {"recipient-refused", refuse("ops@x", "550 no such user"), take("ops@x")},
    });
}

TEST_F(Problems, ofOneServerOfTwoAreFailuresAndNoMore) {
    ScriptedMailServer second(ScriptedMailServer::Family::kIPv6);
    const std::string port = std::to_string(second.port());
    expectMended({"servers-same",
                  [&] {
                      done({"callhome", "setup", "--smtp2", "1-127.0.0.1:" + port});
                  },
                  [&] {
                      done({"callhome", "setup", "--smtp2", "2-[::1]:" + port});
                  }});
    expectMended({"server-spare",
                  [&] {
                      server_.refuseConnections();
                      happen();
                  },
                  [&] { server_.acceptConnections(); }});
    EXPECT_EQ(second.mailsTaken().size(), 1u);
}

TEST_F(Problems, ofFilesAreMendedByMovingThem) {
    const std::string queue = root() + "/ostrel/conf/orv/callHome/queues/send/";
    const auto write = [&](const char* name) { std::ofstream(queue + name) << "<OrvCHMesg>\n<DupCnt>\n"; };
    expectAllMended({
        {"foreign-file", [&] { write("core"); }},
        {"entry-unrestored",
         [&] {
             write("m77");
             restart();
         }},
    });
    EXPECT_FALSE(std::filesystem::exists(queue + "m77"));
}

TEST_F(Problems, ofAMessageThatTheQueueRefusedIsMendedByMoreRoom) {
    expectMended({"messages-refused", [&] {
                      set("Global.Callhome.FileSystemSpaceAllowed=450");
                      awaitState("ok");
                      happen();
                  }});
}

TEST_F(Problems, ofADaemonThatIsStoppedAreMendedByTheSignalThatStatusNames) {
    daemon_->signal(SIGSTOP);

    const ProcessOutcome stopped = switchctl({"status", "--json", "--timeout", "2"});

    EXPECT_EQ(stopped.status, 3);
    EXPECT_THAT(stopped.output, HasSubstr("\"id\":\"daemon-stopped\",\"state\":\"down\""));
    mend();
}

TEST_F(Problems, ofADaemonThatDiedIsThatItDoesNotRun) {
    daemon_->signal(SIGKILL);
    EXPECT_EQ(daemon_->wait(), -SIGKILL);

    EXPECT_THAT(statusWith("\"id\":\"daemon-absent\",\"state\":\"down\""), HasSubstr(",\"state\":\"down\",\"parked\""));
    EXPECT_EQ(switchctl({"status"}).status, 1);

    daemon_ = startDaemon();
    awaitState("ok");
}

TEST_F(Problems, ofAReadThatNeverEndsNeedsARestart) {
    done({"fault", "add", "refuse", "--operation", "set", "--key", "Oper.Callhome.MarkerData"});
    done({"callhome", "profile-change"});

    EXPECT_THAT(statusWith("\"id\":\"configuration-stuck\",\"state\":\"blocked\""), HasSubstr("restart orvApp"));

    restart();
    awaitState("ok");
}

TEST_F(Problems, ofASwitchWithoutAddressAreMendedByGivingItOne) {
    done({"attr", "set", "Global.Network.Eth.0.NF-IPAddress="});
    restart();

    expectMended({"switch-address-missing", [&] { happen(); }});

    EXPECT_TRUE(server_.waitUntil([&] { return server_.mailsTaken().size() == 1; }));
}

TEST_F(Problems, areNoneAfterAMail) {
    happen();
    EXPECT_TRUE(server_.waitUntil([&] { return server_.mailsTaken().size() == 1; }));

    statusWith("\"parked\":1");

    const ProcessOutcome fine = switchctl({"status"});
    EXPECT_EQ(fine.status, 0);
    EXPECT_THAT(fine.output, StartsWith("CallHome can send.\ncomponents "));
    EXPECT_THAT(fine.output, HasSubstr("0 open, 1 mailed and kept to count repeats, "));
}

}  // namespace
