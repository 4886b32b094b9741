#include "ahead/PlayTimetable.h"

#include "ahead/TimetableScript.h"
#include "box/BoxDirectory.h"
#include "box/Lives.h"
#include "box/World.h"
#include "smtp/OrvMailServers.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace ahead {

namespace {

namespace fs = std::filesystem;

std::string valueOf(const Timetable& table, const std::string& key) {
    for (const Attribute& attribute : table.attributes) {
        if (attribute.key == key) {
            return attribute.value;
        }
    }
    return "";
}

// Read as the daemon reads it. A name leads to an address that documents are free to use.
box::MailServer serverOf(const Timetable& table, const std::string& suffix, const char* name, const char* address) {
    OrvMailServer configured;
    configured.assign(valueOf(table, "Global.Callhome.NF-SMTPAddr" + suffix));
    box::MailServer server{name, configured.Address, 0, {}};
    if (configured.Kind == SmtpAddrMode::kHostName) {
        server.name = configured.Address;
        server.address = address;
    }
    const std::string port = valueOf(table, "Global.Callhome.SMTPPort" + suffix);
    server.port = static_cast<std::uint16_t>(std::strtoul(port.c_str(), nullptr, 10));
    server.manner.slowestReply = table.slowestReply;
    return server;
}

box::World worldOf(const Timetable& table) {
    box::World world(table.seed);
    world.calendar = table.begin;
    if (!table.attributes.empty()) {
        world.attributes = table.attributes;
    }
    world.servers = {serverOf(table, "", "primary", "192.0.2.1"), serverOf(table, "1", "secondary", "192.0.2.2")};
    return world;
}

void place(const std::string& root, const FlashFile& file) {
    if (!file.path.starts_with('/') || file.path.find("/../") != std::string::npos) {
        throw std::runtime_error(file.path + " is no path on a switch");
    }
    const fs::path path = root + file.path;
    fs::create_directories(path.parent_path());
    if (!(std::ofstream(path, std::ios::binary) << file.bytes).flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

}  // namespace

Outcome play(const Timetable& table) {
    TimetableScript script(table);
    try {
        const box::BoxDirectory directory("");
        for (const FlashFile& file : table.files) {
            place(directory.path(), file);
        }
        box::World world = worldOf(table);
        const box::LifeOutcome last = box::live(world, script, directory.path());
        if (!last.told || last.how != box::LifeEnd::kPaused) {
            script.outcome().problem = last.why.empty() ? "the daemon has ended" : last.why;
        }
    } catch (const std::exception& error) {
        script.outcome().problem = error.what();
    }
    return script.outcome();
}

}  // namespace ahead
