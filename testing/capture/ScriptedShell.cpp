#include "testing/capture/ScriptedShell.h"

#include <atomic>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>

namespace {

std::atomic<ScriptedShell*> shell{nullptr};

constexpr std::string_view kCompress = "/bin/gzip -c ";

}  // namespace

ScriptedShell::ScriptedShell(std::string root) : root_(std::move(root)) {
    shell = this;
}

ScriptedShell::~ScriptedShell() {
    shell = nullptr;
}

int ScriptedShell::run(const char* command) {
    return shell.load()->perform(command);
}

void ScriptedShell::support(const std::string& output) {
    output_ = output;
    hasOutput_ = true;
}

void ScriptedShell::refuse(unsigned number, int error) {
    refused_ = number;
    error_ = error;
}

std::vector<std::string> ScriptedShell::commands() const {
    const std::lock_guard<std::mutex> guard(lock_);
    return commands_;
}

int ScriptedShell::perform(const std::string& command) {
    std::string shown = command;
    for (std::size_t at = 0; !root_.empty() && (at = shown.find(root_, at)) != std::string::npos;) {
        shown.erase(at, root_.size());
    }
    {
        const std::lock_guard<std::mutex> guard(lock_);
        commands_.push_back(shown);
    }
    if (before) {
        before(shown);
    }
    if (refused_ > 0 && --refused_ == 0) {
        errno = error_;
        return -1;
    }
    if (command.starts_with(kCompress)) {
        compress(command);
    } else if (hasOutput_) {
        std::ofstream(root_ + "/tmp/smlCapture.txt") << output_;
    }
    return 256;  // the command failed, which nobody looks at
}

// "Compressing" leaves the file as it is, between two marks.
void ScriptedShell::compress(const std::string& command) const {
    const std::size_t arrow = command.find(" > ");
    const std::string from = command.substr(kCompress.size(), arrow - kCompress.size());
    std::ifstream input(from);
    const std::string content{std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
    std::ofstream(command.substr(arrow + 3)) << "<" << content << ">";
}
