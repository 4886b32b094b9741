#include "testing/sync/SyncStandby.h"

#include "Descriptor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

int confineTo(const std::string& directory) {
    if (chdir(directory.c_str()) < 0) {
        return -1;
    }
    if (chroot(".") < 0 && (unshare(CLONE_NEWUSER) < 0 || chroot(".") < 0)) {
        return -1;
    }
    return chdir("/");
}

namespace {

int repeatRecords(OrvSyncSec& receiver) {
    int records = 0;
    while (receiver.recvOp() > 0) {
        ++records;
    }
    receiver.endSession();
    return records;
}

}  // namespace

int serveSyncSession(OrvSyncSec& receiver) {
    return receiver.startSession() < 0 ? -1 : repeatRecords(receiver);
}

int serveOnlySyncSession(OrvSyncSec& receiver) {
    const int started = receiver.startSession();
    receiver.endConnection();
    return started < 0 ? -1 : repeatRecords(receiver);
}

SyncStandby::SyncStandby(int sessions) : receiver_({.address = INADDR_LOOPBACK, .port = 0}), sessions_(sessions) {
    if (receiver_.startConnection() < 0 || receiver_.listenConnection() < 0) {
        throw std::system_error(receiver_.error(), std::generic_category(), "standby");
    }
    port_ = receiver_.port();
    thread_ = std::thread([this] { serve(); });
}

void SyncStandby::serve() {
    for (int session = 0; session < sessions_; ++session) {
        const int records = serveSyncSession(receiver_);
        records_ += records > 0 ? records : 0;
    }
    receiver_.endConnection();
}

SyncStandby::~SyncStandby() {
    for (int session = 0; thread_.joinable() && session < sessions_; ++session) {
        const Descriptor visitor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port_);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        [[maybe_unused]] const int result =
            connect(visitor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    records();
}

OrvSyncSettings SyncStandby::settings() const {
    return {.address = INADDR_LOOPBACK, .port = port_};
}

int SyncStandby::records() {
    if (thread_.joinable()) {
        thread_.join();
    }
    return records_;
}
