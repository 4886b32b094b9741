// Calls on files and descriptors: the system makes them, but the life may end before each of them, and what is written
// counts for the timeline's number.
#include "box/Calls.h"

#include "box/Box.h"
#include "box/FileRecord.h"
#include "box/RealCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

namespace box {

void keepFileCalls() {
}

namespace {

// The error number that the call is to fail with; 0: it is made.
int begin(const char* name, int file = -1) {
    Box* const box = Box::ofCaller();
    return box == nullptr ? 0 : box->call(name, file);
}

// A text is about to be written, and will not be tried again as a whole.
void hear(int error, std::string_view text) {
    Box* const box = Box::ofCaller();
    if (box != nullptr && error != EINTR && text.size() > 1) {
        const Aside aside;
        box->hears(text);
    }
}

void hearParts(const Box& box, int error, const iovec* parts, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text.append(static_cast<const char*>(parts[i].iov_base), parts[i].iov_len);
    }
    if (error != EINTR) {
        box.hears(text);
    }
}

// Of what is moved, when it is to be less than was asked for.
std::size_t lessOf(std::size_t size) {
    return size > 1 ? size / 2 : size;
}

// An error that ends a call that moves bytes.
bool ends(int error) {
    errno = error > 0 ? error : errno;
    return error > 0;
}

// What holds a NUL is words, in the order of bytes that this machine has.
void takeText(Box& box, std::string_view bytes) {
    if (bytes.find('\0') == std::string_view::npos) {
        box.timeline().takeTraces(bytes);
    }
}

// One byte goes to a pipe.
void wrote(int file, const void* bytes, ssize_t size) {
    Box* const box = Box::ofCaller();
    if (box != nullptr && size > 0) {
        const Aside aside;
        takeText(*box, {static_cast<const char*>(bytes), static_cast<std::size_t>(size)});
        if (size > 1) {
            box->written(file);
        }
    }
}

// Bytes went through a wake-up, or an error number came instead.
template <typename Pass>
ssize_t passed(int file, Pass pass) {
    Box* const box = Box::ofCaller();
    const Aside aside;
    const ssize_t size = pass();
    if (box != nullptr && size == -EAGAIN && (::fcntl(file, F_GETFL) & O_NONBLOCK) == 0) {
        box->end(LifeEnd::kUnowned, 1, "a wake-up that is to wait");
    }
    Box::woken();
    errno = size < 0 ? static_cast<int>(-size) : errno;
    return size < 0 ? -1 : size;
}

// The call has been made: a record of the box's files takes it down.
template <typename Result, typename Note>
Result noted(Result result, Note note) {
    Box* const box = Box::ofCaller();
    if (box != nullptr && result >= 0 && box->settings().record != nullptr) {
        const Aside aside;
        const int error = errno;
        box->settings().record->setTime(box->now());
        note(*box->settings().record);
        errno = error;
    }
    return result;
}

}  // namespace

// A call that is only one more place to end at: type, failure, name, the linker's name, parameters, arguments.
#define BOX_PLACE(type, failure, name, symbol, parameters, arguments) \
    BOX_CALL(type, name, symbol, parameters)                          \
    type name parameters {                                            \
        if (const int error = begin(symbol); error != 0) {            \
            errno = error;                                            \
            return failure;                                           \
        }                                                             \
        name##Call* const really = name##Really();                    \
        return really arguments;                                      \
    }
// The same, taken down when it has been made.
#define BOX_NOTED(name, symbol, parameters, arguments, note)                        \
    BOX_CALL(int, name, symbol, parameters)                                         \
    int name parameters {                                                           \
        if (const int error = begin(symbol); error != 0) {                          \
            errno = error;                                                          \
            return -1;                                                              \
        }                                                                           \
        name##Call* const really = name##Really();                                  \
        const int result = really arguments;                                        \
        return noted(result, [&]([[maybe_unused]] FileRecord& record) { (note); }); \
    }

BOX_PLACE(DIR*, nullptr, directoryOpen, "fdopendir", (int file), (file))
BOX_PLACE(dirent*, nullptr, directoryRead, "readdir64", (DIR * directory), (directory))
BOX_PLACE(std::FILE*, nullptr, streamOpen, "fdopen", (int file, const char* mode), (file, mode))

BOX_NOTED(fileOpen, "open64", (const char* path, int flags, mode_t mode), (path, flags, mode),
          record.opened(result, flags))
BOX_NOTED(fileOpenAt, "openat64", (int place, const char* path, int flags, mode_t mode), (place, path, flags, mode),
          record.opened(result, flags))
BOX_NOTED(fileRename, "rename", (const char* from, const char* to), (from, to),
          record.renamed(AT_FDCWD, from, AT_FDCWD, to))
BOX_NOTED(fileRenameAt, "renameat", (int place, const char* from, int target, const char* to),
          (place, from, target, to), record.renamed(place, from, target, to))
BOX_NOTED(fileLinkAt, "linkat", (int place, const char* from, int target, const char* to, int flags),
          (place, from, target, to, flags), record.linked(place, from, target, to))
BOX_NOTED(fileUnlinkAt, "unlinkat", (int place, const char* path, int flags), (place, path, flags),
          record.unlinked(place, path, flags))
BOX_NOTED(fileMkdirAt, "mkdirat", (int place, const char* path, mode_t mode), (place, path, mode),
          record.madeDirectory(place, path))
BOX_NOTED(fileSync, "fsync", (int file), (file), record.synced(file))
BOX_NOTED(fileSyncData, "fdatasync", (int file), (file), record.synced(file))

BOX_CALL(ssize_t, fileRead, "read", (int file, void* data, std::size_t size))
BOX_CALL(ssize_t, filePread, "pread64", (int file, void* data, std::size_t size, off_t at))
BOX_CALL(ssize_t, fileWrite, "write", (int file, const void* data, std::size_t size))
BOX_CALL(ssize_t, fileWritePieces, "writev", (int file, const iovec* parts, int count))
BOX_CALL(ssize_t, filePwrite, "pwrite64", (int file, const void* data, std::size_t size, off_t at))
BOX_CALL(int, fileCut, "ftruncate64", (int file, off_t size))
BOX_CALL(int, fileClose, "close", (int file))
BOX_CALL(int, pipeOpen, "pipe2", (int* files, int flags))
BOX_CALL(int, eventOpen, "eventfd", (unsigned count, int flags))
BOX_CALL(int, eventRead, "eventfd_read", (int file, eventfd_t* count))
BOX_CALL(int, eventWrite, "eventfd_write", (int file, eventfd_t count))

ssize_t fileRead(int file, void* data, std::size_t size) {
    const int error = begin("read", file);
    if (ends(error)) {
        return -1;
    }
    const std::size_t wanted = error == 0 ? size : lessOf(size);
    if (WakeUp* const wakeUp = Box::wakeUp(file)) {
        return passed(file, [&] { return wakeUp->read(data, wanted); });
    }
    return fileReadReally()(file, data, wanted);
}

ssize_t filePread(int file, void* data, std::size_t size, off_t at) {
    const int error = begin("pread64", file);
    return ends(error) ? -1 : filePreadReally()(file, data, error == 0 ? size : lessOf(size), at);
}

ssize_t fileWrite(int file, const void* data, std::size_t size) {
    const int error = begin("write", file);
    hear(error, {static_cast<const char*>(data), size});
    if (ends(error)) {
        return -1;
    }
    const std::size_t wanted = error == 0 ? size : lessOf(size);
    WakeUp* const wakeUp = Box::wakeUp(file);
    const ssize_t written = wakeUp != nullptr ? passed(file, [&] { return wakeUp->write(data, wanted); })
                                              : fileWriteReally()(file, data, wanted);
    wrote(file, data, written);
    return wakeUp != nullptr ? written : noted(written, [&](FileRecord& record) {
        record.wrote(file, data, static_cast<std::size_t>(written));
    });
}

ssize_t fileWritePieces(int file, const iovec* parts, int count) {
    const int error = begin("writev", file);
    Box* const box = Box::ofCaller();
    if (box != nullptr) {
        const Aside aside;
        hearParts(*box, error, parts, count);
    }
    if (ends(error)) {
        return -1;
    }
    if (error != 0) {
        return fileWriteReally()(file, parts[0].iov_base, lessOf(parts[0].iov_len));
    }
    const ssize_t written = fileWritePiecesReally()(file, parts, count);
    // Traces: nobody lists them by time.
    for (int i = 0; box != nullptr && i < count; ++i) {
        takeText(*box, {static_cast<const char*>(parts[i].iov_base), parts[i].iov_len});
    }
    return noted(written, [&](FileRecord& record) {
        std::string bytes;
        for (int i = 0; i < count; ++i) {
            bytes.append(static_cast<const char*>(parts[i].iov_base), parts[i].iov_len);
        }
        record.wrote(file, bytes.data(), static_cast<std::size_t>(written));
    });
}

ssize_t filePwrite(int file, const void* data, std::size_t size, off_t at) {
    const int error = begin("pwrite64", file);
    if (ends(error)) {
        return -1;
    }
    const ssize_t written = filePwriteReally()(file, data, error == 0 ? size : lessOf(size), at);
    wrote(file, data, written);
    return noted(written, [&](FileRecord& record) {
        record.wroteAt(file, data, static_cast<std::size_t>(written), static_cast<std::size_t>(at));
    });
}

int fileCut(int file, off_t size) {
    if (const int error = begin("ftruncate64"); error != 0) {
        errno = error;
        return -1;
    }
    const int result = fileCutReally()(file, size);
    if (Box* const box = Box::ofCaller()) {
        const Aside aside;
        box->written(file);
    }
    return noted(result, [&](FileRecord& record) { record.cut(file, static_cast<std::size_t>(size)); });
}

int fileClose(int file) {
    int error = 0;
    if (Box* const box = Box::ofCaller()) {
        error = box->call("close", file);
        box->close(file);
    }
    // It is closed in every case.
    const int result = fileCloseReally()(file);
    return ends(error) ? -1 : result;
}

int pipeOpen(int* files, int flags) {
    Box* const box = Box::ofCaller();
    if (const int error = begin("pipe2"); error != 0) {
        errno = error;
        return -1;
    }
    const int result = pipeOpenReally()(files, flags);
    if (box != nullptr && result == 0) {
        const Aside aside;
        const auto pipe = std::make_shared<PipeEnd::Pipe>();
        box->adopt(files[0], std::make_shared<PipeEnd>(pipe, true));
        box->adopt(files[1], std::make_shared<PipeEnd>(pipe, false));
    }
    return result;
}

int eventOpen(unsigned count, int flags) {
    Box* const box = Box::ofCaller();
    if (const int error = begin("eventfd"); error != 0) {
        errno = error;
        return -1;
    }
    const int result = eventOpenReally()(count, flags);
    if (box != nullptr && result >= 0) {
        const Aside aside;
        box->adopt(result, std::make_shared<Counter>(count));
    }
    return result;
}

int eventRead(int file, eventfd_t* count) {
    WakeUp* const wakeUp = Box::wakeUp(file);
    if (wakeUp == nullptr) {
        return eventReadReally()(file, count);
    }
    return passed(file, [&] { return wakeUp->read(count, sizeof *count); }) < 0 ? -1 : 0;
}

int eventWrite(int file, eventfd_t count) {
    WakeUp* const wakeUp = Box::wakeUp(file);
    if (wakeUp == nullptr) {
        return eventWriteReally()(file, count);
    }
    return passed(file, [&] { return wakeUp->write(&count, sizeof count); }) < 0 ? -1 : 0;
}

}  // namespace box
