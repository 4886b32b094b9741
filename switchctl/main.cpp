// switchctl, the operator's command line.
#include "platform/transport/dbus/DbusTransport.h"
#include "switchctl/Switchctl.h"
#include "switchctl/WaitNotice.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    std::unique_ptr<DbusTransport> transport;
    const auto connect = [&transport](std::chrono::milliseconds patience) -> Transport* {
        DbusTransport::Options options;
        options.patience = patience;
        transport = std::make_unique<DbusTransport>(options);
        return transport->join() < 0 ? nullptr : transport.get();
    };
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const WaitNotice notice(arguments);
    return runSwitchctl(arguments, connect, std::cout, std::cerr);
}
