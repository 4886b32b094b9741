// Test support: queue files as the daemon writes them, on the flash of a switch in the test's own program.
#pragma once

#include "testing/LoopbackSwitch.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

class QueueFlash {
public:
    explicit QueueFlash(LoopbackSwitch& switchAround) : switch_(switchAround) {}

    static std::string path(const std::string& queue, const std::string& name) {
        return "/ostrel/conf/orv/callHome/queues/" + queue + "/" + name;
    }
    // An event with one envelope, of the profile Ops.
    static std::string event(const std::vector<std::string>& recipients = {"a@b", "c@d"}, int repeats = 0,
                             const std::string& text = "Port 5 went down") {
        return begin("0123.4567", text, repeats) +
               "<Level>\nCritical\n</->\n<Blade>\nBlade: 1\n</->\n<Port>\n5\n</->\n" + end(recipients);
    }
    static std::string capture(const std::string& attachment) {
        return begin("8B00.FFFF", "CronCapture", 0) +
               "<CronSeq>\n17\n</->\n<CronDay>\nMon\n</->\n<CronTime>\n02:30\n</->\n<CronInterval>\n1\n</->\n"
               "<CronShell>\n/bin/sh\n</->\n<CronCommand>\nshow\n</->\n<CronAttchList>\n" +
               attachment + "\n</CronAttchList>\n" + end({"a@b"});
    }
    // The queue's own block behind a message.
    static std::string state(int pending = 0, int mark = 0) {
        return "<OrvCHMesgQ>\nduplicatesPending = " + std::to_string(pending) +
               "\npersist = false\npersistRepostPeriod = 86400\nmarkedForDeletion = " + std::to_string(mark) +
               "\nexpire = -1\n</OrvCHMesgQ>\n";
    }
    void put(const std::string& queue, std::uint32_t number, const std::string& bytes) {
        switch_.root().write(path(queue, "m" + std::to_string(number)), bytes);
    }
    void order(const std::string& queue, const std::vector<std::uint32_t>& numbers, std::size_t tests = 0) {
        std::vector<std::uint32_t> words = {static_cast<std::uint32_t>(numbers.size())};
        words.insert(words.end(), numbers.begin(), numbers.end());
        words.insert(words.end(), tests, 0);
        std::string bytes;
        for (const std::uint32_t word : words) {
            char four[sizeof word];
            std::memcpy(four, &word, sizeof word);
            bytes.append(four, sizeof four);
        }
        switch_.root().write(path(queue, "order"), bytes);
    }

private:
    static std::string begin(const std::string& id, const std::string& text, int repeats) {
        return "<OrvCHMesg>\n<DupCnt>\n" + std::to_string(repeats) +
               "\n</->\n<DupTime>\n\n</->\n<Time>\nTue Nov 14 22:03:20 UTC 2023\n</->\n<ID>\n" + id +
               "\n</->\n<Text>\n" + text + "\n</->\n";
    }
    static std::string end(const std::vector<std::string>& recipients) {
        std::string text =
            "<EnvelopeList>\n<OrvCHEnvelope>\n<MaxSize>\n100000\n</->\n<Type>\nTsc1\n</->\n<Profile>\nOps\n</->\n"
            "<Subj>\nSwitch\n</->\n<RcptList>\n";
        for (const std::string& recipient : recipients) {
            text += recipient + "\n";
        }
        return text + "</RcptList>\n</OrvCHEnvelope>\n</EnvelopeList>\n</OrvCHMesg>\n";
    }

    LoopbackSwitch& switch_;
};
