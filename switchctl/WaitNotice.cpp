#include "switchctl/WaitNotice.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace {

// They show what comes as it comes.
bool isEndless(const std::vector<std::string>& arguments) {
    return std::ranges::any_of(
        arguments, [](const std::string& word) { return word == "--follow" || word == "watch" || word == "serve"; });
}

}  // namespace

WaitNotice::WaitNotice(const std::vector<std::string>& arguments) {
    const char* const quiet = std::getenv("SWITCHCTL_QUIET");
    if (isEndless(arguments) || (quiet != nullptr && *quiet != '\0')) {
        return;
    }
    try {
        thread_ = std::thread([this] { wait(); });
    } catch (const std::system_error&) {
        // The command is done all the same.
    }
}

WaitNotice::~WaitNotice() {
    if (!thread_.joinable()) {
        return;
    }
    {
        const std::lock_guard<std::mutex> guard(lock_);
        done_ = true;
    }
    ended_.notify_one();
    thread_.join();
}

void WaitNotice::wait() {
    constexpr std::string_view TEXT = "switchctl: waiting for an answer\n";
    std::unique_lock<std::mutex> guard(lock_);
    if (!ended_.wait_for(guard, std::chrono::seconds(1), [this] { return done_; })) {
        // In one piece, also when the command writes at this moment.
        static_cast<void>(!write(STDERR_FILENO, TEXT.data(), TEXT.size()));
    }
}
