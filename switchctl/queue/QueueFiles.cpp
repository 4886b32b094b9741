#include "switchctl/queue/QueueFiles.h"

#include "Directory_Stream.h"
#include "base/OrvPaths.h"
#include "switchctl/text/PlainFile.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

namespace {

// No message is larger: the attachments stand beside it.
constexpr std::size_t LARGEST = 8 << 20;

struct Order {
    bool found = false;
    std::vector<std::uint32_t> numbers;
    std::uint64_t tests = 0;
};

// "m" and a number, which may have come out negative.
std::optional<std::uint32_t> messageNumberIn(const std::string& name) {
    const auto number = name.starts_with('m') ? Text::number(name.substr(1), INT32_MIN, UINT32_MAX) : std::nullopt;
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

std::string readFailure(int error) {
    return error == EINVAL ? "it is no file" : std::strerror(error);
}

// A count, so many numbers, and a word for each test message, all in this machine's own byte order.
Order readOrder(const std::string& path) {
    Order order;
    PlainFile file;
    if (PlainFile::read(path, LARGEST, file) < 0) {
        return order;
    }
    std::vector<std::uint32_t> words(file.bytes.size() / sizeof(std::uint32_t));
    std::memcpy(words.data(), file.bytes.data(), words.size() * sizeof(std::uint32_t));
    order.found = true;
    if (words.empty()) {
        return order;
    }
    const std::size_t count = std::min<std::size_t>(words.front(), words.size() - 1);
    order.numbers.assign(words.begin() + 1, words.begin() + 1 + static_cast<std::ptrdiff_t>(count));
    order.tests = words.size() - 1 - count;
    return order;
}

// What can be known of it from outside.
void readStatus(QueueEntry& entry) {
    struct stat status {};
    if (lstat(entry.path.c_str(), &status) == 0) {
        entry.written = std::int64_t{status.st_mtim.tv_sec} * SECOND + status.st_mtim.tv_nsec / 1000;
    }
}

// A file that is being written is not whole for a moment: what has not changed by the next look stays as it is.
void readMessage(QueueEntry& entry) {
    constexpr int TRIES = 3;
    PlainFile before;
    for (int number = 0; number < TRIES && !(entry.message && entry.message->whole()); ++number) {
        PlainFile file;
        if (PlainFile::read(entry.path, LARGEST, file) < 0) {
            entry.unread = readFailure(errno);
            readStatus(entry);
            return;
        }
        entry.bytes = file.size;
        entry.written = file.written;
        if (file.size > LARGEST) {
            entry.unread = "it is larger than any message";
            return;
        }
        if (number == 0 || file.bytes != before.bytes) {
            entry.message = QueuedMessage::parse(file.bytes);
        }
        before = std::move(file);
    }
}

void readEntry(const std::string& queue, const std::string& path, std::uint32_t number, QueueFiles& files) {
    QueueEntry entry;
    entry.queue = queue;
    entry.path = path;
    entry.number = number;
    readMessage(entry);
    if (entry.unread != std::strerror(ENOENT)) {  // mailed while we looked
        files.entries.push_back(std::move(entry));
    }
}

void readDirectory(const std::string& queue, QueueFiles& files) {
    const std::string path = orvHostPath(std::string(kOrvQueuesDirectory) + "/" + queue);
    Directory_Stream directory(
        Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)));
    if (!directory) {
        if (errno != ENOENT) {
            files.unknown.push_back("the queue's directory " + path + " cannot be read: " + std::strerror(errno));
        }
        return;
    }
    while (const char* const next = directory.next()) {
        const std::string name = next;
        std::string file = path + "/";
        file += name;
        if (const auto number = messageNumberIn(name)) {
            readEntry(queue, file, *number, files);
        } else if (name != "order" && name != "order.new") {
            files.foreign.push_back(std::move(file));
        }
    }
}

// As the order file has them; what it does not have follows, the newest first, as a start would take them.
void sortByOrder(const Order& order, std::vector<QueueEntry>& entries, std::size_t from) {
    std::map<std::uint32_t, std::size_t> places;
    for (const std::uint32_t number : order.numbers) {
        places.emplace(number, places.size());
    }
    const auto place = [&](const QueueEntry& entry) {
        const auto found = places.find(entry.number);
        return found == places.end() ? places.size() : found->second;
    };
    for (std::size_t i = from; i < entries.size(); ++i) {
        entries[i].listed = places.contains(entries[i].number);
    }
    std::sort(entries.begin() + static_cast<std::ptrdiff_t>(from), entries.end(),
              [&](const QueueEntry& one, const QueueEntry& other) {
                  return std::pair(place(one), -one.written) < std::pair(place(other), -other.written);
              });
}

void readQueue(const std::string& queue, QueueFiles& files) {
    const std::size_t before = files.entries.size();
    const Order order = readOrder(orvHostPath(std::string(kOrvQueuesDirectory) + "/" + queue + "/order"));
    readDirectory(queue, files);
    sortByOrder(order, files.entries, before);
    const auto listed = static_cast<std::uint64_t>(
        std::count_if(files.entries.begin() + static_cast<std::ptrdiff_t>(before), files.entries.end(),
                      [](const QueueEntry& entry) { return entry.listed; }));
    if (queue == QueueFiles::SEND) {
        files.tests = order.tests;
        files.ordered = order.found;
    } else if (queue == QueueFiles::DUPLICATE) {
        files.parkedWithout = order.numbers.size() - std::min<std::uint64_t>(listed, order.numbers.size());
    }
}

std::uint64_t sizeOf(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size)
                                                                        : 0;
}

}  // namespace

std::string QueueEntry::name() const {
    return (queue == QueueFiles::SEND ? "" : queue + "/") + std::to_string(number);
}

std::uint64_t QueueEntry::allBytes() const {
    std::uint64_t all = bytes;
    const CronCaptureData* const capture = message ? message->message().cronCapture() : nullptr;
    if (capture != nullptr) {
        for (const std::string& attachment : capture->Attachments) {
            all += sizeOf(orvHostPath(capture->stagedPath(attachment)));
        }
    }
    return all;
}

std::int64_t QueueEntry::since() const {
    const auto happened = message ? message->happened() : std::nullopt;
    return happened && *happened <= written ? *happened : written;
}

QueueFiles QueueFiles::read() {
    QueueFiles files;
    for (const char* queue : {SEND, DUPLICATE, PERSIST}) {
        readQueue(queue, files);
    }
    std::ranges::sort(files.foreign);
    return files;
}

const QueueEntry* QueueFiles::find(const std::string& name) const {
    const auto found = std::ranges::find_if(entries, [&](const QueueEntry& entry) {
        return entry.name() == name || entry.queue + "/" + std::to_string(entry.number) == name ||
               (entry.queue == SEND && "m" + std::to_string(entry.number) == name);
    });
    return found == entries.end() ? nullptr : &*found;
}
