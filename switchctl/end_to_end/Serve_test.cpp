// The page of a whole switch: what a browser gets, and what that costs the daemon.
#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <httplib.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Serve : public SwitchProcesses {
protected:
    void SetUp() override {
        switchd_ = startSwitchd();
        daemon_ = startDaemon();
        done({"callhome", "setup", "--enable", "--from", "a@x", "--smtp",
              "1-127.0.0.1:" + std::to_string(server_.port())});
        done({"profile", "add", "Ops", "--level", "Info", "--format", "Tsc1", "--email", "ops@x"});
        await([this] { return switchctl({"status"}).status == 0; });
        serve_ = start(Program::SWITCHCTL, {"serve", "--listen", "127.0.0.1:0", "--allow-changes"});
        const std::string line = serve_->readLine();
        const std::string begin = "CallHome's page is at http://127.0.0.1:";
        ASSERT_THAT(line, StartsWith(begin));
        port_ = std::stoi(line.substr(begin.size()));
        token_ = line.substr(line.find('#') + 1, 32);
    }
    static void await(const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        }
    }
    std::string get(const char* path) const {
        httplib::Client client("127.0.0.1", port_);
        client.set_read_timeout(20);
        const auto answer = client.Get(path);
        return answer ? answer->body : "";
    }
    std::string post(const char* path, const std::string& body = "") const {
        httplib::Client client("127.0.0.1", port_);
        client.set_read_timeout(40);
        const auto answer = client.Post(path, {{"X-CallHome", "page"}, {"X-CallHome-Token", token_}}, body,
                                        "application/x-www-form-urlencoded");
        return answer ? answer->body : "";
    }
    off_t traceSize() const {
        struct stat status {};
        return stat((root() + "/tmp/orv.out.Main").c_str(), &status) == 0 ? status.st_size : -1;
    }

    ScriptedMailServer server_;
    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
    std::unique_ptr<Child> serve_;
    int port_ = 0;
    std::string token_;
};

TEST_F(Serve, showsAWorkingSwitchAndSendsATest) {
    EXPECT_THAT(get("/"), StartsWith("<!doctype html>"));
    EXPECT_EQ(get("/healthz"), "can send\n");
    EXPECT_THAT(get("/api/profiles"), HasSubstr("\"name\":\"Ops\""));
    EXPECT_THAT(get("/metrics"), testing::EndsWith("# EOF\n"));

    EXPECT_THAT(post("/api/test", "profile=Ops"), HasSubstr("\"address\":\"ops@x\",\"state\":\"taken\""));
    EXPECT_EQ(server_.mailsTaken().size(), 1u);
    await([this] { return get("/api/day").find("\"received\":1,\"mailed\":1,") != std::string::npos; });
    EXPECT_THAT(post("/api/preview", "type=0&text=a%20fan"), HasSubstr("Text:           a fan\\r\\n"));
    EXPECT_THAT(post("/api/captures", "profile=Ops"), HasSubstr("the profile Ops has no capture"));
    EXPECT_EQ(server_.mailsTaken().size(), 1u);

    serve_->signal(SIGTERM);
    EXPECT_EQ(serve_->wait(), 0);
}

TEST_F(Serve, showsWhatWaitsAndWhyAndTriesItNow) {
    server_.refuseConnections();
    done({"event", "log", "--type", "0", "--number", "0x00010002", "<script>alert(1)</script>"});

    await([this] { return get("/healthz") == "cannot send\n"; });
    EXPECT_THAT(get("/api/status"), HasSubstr("cannot be reached: Connection refused"));
    EXPECT_THAT(get("/api/queue"), HasSubstr("\"text\":\"<script>alert(1)</script>\""));
    EXPECT_THAT(get("/api/log"), HasSubstr("\"text\":\"Critical protocol failure with SMTP server\""));
    EXPECT_THAT(post("/api/try"), HasSubstr("\"tried\":true"));
    await([this] { return get("/api/day").find("\"failed\":0,\"received\":1") == std::string::npos; });
}

TEST_F(Serve, leavesTheDaemonsTraceAlone) {
    get("/api/status");
    await([this] { return get("/api/status").find("\"asked\":{") != std::string::npos; });
    const off_t before = traceSize();
    ASSERT_GT(before, 0);

    for (int i = 0; i < 20; ++i) {
        for (const char* path : {"/api/status", "/api/queue", "/api/log", "/api/profiles", "/api/day", "/healthz"}) {
            get(path);
        }
    }
    EXPECT_EQ(traceSize(), before);
}

TEST_F(Serve, goesOnWhenTheDaemonAndTheSwitchDie) {
    EXPECT_EQ(get("/healthz"), "can send\n");
    daemon_.reset();
    await([this] { return get("/healthz") == "cannot send\n"; });
    EXPECT_THAT(get("/api/status"), HasSubstr("\"state\":\"down\""));

    switchd_.reset();
    await([this] { return get("/healthz") == "not known\n"; });
    EXPECT_THAT(get("/api/status"), HasSubstr("\"error\":\"no answer\""));

    switchd_ = startSwitchd();
    daemon_ = startDaemon();
    await([this] { return get("/healthz") == "can send\n"; });
}

}  // namespace
