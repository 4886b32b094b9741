// A judge, the facts of a sound moment, and what it is told.
#pragma once

#include "box/BoxDirectory.h"
#include "box/search/Judge.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace box {

// A history in which nothing is wrong, until a test makes something so.
class JudgeTest : public testing::Test {
protected:
    JudgeTest() {
        facts_.now = 100 * kSecond;
        facts_.openDialogues = 1;
        facts_.root = directory_.path();
        std::filesystem::create_directories(send_);
        trace("peekOpen", "entry (0) opened in the send queue");
    }

    void mail(unsigned event) {
        judge_.mailTaken(facts_, {"switch@example.com", {Judge::kOperator}, "event number " + std::to_string(event)});
    }
    void log(int level, std::uint32_t number, const std::string& text) {
        LogEntry entry;
        entry.level = level;
        entry.number = number;
        entry.flags = kOrvOwnEntryFlags;
        entry.component = "OrvApp";
        entry.text = text;
        judge_.logged(facts_, entry);
    }
    void order(const std::vector<std::uint32_t>& words) {
        std::ofstream file(send_ + "/order", std::ios::binary);
        for (const std::uint32_t word : words) {
            file.write(reinterpret_cast<const char*>(&word), sizeof word);
        }
    }
    void trace(const std::string& method, const std::string& text) {
        const std::uint64_t second = 22 * 3600 + 13 * 60 + 20 + facts_.now / kSecond;  // of the day
        char time[32];
        std::snprintf(time, sizeof time, "%02u:%02u:%02u.000", static_cast<unsigned>(second / 3600 % 24),
                      static_cast<unsigned>(second / 60 % 60), static_cast<unsigned>(second % 60));
        judge_.written(facts_,
                       "11/14/2023 UTC " + std::string(time) + "  1001 OrvCHMesgQ " + method + ": " + text + "\n");
    }
    // The rule that was broken.
    std::string broken() const {
        const std::string& problem = judge_.problem();
        const std::size_t begin = problem.find(": ");
        return begin == std::string::npos ? "" : problem.substr(begin + 2, problem.find(": ", begin + 2) - begin - 2);
    }

    const BoxDirectory directory_{""};
    const std::string send_ = directory_.path() + "/ostrel/conf/orv/callHome/queues/send";
    Facts facts_;
    Judge judge_;
};

}  // namespace box
