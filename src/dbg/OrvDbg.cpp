#include "dbg/OrvDbg.h"

#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "base/OrvTimeText.h"
#include "uptime.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>

namespace {

constexpr char kTraceModule[] = "OrvDbg";
constexpr char kNoDate[] = "?\?/?\?/????";
constexpr std::size_t kMostParts = 4;  // of a message
constexpr int kTruncate = O_TRUNC;
constexpr int kAppend = O_APPEND;

pthread_once_t keyOnce = PTHREAD_ONCE_INIT;
pthread_key_t key;
bool keyCreated = false;  // both written under keyOnce, by which everybody passes before looking at them

extern "C" void createThreadKey() {
    keyCreated = pthread_key_create(&key, nullptr) == 0;
}

// Callers report errors after they have traced.
class KeepErrno {
public:
    KeepErrno() : saved_(errno) {}
    ~KeepErrno() { errno = saved_; }
    KeepErrno(const KeepErrno&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;

private:
    const int saved_;
};

// Leaves out the first bytes of a list of parts.
std::size_t skip(iovec* parts, std::size_t count, std::size_t bytes) {
    std::size_t first = 0;
    while (first < count && bytes >= parts[first].iov_len) {
        bytes -= parts[first].iov_len;
        ++first;
    }
    if (first < count) {
        parts[first].iov_base = static_cast<char*>(parts[first].iov_base) + bytes;
        parts[first].iov_len -= bytes;
    }
    return first;
}

// A printf text ends at its first NUL, so these do too.
std::string_view untilNul(std::string_view part) {
    return part.substr(0, part.find('\0'));
}

constexpr char digit(unsigned number) {
    return static_cast<char>('0' + number % 10);
}

// One part alone costs the system less when it is not in a list.
ssize_t writeParts(int file, const iovec* parts, std::size_t count) {
    return count == 1 ? ::write(file, parts->iov_base, parts->iov_len) : ::writev(file, parts, static_cast<int>(count));
}

// What cannot be written is lost.
void writeAll(int file, iovec* parts, std::size_t count) {
    std::size_t first = skip(parts, count, 0);
    while (first < count) {
        const ssize_t written = writeParts(file, parts + first, count - first);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        first += skip(parts + first, count - first, static_cast<std::size_t>(written));
    }
}

}  // namespace

OrvDbg::OrvDbg(const char* name) {
    paths_[0] = orvHostPath(kOrvTraceDirectory) + name;
    for (std::size_t generation = 1; generation < paths_.size(); ++generation) {
        paths_[generation] = paths_[0] + "." + std::to_string(generation);
    }
    open(kTruncate);
}

long OrvDbg::trace(const char* module, const char* function, const char* format, std::va_list arguments) {
    if (silent_) {
        return -1;
    }
    const KeepErrno keepErrno;
    const Mt::Lock lock(mutex_);
    if (silent_) {  // another thread's rotation has failed meanwhile
        return -1;
    }
    Line line;
    startLine(line, module, function);
    writeMessage(line, format, arguments);
    return finishLine();
}

long OrvDbg::traceParts(const char* module, const char* function, std::initializer_list<std::string_view> parts) {
    if (silent_) {
        return -1;
    }
    const KeepErrno keepErrno;
    const Mt::Lock lock(mutex_);
    if (silent_) {
        return -1;
    }
    Line line;
    startLine(line, module, function);
    std::string_view texts[kMostParts];
    std::size_t count = 0;
    for (const std::string_view part : parts) {
        texts[count++] = untilNul(part);
    }
    Lines lines;
    add(lines, line, {texts, count});
    write(lines);
    return finishLine();
}

void OrvDbg::traceLines(const char* module, const char* function, std::string_view before,
                        std::span<const std::string_view> texts, std::string_view behind) {
    if (silent_ || texts.empty()) {
        return;
    }
    const KeepErrno keepErrno;
    const Mt::Lock lock(mutex_);
    Lines lines;
    for (const std::string_view text : texts) {
        if (silent_) {  // since a rotation of this or another thread
            return;
        }
        Line line;
        startLine(line, module, function);
        add(lines, line, std::array{untilNul(before), untilNul(text), untilNul(behind)});
        if (bytesWritten_ > kRotateAbove) {
            write(lines);
            finishLine();
        }
    }
    write(lines);
}

// What does not fit into a line is written at once, behind what came before it. Else a copy costs less than the
// system's way through the parts.
void OrvDbg::add(Lines& lines, Line& line, std::span<const std::string_view> message) {
    std::size_t size = 0;
    for (const std::string_view part : message) {
        size += part.size();
    }
    if (size > line.room()) {
        write(lines);
        write(line, message);
        return;
    }
    for (const std::string_view part : message) {
        line.append(part);
    }
    if (line.length > sizeof lines.text - lines.length) {
        write(lines);
    }
    std::memcpy(lines.text + lines.length, line.text, line.length);
    lines.length += line.length;
    bytesWritten_ += static_cast<std::uint32_t>(line.length);
}

// Takes no memory: a file is rotated also when there is none.
void OrvDbg::open(int flags) {
    // Not blocking: a pipe planted in the file's place must not hold up the thread.
    constexpr int kCarefully = O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    const int opening = O_WRONLY | O_CREAT | kCarefully | (flags & ~O_TRUNC);
    file_ = orvOnceMore([&] {
        Descriptor file(::open(paths_[0].c_str(), opening, 0666));
        // Emptied only when it is a file of ours.
        off_t size = 0;
        if (file && (orvJudgeForWriting(file.get(), size) < 0 ||
                     ((flags & O_TRUNC) != 0 && size != 0 && ::ftruncate(file.get(), 0) < 0))) {
            file.reset();
        }
        return file;
    });
    silent_ = !file_;
}

void OrvDbg::fallSilent() {
    silent_ = true;
    file_.reset();
}

void OrvDbg::composePrefix(std::int64_t second) {
    if (prefixComposed_ && second == prefixSecond_) {
        return;
    }
    std::tm local{};
    char date[32];
    const std::size_t length = orvLocalTime(static_cast<std::time_t>(second), local) < 0
                                   ? 0
                                   : std::strftime(date, sizeof date, "%m/%d/%Y %Z %X", &local);
    // Kept: no blank behind the question marks. See hasOneBlankLessWithoutLocalTime.
    const int composed = std::snprintf(prefix_, sizeof prefix_, "%s%s %d ", length == 0 ? kNoDate : date,
                                       length == 0 ? ".???" : ".000 ", static_cast<int>(::getpid()));
    prefixLength_ = static_cast<std::size_t>(composed);
    millisecondsAt_ = length == 0 ? 0 : length + 1;
    prefixSecond_ = second;
    prefixComposed_ = true;
}

// Every line of the daemon passes here: no printf, and nothing anew that only a new second can change.
void OrvDbg::startLine(Line& line, const char* module, const char* function) {
    const timeval now = calendar_time();
    composePrefix(now.tv_sec);
    line.append({prefix_, prefixLength_});
    if (millisecondsAt_ != 0) {
        const auto milliseconds = static_cast<unsigned>(now.tv_usec / 1000);
        const char digits[] = {digit(milliseconds / 100), digit(milliseconds / 10), digit(milliseconds)};
        std::memcpy(line.text + millisecondsAt_, digits, sizeof digits);
    }
    line.append(module);
    line.append(" ");
    line.append(function);
    line.append(": ");
}

void OrvDbg::Line::append(std::string_view part) {
    const std::size_t size = std::min(part.size(), room());
    std::memcpy(text + length, part.data(), size);
    length += size;
}

void OrvDbg::writeMessage(Line& line, const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const std::size_t room = sizeof line.text - line.length;
    const int result = orvFillLine(line.text + line.length, room, format, arguments);
    const std::size_t length = static_cast<std::size_t>(std::max(result, 0));
    if (length < room) {
        line.length += length;
        write(line);
    } else {
        writeLongMessage(line, length, format, again);
    }
    va_end(again);
}

void OrvDbg::writeLongMessage(Line& line, std::size_t length, const char* format, std::va_list arguments) {
    const std::unique_ptr<char[]> message(new (std::nothrow) char[length + 1]);
    if (message == nullptr) {
        line.length = sizeof line.text - 1;
        write(line);  // as much as there is
        return;
    }
    std::vsnprintf(message.get(), length + 1, format, arguments);
    const std::string_view text(message.get(), length);
    write(line, {&text, 1});
}

// They are counted already.
void OrvDbg::write(Lines& lines) {
    iovec all = {lines.text, lines.length};
    writeAll(file_.get(), &all, 1);
    lines.length = 0;
}

void OrvDbg::write(const Line& line, std::span<const std::string_view> more) {
    iovec vectors[1 + kMostParts] = {{const_cast<char*>(line.text), line.length}};
    std::size_t count = 1;
    bytesWritten_ += static_cast<std::uint32_t>(line.length);
    for (const std::string_view part : more) {
        vectors[count++] = {const_cast<char*>(part.data()), part.size()};
        bytesWritten_ += static_cast<std::uint32_t>(part.size());
    }
    writeAll(file_.get(), vectors, count);
}

long OrvDbg::finishLine() {
    const long reached = static_cast<long>(bytesWritten_);
    if (bytesWritten_ > kRotateAbove) {
        Rotate();
    }
    return reached;
}

int OrvDbg::Rotate() {
    if (rotateFailed_) {
        return -1;
    }
    file_.reset();
    if (shiftGenerations() < 0) {
        rotateFailed_ = true;
        sayFarewell(__func__);
        return -1;
    }
    open(kTruncate);
    bytesWritten_ = 0;
    return 0;
}

int OrvDbg::shiftGenerations() const {
    for (std::size_t at = kGenerations; at-- > 0;) {
        // A generation that does not exist yet is no error.
        if (::rename(paths_[at].c_str(), paths_[at + 1].c_str()) < 0 && errno != ENOENT) {
            return -1;
        }
    }
    return 0;
}

void OrvDbg::sayFarewell(const char* function) {
    open(kAppend);
    if (file_) {
        Line line;
        startLine(line, kTraceModule, function);
        line.append("Rotation of logs for orvApp failed!\nShutting down logging for orvApp!\nGoodbye!");
        write(line);
        fallSilent();
    }
}

int OrvDbg::createKey() {
    return pthread_once(&keyOnce, createThreadKey) == 0 && keyCreated ? 0 : -1;
}

OrvDbg* OrvDbg::ofThread() {
    return createKey() == 0 ? static_cast<OrvDbg*>(pthread_getspecific(key)) : nullptr;
}

int OrvDbg::setOfThread(OrvDbg* logger) {
    return createKey() == 0 && pthread_setspecific(key, logger) == 0 ? 0 : -1;
}

long orvTrace(const char* module, const char* function, const char* format, ...) {
    OrvDbg* const logger = OrvDbg::ofThread();
    if (logger == nullptr) {
        return -1;
    }
    std::va_list arguments;
    va_start(arguments, format);
    const long bytes = logger->trace(module, function, format, arguments);
    va_end(arguments);
    return bytes;
}

long orvTraceParts(const char* module, const char* function, std::initializer_list<std::string_view> parts) {
    OrvDbg* const logger = OrvDbg::ofThread();
    return logger == nullptr ? -1 : logger->traceParts(module, function, parts);
}

void orvTraceLines(const char* module, const char* function, std::string_view before,
                   std::span<const std::string_view> texts, std::string_view behind) {
    if (OrvDbg* const logger = OrvDbg::ofThread(); logger != nullptr) {
        logger->traceLines(module, function, before, texts, behind);
    }
}
