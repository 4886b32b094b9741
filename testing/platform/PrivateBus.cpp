#include "testing/platform/PrivateBus.h"

#include "Descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

constexpr int START_PATIENCE_MS = 20000;
constexpr int ADDRESS_FD = 9;  // Where the daemon writes its address.

// The whole address comes in one line, at once or not at all.
std::string readLine(int fd) {
    std::string line;
    pollfd waiting{fd, POLLIN, 0};
    char byte = 0;
    while (poll(&waiting, 1, START_PATIENCE_MS) == 1 && read(fd, &byte, 1) == 1 && byte != '\n') {
        line += byte;
    }
    return line;
}

}  // namespace

PrivateBus::PrivateBus() {
    char pattern[] = "/tmp/hsb-bus-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        throw std::runtime_error("mkdtemp");
    }
    directory_ = pattern;
    writeConfiguration();
    launch();
}

PrivateBus::~PrivateBus() {
    kill();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void PrivateBus::writeConfiguration() const {
    std::ofstream(directory_ + "/bus.conf")
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>session</type>\n"
           "  <listen>unix:path="
        << directory_
        << "/bus</listen>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n"
           "</busconfig>\n";
}

void PrivateBus::launch() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) < 0) {
        throw std::runtime_error("pipe2");
    }
    const Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    const std::string config = "--config-file=" + directory_ + "/bus.conf";
    const std::string print = "--print-address=" + std::to_string(ADDRESS_FD);
    daemon_ = fork();
    if (daemon_ < 0) {
        throw std::runtime_error("fork");
    }
    if (daemon_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // Nor does it outlive a test that crashes.
        dup2(writing.get(), ADDRESS_FD);
        const Descriptor log(open((directory_ + "/bus.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
        dup2(log.get(), STDERR_FILENO);
        execlp("dbus-daemon", "dbus-daemon", "--nofork", print.c_str(), config.c_str(), nullptr);
        _exit(127);
    }
    writing.reset();
    address_ = readLine(reading.get());
    if (address_.empty()) {
        throw std::runtime_error("dbus-daemon did not start");
    }
}

// kill() takes -1 for everybody.
void PrivateBus::signal(int number) const {
    if (daemon_ > 0) {
        ::kill(daemon_, number);
    }
}

void PrivateBus::suspend() {
    signal(SIGSTOP);
}

void PrivateBus::resume() {
    signal(SIGCONT);
}

void PrivateBus::kill() {
    if (daemon_ > 0) {
        ::kill(daemon_, SIGKILL);
        waitpid(daemon_, nullptr, 0);
        daemon_ = -1;
    }
}
