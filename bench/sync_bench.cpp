// The file synchronisation beside the least work that could do the same.
//
// Usage: sync_bench large MEGABYTES ROUNDS DIR   one large file, bytes per second
//        sync_bench small FILES ROUNDS DIR       many files of 1 KB, files per second
//        sync_bench records FILES DIR            the sender and the receiver once, for strace -f -c
//
// DIR is made, and removed at the end: one that is there already is refused. Each round runs all competitors in turn,
// the receiving end of each in a process of its own; the medians are printed at the end:
//   orv          OrvSyncPri to OrvSyncSec, as the daemon's threads run them but without a trace
//   orv traced   the same with both trace logs
//   to sink      OrvSyncPri to a peer that reads and forgets
//   bare N KB    (large) sendfile to a peer that writes what it reads, in pieces of 4 KB and 64 KB
//   bare sink    sendfile to a peer that reads and forgets
//   bare         (small) stat, open, send, sendfile, close, receive to a peer that receives, opens, receives, writes,
//                closes and sends: the same work and the same round trip, and nothing else
//   ping-pong    (small) a record and a file's bytes from memory, and four bytes back: the round trip alone
//   cp -r        the same files without a network
#include "Descriptor.h"
#include "dbg/OrvDbg.h"
#include "host_root.h"
#include "platform/posix/HostRoot.h"
#include "sync/OrvSyncPri.h"
#include "testing/sync/SyncStandby.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kSmallFile = 1024;
constexpr std::size_t kRecord = 516;

[[noreturn]] void giveUp(const char* what) {
    std::perror(what);
    std::exit(1);
}

// A process with the receiving end; its listening socket is there before the process is.
class Peer {
public:
    explicit Peer(const std::function<void(int)>& serve) {
        const Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), size) < 0 ||
            listen(listener.get(), 1) < 0 ||
            getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size) < 0) {
            giveUp("listen");
        }
        port_ = ntohs(address.sin_port);
        pid_ = fork();
        if (pid_ == 0) {
            const Descriptor accepted(accept(listener.get(), nullptr, nullptr));
            serve(accepted.get());
            _exit(0);
        }
    }
    ~Peer() { waitpid(pid_, nullptr, 0); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    std::uint16_t port() const { return port_; }
    Descriptor connect() const {
        Descriptor peer(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port_);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int on = 1;
        setsockopt(peer.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        if (::connect(peer.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
            giveUp("connect");
        }
        return peer;
    }

private:
    std::uint16_t port_ = 0;
    pid_t pid_ = -1;
};

// A standby as a process: prints its port into a pipe.
class Standby {
public:
    explicit Standby(bool traced) {
        int ends[2];
        if (pipe(ends) < 0) {
            giveUp("pipe");
        }
        Descriptor reading(ends[0]);
        Descriptor writing(ends[1]);
        pid_ = fork();
        if (pid_ == 0) {
            reading.reset();
            if (traced && OrvDbg::setOfThread(new OrvDbg("orv.out.MesgQSyncSec")) < 0) {
                _exit(1);
            }
            OrvSyncSec receiver({.address = INADDR_LOOPBACK, .port = 0});
            const bool listening = receiver.startConnection() == 0 && receiver.listenConnection() == 0;
            const std::uint16_t port = listening ? receiver.port() : 0;
            if (write(writing.get(), &port, sizeof port) != sizeof port) {
                _exit(1);
            }
            serveOnlySyncSession(receiver);
            _exit(0);
        }
        writing.reset();
        if (read(reading.get(), &port_, sizeof port_) != sizeof port_) {
            giveUp("standby");
        }
    }
    ~Standby() { waitpid(pid_, nullptr, 0); }
    Standby(const Standby&) = delete;
    Standby& operator=(const Standby&) = delete;

    OrvSyncSettings settings() const { return {.address = INADDR_LOOPBACK, .port = port_}; }

private:
    std::uint16_t port_ = 0;
    pid_t pid_ = -1;
};

// The sender's trace for a scope.
class Traced {
public:
    explicit Traced(bool traced) : logger_(traced ? new OrvDbg("orv.out.Main") : nullptr) {
        if (OrvDbg::setOfThread(logger_.get()) < 0) {
            giveUp("trace");
        }
    }
    ~Traced() { [[maybe_unused]] const int result = OrvDbg::setOfThread(nullptr); }
    Traced(const Traced&) = delete;
    Traced& operator=(const Traced&) = delete;

private:
    const std::unique_ptr<OrvDbg> logger_;
};

void expect(bool held, const char* what) {
    if (!held) {
        giveUp(what);
    }
}

void answer(int peer) {
    expect(write(peer, "\0\0\0", 4) == 4, "answer");
}

// Reads that many bytes in pieces of that size; writes them to the file unless it is negative.
void take(int peer, std::size_t count, std::size_t piece, int file) {
    std::vector<char> bytes(piece);
    while (count > 0) {
        const ssize_t got = recv(peer, bytes.data(), std::min(piece, count), 0);
        expect(got > 0, "recv");
        expect(file < 0 || write(file, bytes.data(), static_cast<std::size_t>(got)) == got, "write");
        count -= static_cast<std::size_t>(got);
    }
}

void awaitAnswer(int peer) {
    std::array<char, 4> word;
    expect(recv(peer, word.data(), word.size(), MSG_WAITALL) == 4, "answer");
}

void sendWhole(int peer, int file, std::size_t count) {
    while (count > 0) {
        const ssize_t sent = sendfile(peer, file, nullptr, count);
        expect(sent > 0, "sendfile");
        count -= static_cast<std::size_t>(sent);
    }
}

double seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Connecting is not measured.
double orvLarge(std::size_t size, bool traced) {
    const Standby standby(traced);
    const Traced scope(traced);
    OrvSyncPri sender(standby.settings());
    expect(sender.startConnection() == 0, "connect");
    const double took = seconds([&] {
        expect(sender.sendCpFile("/large", "/copy") == 0 && sender.recvResponse() == 0 && sender.reply() == 0, "copy");
    });
    expect(fs::file_size(host_root() + std::string("/copy")) == size, "size");
    return took;
}

double orvToSink(std::size_t size) {
    const Peer peer([size](int socket) {
        take(socket, kRecord + size, 65536, -1);
        answer(socket);
    });
    OrvSyncPri sender({.address = INADDR_LOOPBACK, .port = peer.port()});
    expect(sender.startConnection() == 0, "connect");
    return seconds([&] { expect(sender.sendCpFile("/large", "/copy") == 0 && sender.recvResponse() == 0, "copy"); });
}

// piece 0: a sink.
double bareLarge(const std::string& directory, std::size_t size, std::size_t piece) {
    const Peer peer([&](int socket) {
        const std::string path = directory + "/copy";
        const Descriptor file(piece == 0 ? -1 : open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
        take(socket, size, piece == 0 ? 65536 : piece, file.get());
        answer(socket);
    });
    const Descriptor socket = peer.connect();
    const Descriptor file(open((directory + "/large").c_str(), O_RDONLY));
    return seconds([&] {
        sendWhole(socket.get(), file.get(), size);
        awaitAnswer(socket.get());
    });
}

double copyTree(const std::string& from, const std::string& to) {
    return seconds([&] {
        const pid_t pid = fork();
        if (pid == 0) {
            execlp("cp", "cp", "-r", "--", from.c_str(), to.c_str(), nullptr);
            _exit(127);
        }
        int status = -1;
        expect(waitpid(pid, &status, 0) == pid && status == 0, "cp");
    });
}

double orvSmall(unsigned files, bool traced) {
    const Standby standby(traced);
    const Traced scope(traced);
    OrvSyncPri sender(standby.settings());
    expect(sender.startConnection() == 0, "connect");
    expect(sender.sendMkDir("/copies") == 0 && sender.recvResponse() == 0, "mkdir");
    return seconds([&] {
        for (unsigned file = 0; file < files; ++file) {
            const std::string name = "/" + std::to_string(file);
            expect(sender.sendCpFile("/small" + name, "/copies" + name) == 0 && sender.recvResponse() == 0, "copy");
        }
        expect(sender.reply() == 0, "reply");
    });
}

void takeSmallFile(int peer, const std::string& path) {
    std::array<char, kRecord> record;
    expect(recv(peer, record.data(), record.size(), MSG_WAITALL) == kRecord, "recv");
    Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
    take(peer, kSmallFile, kSmallFile, file.get());
    file.reset();
    answer(peer);
}

void sendSmallFile(int peer, const std::string& path) {
    struct stat status {};
    expect(stat(path.c_str(), &status) == 0, "stat");
    const std::array<char, kRecord> record{};
    expect(send(peer, record.data(), record.size(), MSG_MORE) == kRecord, "send");
    Descriptor file(open(path.c_str(), O_RDONLY));
    sendWhole(peer, file.get(), static_cast<std::size_t>(status.st_size));
    file.reset();
    awaitAnswer(peer);
}

double bareSmall(const std::string& directory, unsigned files) {
    fs::create_directory(directory + "/copies");
    const Peer peer([&](int socket) {
        const int on = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        for (unsigned file = 0; file < files; ++file) {
            takeSmallFile(socket, directory + "/copies/" + std::to_string(file));
        }
    });
    const Descriptor socket = peer.connect();
    return seconds([&] {
        for (unsigned file = 0; file < files; ++file) {
            sendSmallFile(socket.get(), directory + "/small/" + std::to_string(file));
        }
    });
}

double pingPong(unsigned files) {
    const Peer peer([files](int socket) {
        for (unsigned file = 0; file < files; ++file) {
            take(socket, kRecord + kSmallFile, kRecord + kSmallFile, -1);
            answer(socket);
        }
    });
    const Descriptor socket = peer.connect();
    const std::vector<char> bytes(kRecord + kSmallFile);
    return seconds([&] {
        for (unsigned file = 0; file < files; ++file) {
            expect(write(socket.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
            awaitAnswer(socket.get());
        }
    });
}

using Results = std::map<std::string, std::vector<double>>;

void print(const Results& results, double amount, const char* unit) {
    for (auto [name, took] : results) {
        std::sort(took.begin(), took.end());
        const auto rate = [&](double time) { return amount / time; };
        std::printf("%-14s %9.0f %s   (%.0f to %.0f)\n", name.c_str(), rate(took[took.size() / 2]), unit,
                    rate(took.back()), rate(took.front()));
    }
}

void benchLarge(const std::string& directory, std::size_t megabytes, int rounds) {
    const std::size_t size = megabytes << 20;
    std::ofstream(directory + "/large", std::ios::binary) << std::string(size, 'x');
    Results results;
    for (int round = 0; round < rounds; ++round) {
        results["orv"].push_back(orvLarge(size, false));
        results["bare 4 KB"].push_back(bareLarge(directory, size, 4096));
        results["bare 64 KB"].push_back(bareLarge(directory, size, 65536));
        results["orv traced"].push_back(orvLarge(size, true));
        results["to sink"].push_back(orvToSink(size));
        results["bare sink"].push_back(bareLarge(directory, size, 0));
        fs::remove(directory + "/copy");
        results["cp -r"].push_back(copyTree(directory + "/large", directory + "/copy"));
    }
    print(results, static_cast<double>(megabytes), "MB/s");
}

void makeSmallFiles(const std::string& directory, unsigned files) {
    fs::create_directory(directory + "/small");
    for (unsigned file = 0; file < files; ++file) {
        std::ofstream(directory + "/small/" + std::to_string(file)) << std::string(kSmallFile, 'x');
    }
}

void benchSmall(const std::string& directory, unsigned files, int rounds) {
    makeSmallFiles(directory, files);
    Results results;
    for (int round = 0; round < rounds; ++round) {
        results["orv"].push_back(orvSmall(files, false));
        fs::remove_all(directory + "/copies");
        results["bare"].push_back(bareSmall(directory, files));
        fs::remove_all(directory + "/copies");
        results["ping-pong"].push_back(pingPong(files));
        results["orv traced"].push_back(orvSmall(files, true));
        fs::remove_all(directory + "/copies");
        results["cp -r"].push_back(copyTree(directory + "/small", directory + "/copies"));
    }
    print(results, files, "files/s");
}

}  // namespace

int main(int count, char** words) {
    const std::string use = count > 1 ? words[1] : "";
    const bool once = use == "records" && count == 4;
    if (!once && !((use == "large" || use == "small") && count == 5)) {
        std::fprintf(stderr,
                     "Usage: sync_bench large MEGABYTES ROUNDS DIR | small FILES ROUNDS DIR | "
                     "records FILES DIR\n");
        return 2;
    }
    const std::string directory = words[count - 1];
    const auto amount = static_cast<unsigned>(std::atoi(words[2]));
    std::signal(SIGPIPE, SIG_IGN);
    if (mkdir(directory.c_str(), 0755) < 0) {  // what is there already is not ours to remove
        giveUp(directory.c_str());
    }
    fs::create_directory(directory + "/tmp");
    setHostRoot(directory);
    if (once) {
        makeSmallFiles(directory, amount);
        std::printf("%.0f files/s\n", amount / orvSmall(amount, false));
    } else if (use == "large") {
        benchLarge(directory, amount, std::atoi(words[3]));
    } else {
        benchSmall(directory, amount, std::atoi(words[3]));
    }
    fs::remove_all(directory);
    return 0;
}
