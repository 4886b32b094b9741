// One end of the file synchronisation as a process of its own, whatever processor it was built for.
//
// Usage: sync_party receive DIRECTORY            a standby whose file tree is DIRECTORY
//        sync_party send PORT DIRECTORY REMOTE   an active side with a tree below DIRECTORY, REMOTE on the standby
//
// The receiver sees nothing but DIRECTORY, listens on 127.0.0.1 only, prints its port, takes one peer, and prints how
// many records it answered. The sender reads a step of the tree per line and prints what went wrong, or "done".
#include "sync/OrvSyncPri.h"
#include "testing/sync/SyncStandby.h"
#include "testing/sync/SyncTree.h"

#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

namespace {

int receive(const std::string& directory) {
    if (confineTo(directory) < 0) {
        std::cout << "cannot be confined to " << directory << ": " << std::strerror(errno) << std::endl;
        return 1;
    }
    OrvSyncSec receiver({.address = INADDR_LOOPBACK, .port = 0});
    if (receiver.startConnection() < 0 || receiver.listenConnection() < 0) {
        std::cout << "cannot listen: " << std::strerror(receiver.error()) << std::endl;
        return 1;
    }
    std::cout << receiver.port() << std::endl;
    std::cout << serveOnlySyncSession(receiver) << std::endl;
    return 0;
}

int send(std::uint16_t port, const std::string& directory, const std::string& remote) {
    OrvSyncPri sender({.address = INADDR_LOOPBACK, .port = port});
    if (sender.startConnection() < 0) {
        std::cout << "cannot connect: " << std::strerror(sender.error()) << std::endl;
        return 1;
    }
    SyncTree tree(sender, directory, remote);
    for (std::string step; std::getline(std::cin, step);) {
        const std::string failure = tree.run(step);
        std::cout << (failure.empty() ? "done\n" : failure) << std::flush;
    }
    return 0;
}

}  // namespace

int main(int count, char** words) {
    const std::string use = count > 1 ? words[1] : "";
    std::signal(SIGPIPE, SIG_IGN);
    int status = 2;
    if (use == "receive" && count == 3) {
        status = receive(words[2]);
    } else if (use == "send" && count == 5) {
        status = send(static_cast<std::uint16_t>(std::atoi(words[2])), words[3], words[4]);
    } else {
        std::cerr << "Usage: sync_party receive DIRECTORY | send PORT DIRECTORY REMOTE\n";
    }
    // Nothing is looked for at the exit: a confined process has no more than its tree, not even /proc.
    std::cout.flush();
    _exit(status);
}
