#include "testing/campaign/Campaign.h"

#include "testing/campaign/Shared.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

// A life that a sanitizer ends is told from one that ends by itself. Lives end like killed ones: nothing is freed.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "exitcode=99:detect_leaks=0:allocator_may_return_null=1";
}
extern "C" const char* __ubsan_default_options();
extern "C" const char* __ubsan_default_options() {
    return "exitcode=99";
}

namespace {

constexpr unsigned kWorkers = 2;
bool single = false;

struct Figures {
    std::atomic<std::size_t> next{0};
    std::atomic<unsigned> held{0};
    std::atomic<unsigned> notReached{0};
    std::atomic<unsigned> failed{0};
};

// In one call, so that the workers' lines stay whole.
void say(const std::string& text) {
    [[maybe_unused]] const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
}

CaseResult resultOf(const CampaignCase& each) {
    try {
        return each.run();
    } catch (const std::exception& exception) {
        return {Verdict::kFailed, std::string("the campaign itself: ") + exception.what()};
    }
}

void work(const std::vector<CampaignCase>& cases, Figures& figures) {
    for (std::size_t index = figures.next++; index < cases.size(); index = figures.next++) {
        const CaseResult result = resultOf(cases[index]);
        switch (result.verdict) {
            case Verdict::kHeld:
                ++figures.held;
                break;
            case Verdict::kNotReached:
                ++figures.notReached;
                break;
            case Verdict::kFailed:
                ++figures.failed;
                say("FAILED --case " + cases[index].name + ": " + result.text + "\n");
                break;
        }
    }
}

bool workInParallel(const std::vector<CampaignCase>& cases, Figures& figures) {
    std::fflush(nullptr);
    for (unsigned i = 0; i < kWorkers; ++i) {
        if (::fork() == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            work(cases, figures);
            ::_exit(0);
        }
    }
    bool good = true;
    for (unsigned i = 0; i < kWorkers; ++i) {
        int status = 0;
        good = ::wait(&status) > 0 && status == 0 && good;
    }
    return good;
}

int runAll(const std::string& name, const std::vector<CampaignCase>& cases);

int runSome(const std::string& name, std::vector<CampaignCase> cases, const std::string& beginning) {
    std::erase_if(cases, [&](const CampaignCase& each) { return !each.name.starts_with(beginning); });
    return runAll(name, cases);
}

int runOne(const std::vector<CampaignCase>& cases, const std::string& name) {
    for (const CampaignCase& each : cases) {
        if (each.name == name) {
            static constexpr const char* kVerdicts[] = {"held", "not reached", "FAILED"};
            const CaseResult result = resultOf(each);
            say(name + ": " + kVerdicts[static_cast<int>(result.verdict)] + "\n" + result.text + "\n");
            return result.verdict == Verdict::kFailed ? 1 : 0;
        }
    }
    say("no case " + name + "\n");
    return 2;
}

int listCases(const std::vector<CampaignCase>& cases) {
    for (const CampaignCase& each : cases) {
        say(each.name + "\n");
    }
    return 0;
}

int runAll(const std::string& name, const std::vector<CampaignCase>& cases) {
    const auto start = std::chrono::steady_clock::now();
    const Shared<Figures> figures;
    const bool good = workInParallel(cases, *figures);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    const unsigned ran = figures->held + figures->notReached + figures->failed;
    say(name + ": " + std::to_string(ran) + " cases, " + std::to_string(figures->held) + " held, " +
        std::to_string(figures->notReached) + " not reached, " + std::to_string(figures->failed) + " failed, " +
        std::to_string(seconds.count()) + " s\n");
    const bool complete = good && ran == cases.size() && !cases.empty();
    if (!complete) {
        say(name + ": not all of " + std::to_string(cases.size()) + " cases were run\n");
    }
    return complete && figures->failed == 0 && figures->held >= figures->notReached ? 0 : 1;
}

}  // namespace

bool lookingClosely() {
    return single;
}

bool longCampaign() {
    const char* const wanted = std::getenv("ORV_CAMPAIGN");
    return wanted != nullptr && std::strcmp(wanted, "long") == 0;
}

int runCampaign(const std::string& name, int argc, char** argv,
                const std::function<std::vector<CampaignCase>()>& makeCases) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        return listCases(makeCases());
    }
    if (argc == 3 && std::strcmp(argv[1], "--case") == 0) {
        const std::string wanted = argv[2];
        single = !wanted.ends_with("/");
        if (!single) {
            return runSome(name, makeCases(), wanted);
        }
        ::setenv("ORV_CAMPAIGN", "long", 1);  // the sample's cases are among all of them
        return runOne(makeCases(), wanted);
    }
    if (argc != 1) {
        say("usage: " + name + " [--list | --case NAME]\n");
        return 2;
    }
    return runAll(name, makeCases());
}
