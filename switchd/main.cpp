// switchd, the switch around the daemon.
#include "orv_version.h"
#include "platform/transport/dbus/DbusTransport.h"
#include "switchd/Switchd.h"
#include "switchd/SwitchdOptions.h"

#include <cstdio>
#include <exception>

namespace {

int serve(const SwitchdOptions& options) {
    DbusTransport::Options transportOptions;
    transportOptions.role = DbusTransport::Role::SERVICES;
    DbusTransport transport(transportOptions);
    return Switchd(options.state, transport).run();
}

int print(const char* text) {
    const bool written = std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0;
    if (!written) {
        std::fputs("switchd: stdout cannot be written\n", stderr);
    }
    return written ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    SwitchdOptions options;
    std::string problem;
    if (SwitchdOptions::parse({argv + 1, argv + argc}, options, problem) < 0) {
        std::fprintf(stderr, "switchd: %s\n%s", problem.c_str(), SwitchdOptions::HELP);
        return 2;
    }
    if (options.help || options.version) {
        return print(options.help ? SwitchdOptions::HELP : "switchd " ORV_VERSION "\n");
    }
    try {
        return serve(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "switchd: %s\n", error.what());
        return 1;
    }
}
