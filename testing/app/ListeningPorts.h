// Test support: the TCP ports at which a process listens.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

// Its sockets as the kernel names them: "socket:[<inode>]". Empty when there is no such process.
inline std::set<std::string> socketsOf(pid_t process) {
    std::set<std::string> sockets;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd", gone)) {
        sockets.insert(std::filesystem::read_symlink(entry.path(), gone).string());
    }
    return sockets;
}

inline std::set<std::uint16_t> listeningPorts(pid_t process) {
    const std::set<std::string> sockets = socketsOf(process);
    std::set<std::uint16_t> ports;
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream file(table);
        std::string line;
        std::getline(file, line);  // headings
        while (std::getline(file, line)) {
            std::istringstream words(line);
            std::string number, local, remote, state, queues, timer, retransmits, user, timeout, inode;
            words >> number >> local >> remote >> state >> queues >> timer >> retransmits >> user >> timeout >> inode;
            if (state == "0A" && sockets.count("socket:[" + inode + "]") > 0) {
                ports.insert(static_cast<std::uint16_t>(std::stoul(local.substr(local.find(':') + 1), nullptr, 16)));
            }
        }
    }
    return ports;
}
