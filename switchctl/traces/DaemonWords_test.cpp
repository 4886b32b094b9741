#include "switchctl/traces/DaemonWords.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

namespace fs = std::filesystem;
using namespace DaemonWords;

namespace {

// The daemon's sources, texts of several lines in one piece.
const std::string& sources() {
    static const std::string all = [] {
        std::string text;
        for (const auto& file : fs::recursive_directory_iterator(DAEMON_SOURCES)) {
            const std::string name = file.path().filename();
            if ((name.ends_with(".cpp") && !name.ends_with("_test.cpp")) || name.ends_with(".h")) {
                std::ifstream stream(file.path());
                text.append(std::istreambuf_iterator<char>(stream), {});
            }
        }
        return std::regex_replace(text, std::regex("\"\\s*\n\\s*\""), "");
    }();
    return all;
}

// As it stands in a source.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        result += c == '\n' ? "\\n" : c == '"' ? "\\\"" : std::string(1, c);
    }
    return result;
}

// A key with its brackets as they stand, for a pattern.
std::string quoted(const char* key) {
    return std::regex_replace(std::string(key), std::regex("[()]"), "\\$&");
}

bool isInSources(const std::string& text) {
    return sources().find(text) != std::string::npos;
}

constexpr TraceWords RECORDS[] = {STARTED,         START_FAILED, LOOKUPS_UNSENT, READY_UNSENT,   CLOCK_STOPPED,
                                  THREAD_ENDS,     SENDER_ENDS,  HELLO,          SENT,           RECEIVED,
                                  PROBE_BEGINS,    PROBE_ENDS,   STATE,          QUEUE,          STATISTICS,
                                  THREAD_GIVES_UP, READ_BEGINS,  ADDRESS_TOLD,   MESSAGE_OPENED, CRITICAL_FAILURE,
                                  CAPTURE_BEGINS,  CAPTURE_DONE, CAPTURES,       MESSAGE_COMES,  QUEUE_ADDS,
                                  QUEUE_REMOVES,   MESSAGE_DONE, DIALOGUE,       QUEUE_SAVES,    QUEUE_DELETES,
                                  QUEUE_ORDERS,    QUEUE_CHORES, QUEUE_TAKES,    ENVELOPE};

TEST(DaemonWords, areThoseThatTheDaemonTraces) {
    for (const TraceWords& words : RECORDS) {
        // A record's text stands at the beginning of the format, or of a list of parts.
        const std::string text = '"' + escaped(words.text);
        EXPECT_TRUE(isInSources("(" + text) || isInSources(" " + text) || isInSources("{" + text)) << words.text;
    }
    EXPECT_TRUE(isInSources(std::string(FILE_ERROR.text) + "%s(%d)"));
    EXPECT_TRUE(isInSources(std::string("\\n") + std::string(FAREWELL) + "\""));
    EXPECT_TRUE(isInSources("entry (%u)" + std::string(COMPLETED)));
    EXPECT_TRUE(isInSources("\"" + escaped(PROFILE.text.substr(1))));
    for (const std::string_view words : {ENTRY_BEGINS, FILE_BEGINS}) {
        EXPECT_TRUE(isInSources('"' + std::string(words) + '%')) << words;
    }
    for (const std::string_view words : {REPEAT, std::string_view(TOO_LARGE), std::string_view(NO_ROOM)}) {
        EXPECT_TRUE(isInSources('"' + std::string(words))) << words;
    }
    for (const std::string_view row : {EARLY_ROW, WAITING_ROW}) {
        EXPECT_TRUE(std::regex_search(sources(), std::regex(escaped(row).replace(0, 2, "\\\\n") + " *%10u"))) << row;
    }
}

TEST(DaemonWords, tellOfMovesAsTheDaemonDoes) {
    EXPECT_TRUE(isInSources("\"entry (%u) %s the %s queue"));
    for (const std::string_view move : {ADDED, REMOVED}) {
        const std::string way(move.substr(1, move.find(" the ") - 1));
        EXPECT_TRUE(isInSources('"' + way + '"')) << way;
    }
    EXPECT_EQ(ADDED_TO_SEND, std::string(ADDED) + "send queue");
    EXPECT_EQ(REMOVED_FROM_SEND, std::string(REMOVED) + "send queue");
}

TEST(DaemonWords, areTracedByMethodsThatTheDaemonHas) {
    for (const TraceWords& words : RECORDS) {
        const std::string module(words.module);
        const std::string method(words.method);
        EXPECT_TRUE(isInSources("kTraceModule[] = \"" + module + "\"")) << module;
        // Of the class that the module is called after, or of a part of it.
        const std::string head = module == "main" ? " " + method + "\\(" : module + "\\w*::" + method + "\\(";
        EXPECT_TRUE(method.empty() || isInSources("\"" + method + "\"") ||
                    std::regex_search(sources(), std::regex(head)))
            << head;
    }
}

TEST(DaemonWords, haveTheKeysThatTheDaemonsProbeHas) {
    for (const char* key : {CONDITION,
                            CONFIG,
                            QUEUE_OPEN,
                            QUEUE_SETTINGS_READ,
                            DELETED_FOR_SPACE,
                            DELETED_FOR_FILE_LIMIT,
                            DELETED_FOR_TIME,
                            DELETED_FOR_CLEAR,
                            NOT_ADDED,
                            PARKED,
                            SENDER,
                            DIALOGUE_NAME,
                            FILES_ALLOWED,
                            SPACE_ALLOWED,
                            CAPTURES_RUNNING,
                            RECEIVED_ALL,
                            RECEIVED_TESTS,
                            RECEIVED_REPEATS,
                            RESTORED,
                            MAILED,
                            OPEN_NOW,
                            EARLY,
                            WAITING,
                            PERSISTENT,
                            THROTTLES,
                            THROTTLE_PERIOD,
                            SPACE_IN_USE,
                            PROFILE_NAME,
                            PROFILE_LEVEL,
                            PROCESSED,
                            CAPTURE_DAY,
                            CAPTURE_TIME,
                            CAPTURE_WEEKS,
                            CAPTURE_ENABLED,
                            CAPTURE_NEXT}) {
        EXPECT_TRUE(std::regex_search(sources(), std::regex("(\\\\n|\") *" + quoted(key) + " *= %"))) << key;
    }
    EXPECT_TRUE(isInSources(" " + std::string(RECIPIENT) + "%u] = %"));
}

}  // namespace
