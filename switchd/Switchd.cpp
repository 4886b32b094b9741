#include "switchd/Switchd.h"

#include "Hsb.h"
#include "host_root.h"
#include "platform/client/HostPlatform.h"
#include "platform/posix/ServiceManager.h"
#include "switchd/SwitchdFiles.h"
#include "switchd/services/FactoryAttributes.h"
#include "switchd/services/SwitchServices.h"
#include "switchd/store/SqliteStore.h"

#include <cstdio>
#include <filesystem>
#include <utility>

namespace {

constexpr const char* DATABASE = "/switch.db";
// What a switch's file system holds before any daemon starts.
constexpr const char* SWITCH_DIRECTORIES[] = {"/ostrel/conf", "/tmp"};

int fail(const std::string& what) {
    std::fprintf(stderr, "switchd: %s\n", what.c_str());
    return -1;
}

int makeDirectory(const std::string& directory) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    return error ? fail("cannot create the directory " + directory + ": " + error.message()) : 0;
}

}  // namespace

Switchd::Switchd(std::string stateDirectory, Transport& transport)
    : state_(std::move(stateDirectory)), transport_(transport) {
}

int Switchd::run() {
    if (makeDirectories() < 0) {
        return 1;
    }
    std::string reason;
    const std::unique_ptr<SqliteStore> store = SqliteStore::open(state_ + DATABASE, reason);
    if (!store) {
        fail(reason);
        return 1;
    }
    if (seedFactoryAttributes(*store) < 0) {
        fail("cannot write the factory's attributes: " + store->reason());
        return 1;
    }
    return serve(*store) < 0 ? 1 : 0;
}

int Switchd::makeDirectories() const {
    if (makeDirectory(state_) < 0) {
        return -1;
    }
    if (host_root().empty()) {
        return 0;  // On the machine's own root they are the machine's business.
    }
    for (const char* directory : SWITCH_DIRECTORIES) {
        if (makeDirectory(host_root() + directory) < 0) {
            return -1;
        }
    }
    std::string reason;
    return installSwitchFiles(host_root(), reason) < 0 ? fail(reason) : 0;
}

int Switchd::serve(SqliteStore& store) {
    HostPlatform::useTransport(&transport_);
    Hsb& hsb = *Hsb::instance();
    if (hsb.init(64, 0, 0) <= 0) {
        HostPlatform::useTransport(nullptr);
        return fail("cannot join the bus");
    }
    int result = -1;
    {
        SwitchServices services(transport_, store, store);
        if (services.open() < 0) {
            fail("cannot take the services' places on the bus");
        } else {
            ServiceManager::ready();
            result = hsb.handle_events(nullptr);
        }
    }
    hsb.shutdown();
    HostPlatform::useTransport(nullptr);
    return result;
}
