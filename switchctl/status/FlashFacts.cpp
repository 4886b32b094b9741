#include "switchctl/status/FlashFacts.h"

#include "host_root.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace {

constexpr const char* DIRECTORY = "/ostrel/conf/orv/callHome";
constexpr std::string_view SEND = "send";

std::optional<std::int64_t> timeOf(const std::string& file) {
    struct stat status {};
    if (lstat(file.c_str(), &status) < 0) {
        return std::nullopt;
    }
    return std::int64_t{status.st_mtime} * SECOND;
}

// "m" and a number.
bool isMessage(const std::string& name) {
    return name.starts_with('m') && Text::number(name.substr(1), 0, UINT32_MAX).has_value();
}

void lookInto(const std::string& queue, FlashFacts& facts) {
    const std::string directory = facts.directory + "/queues/" + queue;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (isMessage(name)) {
            const auto time = queue == SEND ? timeOf(entry->path()) : std::nullopt;
            facts.oldestWaiting = time ? std::min(facts.oldestWaiting.value_or(*time), *time) : facts.oldestWaiting;
        } else if (name != "order" && name != "order.new") {
            facts.foreign.push_back(entry->path());
        }
    }
}

}  // namespace

std::string FlashFacts::onHost(const std::string& path) {
    return host_root() + path;
}

std::optional<std::int64_t> FlashFacts::written(const std::string& path) {
    return timeOf(onHost(path));
}

FlashFacts FlashFacts::read() {
    FlashFacts facts;
    facts.directory = onHost(DIRECTORY);
    struct statvfs system {};
    if (statvfs(facts.directory.c_str(), &system) == 0) {
        facts.free = std::uint64_t{system.f_bavail} * system.f_frsize;
        facts.readOnly = (system.f_flag & ST_RDONLY) != 0;
    }
    for (const char* queue : {"send", "duplicate", "persist"}) {
        lookInto(queue, facts);
    }
    std::ranges::sort(facts.foreign);
    facts.supportCommand = access(onHost(SUPPORT_COMMAND).c_str(), X_OK) == 0;
    facts.compressor = access(COMPRESSOR, X_OK) == 0;
    return facts;
}
