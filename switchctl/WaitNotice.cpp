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
        const Guarding_Lock guard(lock_);
        done_ = true;
    }
    ended_.notify_one();
    thread_.join();
}

void WaitNotice::wait() {
    constexpr std::string_view TEXT = "switchctl: waiting for an answer\n";
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    const Guarding_Lock guard(lock_);
    while (!done_ && ended_.wait_until(lock_, until) == std::cv_status::no_timeout) {
    }
    if (!done_) {
        // In one piece, also when the command writes at this moment.
        static_cast<void>(!write(STDERR_FILENO, TEXT.data(), TEXT.size()));
    }
}
