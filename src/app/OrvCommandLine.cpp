#include "app/OrvCommandLine.h"

#include "host_help.h"
#include "orv_build_choices.h"
#include "orv_version.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr int kDone = 0;
constexpr int kNotWritten = 1;
constexpr int kWrongUsage = 2;

constexpr char kVersion[] = "orvApp " ORV_VERSION "\n";
constexpr char kHelp[] =
    "Usage: orvApp\n"
    "The CallHome daemon of the switch. Its settings are attributes of the switch; see switchctl.\n"
    "\n"
    "  --help         this text\n"
    "  --version      which version this is\n"
    "\n" HSB_ENVIRONMENT_HELP
    "  HSB_TIME_SCALE how many times as fast timers and delays run (default: 1)\n"
    "  ORV_SMTP_DIALOGUE how mail servers are spoken to: required or conforming (default: " ORV_SMTP_DIALOGUE_DEFAULT
    ")\n"
    "\n"
    "Ends with status 0 on SIGTERM and SIGINT.\n";

int print(const char* text) {
    if (std::fputs(text, stdout) < 0 || std::fflush(stdout) != 0) {
        std::fputs("orvApp: stdout cannot be written\n", stderr);
        return kNotWritten;
    }
    return kDone;
}

}  // namespace

std::optional<int> orvAnswerCommandLine(int argc, const char* const* argv) {
    if (argc <= 1) {
        return std::nullopt;
    }
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        return print(kVersion);
    }
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        return print(kHelp);
    }
    std::fputs("orvApp: it takes no arguments but --version or --help\n", stderr);
    return kWrongUsage;
}
