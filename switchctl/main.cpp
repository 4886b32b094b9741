// switchctl, the operator's command line.
#include "platform/transport/dbus/DbusTransport.h"
#include "switchctl/Switchctl.h"

#include <iostream>
#include <memory>

int main(int argc, char** argv) {
    std::unique_ptr<DbusTransport> transport;
    const auto connect = [&transport](std::chrono::milliseconds patience) -> Transport* {
        DbusTransport::Options options;
        options.patience = patience;
        transport = std::make_unique<DbusTransport>(options);
        return transport->join() < 0 ? nullptr : transport.get();
    };
    return runSwitchctl({argv + 1, argv + argc}, connect, std::cout, std::cerr);
}
