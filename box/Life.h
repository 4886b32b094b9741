// One life of the daemon with its switch around it: the services over loopback, the daemon from its main function down.
//
// Runs in a process that was forked for it; there the constructor's thread becomes the daemon's main thread.
#pragma once

#include "box/Box.h"
#include "box/DaemonSide.h"
#include "box/Script.h"
#include "box/World.h"
#include "platform/transport/loopback/LoopbackBus.h"
#include "platform/transport/loopback/LoopbackTransport.h"
#include "switchd/services/SwitchServices.h"
#include "switchd/store/MemoryStore.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace box {

class Life {
public:
    using Report = std::function<void(LifeEnd how, int status, const std::string& why)>;

    // The files are below root. report: told of the end when the world and the script stand as the life has left them.
    // progress: where it is written down how far it has come; may be null.
    Life(World& world, Script& script, const std::string& root, Progress* progress, Report report);
    ~Life();
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;

    // From the daemon's start to its end. Does not come back.
    [[noreturn]] void live();

    // --- For the script ---
    Time now() const { return box_.now(); }
    Time began() const { return box_.settings().now; }
    World& world() { return world_; }
    MemoryStore& attributes() { return store_; }
    SwitchServices& services() { return services_; }
    LoopbackBus& bus() { return bus_; }
    std::vector<MailServer>& servers() { return network_.servers(); }
    Network& network() { return network_; }
    // From now on this fails, and nothing else does.
    void letFail(const Trouble& trouble) { box_.troubles().set(trouble); }
    const Troubles& troubles() { return box_.troubles(); }
    void tell(std::string_view what) { box_.tell("world", what); }
    // A management request to the daemon. False when it is not on the bus.
    bool manage(std::uint16_t code, const std::vector<std::uint8_t>& payload);
    // A probe of the daemon. False when it is not on the bus.
    bool probe();
    // The daemon is told to end.
    void stop();
    // It is killed where it stands.
    [[noreturn]] void kill();
    // The history is over.
    [[noreturn]] void pause();

private:
    class WorldClock;

    void openServices();
    void end(LifeEnd how, int status, const std::string& why);

    World& world_;
    Script& script_;
    const Report report_;
    Network network_;
    Box box_;
    MemoryStore store_;
    LoopbackBus bus_;
    LoopbackTransport switchSide_{bus_};
    DaemonSide daemonSide_{bus_};
    std::optional<Spared> delivering_;
    SwitchServices services_{switchSide_, store_, store_};
    std::unique_ptr<WorldClock> clock_;
};

}  // namespace box
