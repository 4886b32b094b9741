#include "switchd/SwitchdFiles.h"

#include "Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>

namespace {

// As on a switch, "show support callhome" leaves its report in a file, and what it prints is only to be seen.
constexpr std::string_view CLISH = R"SCRIPT(#!/bin/sh
# The switch's command line, as far as CallHome needs it. Edit it to try out other reports.
root=${0%/ostrel/bin/clish}
output=$root/tmp/smlCapture.txt

case $* in
    "-cshow support callhome" | "-c show support callhome") ;;
    *)
        echo "clish: unknown command: $*" >&2
        exit 1
        ;;
esac

section() { printf '\n===== %s =====\n' "$1"; }

report() {
    printf 'Support report for CallHome, %s\n' "$(date '+%a %b %d %H:%M:%S %Z %Y')"
    section 'show version'
    printf 'Firmware 3.2.1\nCentral processor: %s\nUptime: ' "$(uname -m)"
    cut -d. -f1 /proc/uptime | sed 's/$/ seconds/'
    section 'show fan and power supply'
    printf 'Fan %d    Good    %d rpm\n' 1 5040 2 5010 3 5070
    printf 'Power supply %d    Good\n' 1 2
    section 'show interface brief'
    port=0
    while [ $port -lt 24 ]; do
        printf 'Port %2d  Online   8G   E_Port  frames in %9d  out %9d  errors 0\n' \
            $port $((port * 7919 + 104729)) $((port * 6151 + 94321))
        port=$((port + 1))
    done
    section 'show nameserver'
    port=0
    while [ $port -lt 24 ]; do
        printf '0x0110%02x  N  10:00:02:00:00:01:00:%02x  FCP initiator\n' $port $port
        port=$((port + 1))
    done
    section 'memory and file systems'
    cat /proc/meminfo
    df -k "$root/"
}

report > "$output.new" && mv "$output.new" "$output" && cat "$output"
)SCRIPT";

constexpr std::string_view LOGFILE =
    "Sat Jan  6 04:12:31 2024  Info      0001.0001  The switch has been started\n"
    "Sat Jan  6 04:12:40 2024  Info      0002.0010  Port 0 is online at 8 Gbit/s\n"
    "Sat Jan  6 04:12:40 2024  Info      0002.0010  Port 1 is online at 8 Gbit/s\n"
    "Sun Jan  7 17:30:02 2024  Warn      0002.0021  Port 1: 12 invalid transmission words in 60 seconds\n"
    "Sun Jan  7 17:31:02 2024  Info      0002.0022  Port 1: errors are below the threshold again\n";
constexpr std::string_view LOGFILE_1 =
    "Fri Jan  5 23:59:01 2024  Info      0001.0007  Configuration saved by admin\n"
    "Sat Jan  6 04:11:58 2024  Warn      0001.0003  The switch is restarting at the operator's request\n";
constexpr std::string_view MESSAGES =
    "Jan  6 04:12:19 switch syslogd: restart\n"
    "Jan  6 04:12:22 switch kernel: eth0: link is up, 1000 Mbit/s, full duplex\n"
    "Jan  6 04:12:29 switch switchd: services are open\n"
    "Jan  6 04:15:00 switch crond[212]: USER root pid 230 cmd logrotate\n";

struct SwitchFile {
    const char* path;
    std::string_view content;
    mode_t mode;
};

constexpr SwitchFile SWITCH_FILES[] = {
    {"/ostrel/bin/clish", CLISH, 0755},
    {"/ostrel/conf/logfile", LOGFILE, 0644},
    {"/ostrel/conf/logfile.1", LOGFILE_1, 0644},
    {"/ostrel/conf/messages", MESSAGES, 0644},
};

// 0, or -1 with errno set; one that cannot be completed is removed.
int writeFile(const std::string& path, const SwitchFile& file) {
    Descriptor opened(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, file.mode));
    if (!opened) {
        return errno == EEXIST ? 0 : -1;
    }
    const ssize_t written = write(opened.get(), file.content.data(), file.content.size());
    const int error = written < 0 ? errno : ENOSPC;
    opened.reset();
    if (written == static_cast<ssize_t>(file.content.size())) {
        return 0;
    }
    unlink(path.c_str());
    errno = error;
    return -1;
}

}  // namespace

int installSwitchFiles(const std::string& root, std::string& reason) {
    for (const SwitchFile& file : SWITCH_FILES) {
        const std::string path = root + file.path;
        std::error_code error;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
        if (error || writeFile(path, file) < 0) {
            reason = "cannot create " + path + ": " + (error ? error.message() : std::strerror(errno));
            return -1;
        }
    }
    return 0;
}
