#include "switchctl/serve/PageServer.h"

#include "Descriptor.h"
#include "switchctl/serve/BoundedServer.h"
#include "switchctl/text/Errors.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* TOKEN = "00112233445566778899aabbccddeeff";
const httplib::Headers OWN = {{"X-CallHome", "page"}};
const httplib::Headers OWN_WITH_TOKEN = {{"X-CallHome", "page"}, {"X-CallHome-Token", TOKEN}};

std::vector<Desk::Sheet> sheets() {
    const std::chrono::hours long_(1);
    const std::chrono::milliseconds short_(0);
    return {{"status", {"passive"}, short_}, {"asked", {"asked"}, long_},     {"queue", {"queue"}, long_},
            {"log", {"log"}, long_},         {"metrics", {"metrics"}, long_}, {"profiles", {"profiles"}, long_},
            {"day", {"day"}, long_}};
}

class PageServerTest : public testing::Test {
protected:
    explicit PageServerTest(const char* token = TOKEN)
        : server_(desk_, PageAddress{"127.0.0.1", 0}, token),
          address_(server_.bind()),
          work_([this] { desk_.run(); }),
          pages_([this] { server_.run(); }) {}
    ~PageServerTest() override {
        desk_.stop();
        server_.stop();
        work_.join();
        pages_.join();
    }

    Desk::Result line(const Desk::Words& words) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(words);
        if (words.front() == "passive") {
            return {passiveStatus_, passive_};
        }
        return {0, "{\"line\":\"" + words.back() + "\"}\n"};
    }
    std::vector<Desk::Words> lines() {
        const std::lock_guard lock(mutex_);
        return lines_;
    }
    void switchSays(int status, const std::string& text) {
        const std::lock_guard lock(mutex_);
        passiveStatus_ = status;
        passive_ = text;
    }
    httplib::Client client() const {
        httplib::Client client(address_.host, address_.port);
        client.set_read_timeout(30);
        return client;
    }
    httplib::Result get(const char* path, const httplib::Headers& headers = {}) const {
        return client().Get(path, headers);
    }
    httplib::Result post(const char* path, const httplib::Headers& headers, const std::string& body = "") const {
        return client().Post(path, headers, body, "application/x-www-form-urlencoded");
    }

    Descriptor stranger() const {
        Descriptor made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(address_.port);
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(made.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to), 0);
        return made;
    }
    // Whoever is let go does not hear it.
    static void say(const Descriptor& to, const std::string& words) {
        static_cast<void>(send(to.get(), words.data(), words.size(), MSG_NOSIGNAL));
    }

    std::mutex mutex_;
    std::vector<Desk::Words> lines_;
    int passiveStatus_ = 0;
    std::string passive_ = "{\"canSend\":true}\n";
    Desk desk_{[this](const Desk::Words& words) { return line(words); }, sheets()};
    PageServer server_;
    PageAddress address_;
    std::thread work_;
    std::thread pages_;
};

class ShowingOnly : public PageServerTest {
protected:
    ShowingOnly() : PageServerTest("") {}
};

TEST_F(PageServerTest, servesThePageWithNothingFromElsewhere) {
    for (const char* path : {"/", "/page.js", "/page.css", "/icon.svg"}) {
        const auto answer = get(path);
        ASSERT_TRUE(answer) << path;
        EXPECT_EQ(answer->status, 200) << path;
        EXPECT_THAT(answer->get_header_value("Content-Security-Policy"), StartsWith("default-src 'none'; ")) << path;
        EXPECT_EQ(answer->get_header_value("X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(answer->get_header_value("Cache-Control"), "no-store");
        EXPECT_THAT(answer->body, Not(HasSubstr("innerHTML"))) << path;
    }
    EXPECT_EQ(get("/nonsense")->status, 404);
    EXPECT_EQ(get("/../etc/passwd")->status, 404);
}

TEST_F(PageServerTest, servesSheetsAsTheCommandsPrintThem) {
    EXPECT_EQ(get("/api/queue")->body, "{\"line\":\"queue\"}\n");
    EXPECT_EQ(get("/api/log")->body, "{\"line\":\"log\"}\n");
    EXPECT_EQ(get("/api/profiles")->body, "{\"line\":\"profiles\"}\n");
    EXPECT_EQ(get("/api/day")->body, "{\"line\":\"day\"}\n");
    EXPECT_THAT(get("/metrics")->get_header_value("Content-Type"),
                StartsWith("application/openmetrics-text; version=1"));
}

TEST_F(PageServerTest, asksTheDaemonOnceHoweverManyLook) {
    std::vector<std::future<int>> browsers;
    for (int i = 0; i < 20; ++i) {
        browsers.push_back(std::async(std::launch::async, [this] { return get("/api/status")->status; }));
    }
    for (auto& browser : browsers) {
        EXPECT_EQ(browser.get(), 200);
    }
    desk_.read("asked", std::chrono::seconds(20));
    const auto all = lines();
    EXPECT_EQ(std::ranges::count(all, Desk::Words{"asked"}), 1);
    EXPECT_THAT(get("/api/status")->body,
                testing::MatchesRegex("[{]\"status\":[{]\"canSend\":true},\"asked\":[{]\"line\":\"asked\"},"
                                      "\"askedSecondsAgo\":[0-9]+,\"changes\":true}\n"));
}

TEST_F(PageServerTest, tellsAMonitorWhetherMailsLeave) {
    EXPECT_EQ(get("/healthz")->status, 200);

    switchSays(1, "{\"canSend\":false}\n");
    EXPECT_EQ(get("/healthz")->status, 503);
    EXPECT_EQ(get("/healthz")->body, "cannot send\n");

    switchSays(3, "{\"error\":\"no answer\"}\n");
    EXPECT_EQ(get("/healthz")->body, "not known\n");
}

TEST_F(PageServerTest, answersToItsOwnNamesAlone) {
    const std::string port = std::to_string(address_.port);
    for (const std::string& host : {"127.0.0.1:" + port, "localhost:" + port, "LOCALHOST:" + port, "[::1]:" + port}) {
        EXPECT_EQ(get("/healthz", {{"Host", host}})->status, 200) << host;
    }
    for (const std::string& host :
         {std::string("evil.example"), "evil.example:" + port, std::string("127.0.0.1"), std::string("127.0.0.1:1")}) {
        EXPECT_EQ(get("/healthz", {{"Host", host}})->status, 421) << host;
    }
    EXPECT_THAT(lines(), Not(testing::Contains(Desk::Words{"asked"})));
}

TEST_F(PageServerTest, takesChangesWithTheTokenOfThisRunAlone) {
    EXPECT_EQ(post("/api/try", {})->status, 403);
    EXPECT_EQ(post("/api/try", OWN)->status, 403);
    const auto yesterday = post("/api/try", {{"X-CallHome", "page"}, {"X-CallHome-Token", "yesterday"}});
    EXPECT_EQ(yesterday->status, 403);
    EXPECT_THAT(yesterday->body, HasSubstr("open the address that switchctl serve printed"));
    EXPECT_EQ(get("/api/try")->status, 404);
    EXPECT_THAT(lines(), IsEmpty());

    EXPECT_EQ(post("/api/try", OWN_WITH_TOKEN)->body, "{\"line\":\"try\"}\n");
    EXPECT_THAT(lines(), ElementsAre(Desk::Words{"--json", "--timeout", "20", "queue", "try"}));
}

TEST_F(PageServerTest, takesNothingFromAPageOfAnotherOrigin) {
    for (const char* origin : {"http://evil.example", "https://127.0.0.1", "null"}) {
        httplib::Headers headers = OWN_WITH_TOKEN;
        headers.emplace("Origin", origin);
        EXPECT_EQ(post("/api/try", headers)->status, 403) << origin;
        EXPECT_EQ(post("/api/ask", headers)->status, 403) << origin;
    }
    EXPECT_THAT(lines(), IsEmpty());

    httplib::Headers headers = OWN_WITH_TOKEN;
    headers.emplace("Origin", "http://" + address_.text());
    EXPECT_EQ(post("/api/try", headers)->status, 200);
}

TEST_F(PageServerTest, testsTheProfileThatIsNamedWhateverItsName) {
    post("/api/test", OWN_WITH_TOKEN, "profile=--help%20me%26");

    EXPECT_THAT(lines(), ElementsAre(Desk::Words{"--json", "--timeout", "20", "callhome", "test", "--", "--help me&"}));
}

TEST_F(PageServerTest, looksAheadForThePageAloneAndOnceForAll) {
    EXPECT_EQ(post("/api/preview", {}, "type=0&text=x")->status, 403);
    EXPECT_EQ(post("/api/captures", {{"X-CallHome", "page"}, {"Origin", "http://evil.example"}}, "profile=x")->status,
              403);
    EXPECT_THAT(lines(), IsEmpty());

    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(post("/api/preview", OWN, "type=2&text=--a%20fan")->status, 200);
        EXPECT_EQ(post("/api/captures", OWN, "profile=-x")->status, 200);
    }
    EXPECT_THAT(lines(), ElementsAre(Desk::Words{"--json", "--timeout", "5", "preview", "event", "--type", "2",
                                                 "--number", "0x00010002", "--", "--a fan"},
                                     Desk::Words{"--json", "--timeout", "5", "preview", "capture", "--", "-x"}));
}

TEST_F(PageServerTest, asksTheDaemonAgainAtMostEveryTenSeconds) {
    EXPECT_EQ(post("/api/ask", OWN)->status, 200);
    EXPECT_EQ(post("/api/ask", OWN)->status, 200);

    const auto all = lines();
    EXPECT_EQ(std::ranges::count(all, Desk::Words{"asked"}), 1);
}

TEST_F(PageServerTest, refusesWhatIsTooLarge) {
    EXPECT_EQ(post("/api/test", OWN_WITH_TOKEN, "profile=" + std::string(1000000, 'x'))->status, 413);
    EXPECT_EQ(get(("/" + std::string(100000, 'x')).c_str())->status, 414);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(PageServerTest, servesOthersWhileManySendGarbageOrNothing) {
    std::vector<Descriptor> strangers;
    for (int i = 0; i < 200; ++i) {
        strangers.push_back(stranger());
        if (i % 2 == 0) {
            say(strangers.back(), std::string("\0\xFF GET / \r\n\r\n\r\n", 15));
        }
    }
    EXPECT_EQ(get("/healthz")->status, 200);
}

// Each byte comes in good time, the request never.
TEST_F(PageServerTest, servesOthersWhileManyTrickle) {
    std::vector<Descriptor> strangers;
    for (int i = 0; i < BoundedServer::WORKERS + 20; ++i) {
        strangers.push_back(stranger());
        say(strangers.back(), "GET / HTTP/1.1\r\nX: ");
    }
    std::atomic<bool> over = false;
    auto trickle = std::async(std::launch::async, [&] {
        while (!over) {
            for (const Descriptor& each : strangers) {
                say(each, "x");
            }
            std::this_thread::yield();
        }
    });

    for (int i = 0; i < 5; ++i) {
        const auto answer = get("/healthz");
        EXPECT_TRUE(answer && answer->status == 200);
    }
    over = true;
    trickle.get();
}

// Browsers connect in advance. Not for as long as one may be silent.
TEST_F(PageServerTest, stopsWhileSomebodyIsSilent) {
    const Descriptor silent = stranger();
    EXPECT_EQ(get("/healthz")->status, 200);
    const auto begin = std::chrono::steady_clock::now();

    server_.stop();
    pages_.join();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, BoundedServer::LONGEST_SILENCE - std::chrono::seconds(2));
    pages_ = std::thread([] {});
}

TEST_F(PageServerTest, endsARequestThatDoesNotEnd) {
    const Descriptor alone = stranger();
    say(alone, "GET / HTTP/1.1\r\n");
    const auto begin = std::chrono::steady_clock::now();

    std::string answer;
    char part[256];
    for (ssize_t got = 0; (got = recv(alone.get(), part, sizeof part, 0)) > 0;) {
        answer.append(part, static_cast<std::size_t>(got));
    }

    EXPECT_THAT(answer, Not(HasSubstr("200 OK")));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, BoundedServer::LONGEST - std::chrono::seconds(1));
}

TEST_F(PageServerTest, anAddressThatSomebodyElseHasIsRefused) {
    PageServer second(desk_, address_, "");

    EXPECT_THROW(second.bind(), Refused);
}

TEST_F(PageServerTest, stopsAlsoBeforeItHasBegun) {
    for (int i = 0; i < 50; ++i) {
        PageServer server(desk_, PageAddress{"127.0.0.1", 0}, "");
        server.bind();
        std::thread pages([&] { server.run(); });
        server.stop();
        pages.join();
    }
}

TEST_F(ShowingOnly, changesNothing) {
    EXPECT_EQ(post("/api/try", OWN_WITH_TOKEN)->status, 403);
    EXPECT_THAT(post("/api/test", OWN, "profile=x")->body, HasSubstr("switchctl serve --allow-changes"));
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(get("/api/status")->body, HasSubstr("\"changes\":false}"));
}

TEST(PageAddress, isOneOfThisMachine) {
    EXPECT_EQ(PageAddress::parse("8025").text(), "127.0.0.1:8025");
    EXPECT_EQ(PageAddress::parse("127.0.0.2:80").text(), "127.0.0.2:80");
    EXPECT_EQ(PageAddress::parse("[::1]:0").text(), "[::1]:0");
    EXPECT_EQ(PageAddress::parse("localhost:8025").text(), "localhost:8025");
    for (const char* text : {"0.0.0.0:8025", "192.0.2.1:80", "switch:80", "[::]:80", "", ":80", "127.0.0.1", "::1",
                             "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:x", "-1"}) {
        EXPECT_THROW(PageAddress::parse(text), UsageError) << text;
    }
}

TEST(PageToken, isAnotherOneEachTime) {
    const std::string token = PageServer::newToken();

    EXPECT_EQ(token.size(), 32u);
    EXPECT_NE(token, PageServer::newToken());
}

}  // namespace
