#include "mesg/OrvMesgFile.h"

#include "base/OrvFiles.h"
#include "base/OrvSteps.h"

#include <unistd.h>

#include <cerrno>
#include <string>

namespace {

int cut(int file, off_t size) {
    int result = ::ftruncate(file, size);
    while (result < 0 && errno == EINTR) {
        result = ::ftruncate(file, size);
    }
    return result;
}

// Takes the room that the file is going to need behind its end: on a full flash it is refused here, before the first
// byte of the old content is lost. What stands there is no part of a message.
int reserve(int file, off_t from, off_t to) {
    const std::string filler(static_cast<std::size_t>(to - from), '\n');
    const int written = ::lseek(file, from, SEEK_SET) < 0 ? -1 : orvWriteWhole(file, filler.data(), filler.size());
    const int error = errno;
    if (written < 0) {
        [[maybe_unused]] const int result = cut(file, from);
        errno = error;
        return -1;
    }
    return ::lseek(file, 0, SEEK_SET) < 0 ? -1 : 0;
}

}  // namespace

int orvWriteMesgFile(int file, off_t before, std::string_view text) {
    const off_t size = static_cast<off_t>(text.size());
    if (before > 0 && before < size && reserve(file, before, size) < 0) {
        return -1;
    }
    if (orvOnceMore([&] { return orvWriteWhole(file, text.data(), text.size()); }) < 0) {
        return -1;
    }
    return before > size ? cut(file, size) : 0;
}

OrvMesgFileBuf::int_type OrvMesgFileBuf::underflow() {
    const ssize_t got = orvOnceMore([this] { return ::read(file_, bytes_.data(), bytes_.size()); });
    if (got <= 0) {
        return traits_type::eof();
    }
    setg(bytes_.data(), bytes_.data(), bytes_.data() + got);
    return traits_type::to_int_type(bytes_[0]);
}
