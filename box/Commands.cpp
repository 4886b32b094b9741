#include "box/Commands.h"

#include "box/Timeline.h"

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace box {

namespace {

constexpr int kFailed = 2 << 8;  // as wait tells exit status 2

std::uint32_t crcOf(const std::string& bytes) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (const char byte : bytes) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1u) != 0 ? 0xEDB88320u : 0u);
        }
    }
    return ~crc;
}

void appendLittle(std::string& bytes, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) {
        bytes += static_cast<char>(value >> (8 * i) & 0xFFu);
    }
}

int writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    file.close();
    return file ? 0 : kFailed;
}

}  // namespace

std::string gzipStored(const std::string& bytes) {
    constexpr std::size_t kBlock = 65535;
    std::string out("\x1f\x8b\x08\0\0\0\0\0\0\x03", 10);
    std::size_t at = 0;
    do {
        const std::size_t size = std::min(kBlock, bytes.size() - at);
        out += at + size == bytes.size() ? '\1' : '\0';
        appendLittle(out, static_cast<std::uint32_t>(size), 2);
        appendLittle(out, ~static_cast<std::uint32_t>(size), 2);
        out.append(bytes, at, size);
        at += size;
    } while (at < bytes.size());
    appendLittle(out, crcOf(bytes), 4);
    appendLittle(out, static_cast<std::uint32_t>(bytes.size()), 4);
    return out;
}

std::vector<std::string> Commands::words(const std::string& line) {
    std::vector<std::string> words;
    bool inWord = false;
    char quote = '\0';
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quote == '\0' && c == ' ') {
            inWord = false;
            continue;
        }
        if (!inWord) {
            words.emplace_back();
            inWord = true;
        }
        if (c == quote) {
            quote = '\0';
        } else if (quote == '\0' && (c == '\'' || c == '"')) {
            quote = c;
        } else {
            words.back() += quote == '\0' && c == '\\' && i + 1 < line.size() ? line[++i] : c;
        }
    }
    return words;
}

pid_t Commands::start(const std::string& line, Time now, Random& chance) {
    constexpr std::uint32_t kSlowest = 200;  // milliseconds
    std::vector<std::string> parts = words(line);
    const bool lists = parts.size() == 8 && parts[0] == "cd" && parts[3] == "ls" && parts[5] == "m*";
    const bool shows = !parts.empty() && parts[0].ends_with("/clish");
    const bool compresses = parts.size() == 5 && parts[0] == "/bin/gzip";
    if (!lists && !shows && !compresses) {
        return 0;
    }
    running_[++last_] = {std::move(parts), now + (1 + chance.below(kSlowest)) * kMillisecond};
    return last_;
}

void Commands::finish(pid_t process) {
    Running& command = running_.at(process);
    if (!command.done) {
        command.done = true;
        command.status = run(command);
    }
}

void Commands::kill(pid_t process, Time now) {
    const auto found = running_.find(process);
    if (found != running_.end() && !found->second.done) {
        found->second.done = true;
        found->second.status = SIGKILL;
        found->second.end = now;
    }
}

int Commands::reap(pid_t process) {
    const int status = running_.at(process).status;
    running_.erase(process);
    return status;
}

int Commands::run(const Running& command) const {
    if (command.words[0] == "cd") {
        return list(command.words[1], command.words[7]);
    }
    return command.words[0] == "/bin/gzip" ? compress(command.words[2], command.words[4]) : showSupport(command.end);
}

// As ls -1t: the newest first, those of one time by their names.
int Commands::list(const std::string& directory, const std::string& target) const {
    struct Entry {
        std::int64_t seconds;
        long nanoseconds;
        std::string name;
    };
    std::vector<Entry> entries;
    std::error_code missing;
    for (const auto& each : std::filesystem::directory_iterator(directory, missing)) {
        struct stat status {};
        std::string name = each.path().filename().string();
        if (name.starts_with('m') && ::stat(each.path().c_str(), &status) == 0) {
            entries.push_back({status.st_mtim.tv_sec, static_cast<long>(status.st_mtim.tv_nsec), std::move(name)});
        }
    }
    std::ranges::sort(entries, [](const Entry& a, const Entry& b) {
        return std::tie(b.seconds, b.nanoseconds, a.name) < std::tie(a.seconds, a.nanoseconds, b.name);
    });
    std::string text;
    for (const Entry& entry : entries) {
        text += entry.name + "\n";
    }
    const int written = writeFile(target, text);
    return missing || entries.empty() ? kFailed : written;
}

int Commands::showSupport(Time now) const {
    return writeFile(root_ + "/tmp/smlCapture.txt", "support information of " + timeText(now) + "\n");
}

int Commands::compress(const std::string& source, const std::string& target) const {
    std::ifstream file(source, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return writeFile(target, file ? gzipStored(bytes.str()) : "");
}

}  // namespace box
