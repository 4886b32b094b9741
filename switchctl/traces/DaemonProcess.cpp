#include "switchctl/traces/DaemonProcess.h"

#include "host_root.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

constexpr const char* NAME = "orvApp";

// "" where the system has no such file, or has it no more: a process may end while its files are read.
std::string contentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();  // unlike an iterator, throws nothing
    return content.str();
}

// A line of /proc/PID/stat: the name in brackets, and the fields behind it.
struct Stat {
    std::string name;
    std::vector<std::string> fields;

    static constexpr std::size_t STATE = 0;
    static constexpr std::size_t PARENT = 1;
    static constexpr std::size_t START = 19;

    static Stat of(const std::string& process) {
        const std::string line = contentOf("/proc/" + process + "/stat");
        const std::size_t begin = line.find('(');
        const std::size_t end = line.rfind(") ");
        if (begin == std::string::npos || end == std::string::npos || end < begin) {
            return {};
        }
        return {line.substr(begin + 1, end - begin - 1), Text::split(std::string_view(line).substr(end + 2), ' ')};
    }
    std::string field(std::size_t number) const { return number < fields.size() ? fields[number] : ""; }
};

std::optional<std::int64_t> startOf(const Stat& stat) {
    const std::string all = contentOf("/proc/stat");
    const std::size_t boot = all.find("\nbtime ");
    if (boot == std::string::npos) {
        return std::nullopt;
    }
    const auto bootTime = Text::number(Text::split(std::string_view(all).substr(boot + 7), '\n').front(), 0, INT64_MAX);
    const auto ticks = Text::number(stat.field(Stat::START), 0, INT64_MAX);
    const long perSecond = sysconf(_SC_CLK_TCK);
    if (!bootTime || !ticks || perSecond <= 0) {
        return std::nullopt;
    }
    return (*bootTime + *ticks / perSecond) * SECOND;
}

// Nothing where its environment cannot be read.
std::optional<std::string> rootOf(const std::string& process) {
    constexpr std::string_view VARIABLE = "HSB_ROOT=";
    const std::string environment = contentOf("/proc/" + process + "/environ");
    if (environment.empty()) {
        return std::nullopt;
    }
    for (const std::string& one : Text::split(environment, '\0')) {
        if (one.starts_with(VARIABLE)) {
            return one.substr(VARIABLE.size());
        }
    }
    return "";
}

void look(const std::string& number, long process, DaemonProcess& daemon) {
    const Stat stat = Stat::of(number);
    const long it = static_cast<long>(Text::number(number, 1, INT32_MAX).value_or(0));
    if (stat.field(Stat::PARENT) == std::to_string(process) && stat.name != NAME) {
        daemon.child = it;
    } else if (stat.name == NAME && it != process && stat.field(Stat::PARENT) != std::to_string(process) &&
               stat.field(Stat::STATE) != "Z" && rootOf(number) == host_root()) {
        daemon.other = it;
    }
}

}  // namespace

DaemonProcess DaemonProcess::find(long process) {
    DaemonProcess daemon;
    const bool there = process > 0 && (kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM);
    const Stat stat = there ? Stat::of(std::to_string(process)) : Stat();
    if (stat.name != NAME) {
        return daemon;
    }
    daemon.alive = true;
    daemon.stopped = stat.field(Stat::STATE) == "T";
    daemon.started = startOf(stat);
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name.find_first_not_of("0123456789") == std::string::npos) {
            look(name, process, daemon);
        }
    }
    return daemon;
}

bool DaemonProcess::connects(std::uint16_t port) {
    constexpr std::size_t REMOTE = 2;
    constexpr std::size_t STATE = 3;
    char ending[6];
    std::snprintf(ending, sizeof ending, ":%04X", port);
    for (const char* file : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        for (const std::string& line : Text::split(contentOf(file), '\n')) {
            const auto words = Text::split(Text::trim(line), ' ');
            if (words.size() > STATE && words[REMOTE].ends_with(ending) && words[STATE] == "02") {
                return true;
            }
        }
    }
    return false;
}
