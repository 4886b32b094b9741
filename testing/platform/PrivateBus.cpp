#include "testing/platform/PrivateBus.h"

#include "Descriptor.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

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

// It tells its address in its only line; what else it says goes to its log.
void PrivateBus::launch() {
    const Descriptor log(open((directory_ + "/bus.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    const Words words = {"dbus-daemon", "--nofork", "--print-address=1", "--config-file=" + directory_ + "/bus.conf"};
    daemon_ = std::make_unique<Child>("/usr/bin/env", words, Environment{}, [&] { dup2(log.get(), STDERR_FILENO); });
    address_ = daemon_->readLine();
    if (!address_.ends_with('\n')) {
        throw std::runtime_error("dbus-daemon did not start");
    }
    address_.pop_back();
}

void PrivateBus::suspend() {
    daemon_->signal(SIGSTOP);
}

void PrivateBus::resume() {
    daemon_->signal(SIGCONT);
}
