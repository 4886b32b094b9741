#include "switchctl/metrics/Metrics.h"

#include "switchctl/metrics/OpenMetrics.h"

#include <gmock/gmock.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t SECOND = 1000000;

const char* const FAMILY = "[a-z_]+";

// What the format demands of a text, line by line; "" when all of it holds.
std::string violationIn(const std::string& text) {
    const std::regex type(std::string("# TYPE (") + FAMILY + ") (gauge|counter)");
    const std::regex unit(std::string("# UNIT (") + FAMILY + ") ([a-z]+)");
    const std::regex help(std::string("# HELP (") + FAMILY + ") [^\\n]+");
    const std::regex sample(R"(([a-z_]+)(\{[a-z_]+="([^"\\\n]|\\[n"\\])*"(,[a-z_]+="([^"\\\n]|\\[n"\\])*")*\})? )"
                            R"((-?[0-9.]+(e[+-]?[0-9]+)?))");
    std::set<std::string> families;
    std::set<std::string> series;
    std::string family;
    std::string kind;
    bool ended = false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        if (ended) {
            return "something behind the end: " + line;
        }
        if (line == "# EOF") {
            ended = true;
        } else if (std::regex_match(line, match, type)) {
            family = match[1];
            kind = match[2];
            if (!families.insert(family).second) {
                return "twice: " + family;
            }
        } else if (std::regex_match(line, match, unit)) {
            if (match[1] != family || !family.ends_with("_" + match[2].str())) {
                return "a unit that is no end of its name: " + line;
            }
        } else if (std::regex_match(line, match, help)) {
            if (match[1] != family) {
                return "help of another: " + line;
            }
        } else if (std::regex_match(line, match, sample)) {
            if (match[1] != family + (kind == "counter" ? "_total" : "")) {
                return "a sample of no family: " + line;
            }
            if (!series.insert(match[1].str() + match[2].str()).second) {
                return "a sample twice: " + line;
            }
        } else {
            return "no line of the format: " + line;
        }
    }
    return !ended || !text.ends_with("# EOF\n") ? "no end" : "";
}

MetricFacts busyDay() {
    MetricFacts facts;
    facts.now = 1800000000 * SECOND;
    facts.registered = facts.started = true;
    facts.failures = {{"Connect Error", 3}, {"a \"stage\"\n\\ of \xFF nobody", 1}};
    facts.probe = {{1799999000 * SECOND, {{DaemonWords::MAILED, "7"}, {DaemonWords::DELETED_FOR_TIME, "2"}}}};
    facts.log.retry = LogDigest::Retry{"192.0.2.1:25", facts.now, facts.now + 300 * SECOND};
    facts.log.lastFailure = LogDigest::Failure{0, "", false};
    facts.flashFree = 123456789;
    facts.bytesWritten = 4096;
    QueueEntry entry;
    entry.queue = QueueFiles::SEND;
    entry.bytes = 660;
    entry.written = facts.now - 90 * SECOND;
    facts.queue.entries.push_back(std::move(entry));
    return facts;
}

TEST(Metrics, areOfTheFormatToTheLetter) {
    EXPECT_EQ(violationIn(metricsText(busyDay())), "");
    EXPECT_EQ(violationIn(metricsText({})), "");
}

// What the test above can see.
TEST(Metrics, areHeldToTheFormatByATestThatSeesMistakes) {
    const std::string good = "# TYPE x gauge\n# HELP x y\nx 1\n";
    EXPECT_EQ(violationIn(good + "# EOF\n"), "");
    for (const std::string& bad :
         {good, good + "# EOF\nx 2\n", good + good + "# EOF\n", good + "x 2\n# EOF\n", good + "y 2\n# EOF\n",
          good + "x{a=\"\n\"} 2\n# EOF\n", good + "# EOF", std::string("# TYPE x counter\n# HELP x y\nx 1\n# EOF\n"),
          std::string("# TYPE x gauge\n# UNIT x seconds\n# HELP x y\nx 1\n# EOF\n"), good + "x nan\n# EOF\n",
          good + "\n# EOF\n"}) {
        EXPECT_NE(violationIn(bad), "") << bad;
    }
}

TEST(Metrics, tellWhatIsKnown) {
    const std::string text = metricsText(busyDay());

    EXPECT_THAT(text, HasSubstr("\norvapp_up 1\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_messages_mailed_total 7\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_messages_discarded_total{reason=\"age\"} 2\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_queue_messages{queue=\"send\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_queue_bytes 660\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_queue_oldest_age_seconds 90\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_send_failures_total{stage=\"Connect Error\"} 3\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_send_failing 1\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_retry_wait_seconds 300\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_flash_free_bytes 123456789\n"));
    EXPECT_THAT(text, HasSubstr("\norvapp_written_bytes_total 4096\n"));
}

TEST(Metrics, leaveOutWhatIsNotKnown) {
    const std::string text = metricsText({});

    EXPECT_THAT(text, HasSubstr("\norvapp_up 0\n"));
    for (const char* name : {"orvapp_messages_mailed", "orvapp_last_success_time_seconds", "orvapp_written_bytes",
                             "orvapp_flash_free_bytes", "orvapp_last_capture_time_seconds"}) {
        EXPECT_THAT(text, Not(HasSubstr(name)));
    }
}

TEST(OpenMetrics, escapesTextsFromOutside) {
    const std::string text = OpenMetrics()
                                 .family("x", OpenMetrics::Type::GAUGE, "y")
                                 .sample(1, {{"a", "\"\n\\\xC3\xBC\xFF\xE0\x80"}})
                                 .text();

    EXPECT_THAT(text, HasSubstr("x{a=\"\\\"\\n\\\\\xC3\xBC\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"} 1\n"));
}

}  // namespace
