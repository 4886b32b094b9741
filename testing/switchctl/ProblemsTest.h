// Vocabulary of the tests of what status names on a real switch: faults are seeded, and its remedies, typed one after
// the other, end them.
#pragma once

#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

struct MendedFault {
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
        EXPECT_THAT(json, testing::HasSubstr(text));
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
        EXPECT_THAT(json, testing::HasSubstr("\"state\":\"ok\""));
    }
    void expectMended(const MendedFault& fault) {
        SCOPED_TRACE(fault.id);
        fault.seed();

        const std::string json = statusWith("\"id\":\"" + std::string(fault.id) + "\"");

        const bool blocked = json.find("\"state\":\"blocked\"") != std::string::npos;
        EXPECT_THAT(json, testing::StartsWith(blocked ? "{\"canSend\":false," : "{\"canSend\":true,"));
        EXPECT_EQ(switchctl({"status"}).status, 1);
        if (fault.cure) {
            fault.cure();
        }
        mend();
    }
    void expectAllMended(const std::vector<MendedFault>& faults) {
        for (const MendedFault& fault : faults) {
            expectMended(fault);
        }
    }

    ScriptedMailServer server_;
    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
    int events_ = 0;
};
