#include "mesg/OrvBase64.h"

#include "base/OrvFiles.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "mesg/OrvBase64Codec.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

namespace {

// Of the thread's last b64().
thread_local std::array<char, 1024> detail{};

void storeDetail(const char* call, const std::string& path, int error) {
    std::snprintf(detail.data(), detail.size(), "%s(%s): %s", call, path.c_str(), orvErrorText(error).c_str());
}

// A file of the switch, or a standard stream when the path is empty. A link in the file's place is not followed.
class File {
public:
    File(const std::string& path, int flags, int standard) : path_(path), standard_(standard) {
        if (!path.empty()) {
            own_ = orvOnceMore([&] { return orvOpenFile(path, flags, 0666); });
            if (!own_) {
                storeDetail("fopen", path_, errno);
            }
        }
    }

    bool isOpen() const { return number() >= 0; }
    bool isStandard() const { return path_.empty(); }
    int number() const { return isStandard() ? standard_ : own_.get(); }

    // A standard stream stays open. 0, or -1 with the detail stored. After a signal the file is closed all the same.
    int close() {
        if (own_.close() == 0 || errno == EINTR) {
            return 0;
        }
        storeDetail("fclose", path_, errno);
        return -1;
    }

protected:
    const std::string& path_;

private:
    const int standard_;
    Descriptor own_;
};

class Input : public File {
public:
    explicit Input(const std::string& path) : File(path, O_RDONLY, STDIN_FILENO) {}

    // As much as there is room for, less only at the end. -1 with errno when it cannot be read.
    ssize_t read(unsigned char* data, std::size_t size) const {
        std::size_t count = 0;
        while (count < size) {
            const ssize_t result = ::read(number(), data + count, size - count);
            if (result < 0 && errno == EINTR) {
                continue;
            }
            if (result <= 0) {
                return result < 0 ? -1 : static_cast<ssize_t>(count);
            }
            count += static_cast<std::size_t>(result);
        }
        return static_cast<ssize_t>(count);
    }
};

// Writes whole pages, and what is left at the end. Kept: that last piece finds a full flash only in closing, with the
// text of that.
class Output : public File {
public:
    explicit Output(const std::string& path) : File(path, O_RDWR | O_CREAT | O_TRUNC, STDOUT_FILENO) {
        if (isStandard()) {
            std::fflush(stdout);
        }
    }

    int write(const unsigned char* data, std::size_t size) {
        if (pending_ > 0) {
            const std::size_t part = std::min(size, page_.size() - pending_);
            std::memcpy(page_.data() + pending_, data, part);
            pending_ += part;
            data += part;
            size -= part;
            if (pending_ == page_.size() && flush() < 0) {
                return -1;
            }
        }
        const std::size_t whole = size - size % page_.size();
        if (pending_ == 0 && orvWriteAll(number(), data, whole) < 0) {
            return -1;
        }
        if (pending_ == 0) {
            std::memcpy(page_.data(), data + whole, size - whole);
            pending_ = size - whole;
        }
        return 0;
    }

    int flush() { return orvWriteAll(number(), page_.data(), std::exchange(pending_, 0)); }

    int close() {
        const int result = flush();
        if (result < 0) {
            storeDetail("fclose", path_, errno);
        }
        return File::close() < 0 ? -1 : result;
    }

private:
    std::array<unsigned char, 4096> page_;
    std::size_t pending_ = 0;
};

// A multiple of three: only the last block of a file can end in a short group. Lines of 72 characters make whole pages
// of whole pages, so that only the end of a file is copied once more and no page is written in two pieces.
constexpr std::size_t kBlock = std::size_t{27} * 4096;

// Runs all of the input through the codec. Throws when there is no memory for a block.
template <typename Codec>
int convertBlocks(Codec codec, const Input& input, Output& output) {
    std::vector<unsigned char> in(kBlock);
    std::vector<unsigned char> out(Codec::outputSize(kBlock));
    std::size_t count = kBlock;
    while (count == kBlock) {
        const ssize_t result = input.read(in.data(), kBlock);
        if (result < 0) {
            return kB64IoError;
        }
        count = static_cast<std::size_t>(result);
        std::size_t length = codec.convert(in.data(), count, out.data());
        if (count < kBlock) {
            length += codec.finish(out.data() + length);
        }
        if (output.write(out.data(), length) < 0) {
            return kB64IoError;
        }
    }
    // Standard output stays open, so closing cannot tell whether its last bytes went out.
    return !output.isStandard() || output.flush() == 0 ? kB64Okay : kB64IoError;
}

int convert(int operation, int lineSize, const Input& input, Output& output) {
    try {
        return operation == kB64Encode ? convertBlocks(OrvBase64Encoder(lineSize), input, output)
                                       : convertBlocks(OrvBase64Decoder(), input, output);
    } catch (const std::bad_alloc&) {
        return kB64IoError;
    }
}

}  // namespace

int b64(int operation, const std::string& input, const std::string& output, int lineSize) {
    detail[0] = '\0';
    Input in(input);
    if (!in.isOpen()) {
        return kB64FileError;
    }
    Output out(output);
    if (!out.isOpen()) {
        return kB64FileError;
    }
    int result = convert(operation, lineSize, in, out);
    if (out.close() < 0) {
        result = kB64IoError;
    }
    if (in.close() < 0) {
        result = kB64IoError;
    }
    return result;
}

std::string b64Message(int code) {
    // Kept: code 5 calls itself 004 too.
    static constexpr std::array<const char*, 6> kTexts = {
        "b64:000:Invalid Message Code.",
        "b64:001:Syntax Error -- check help for usage.",
        "b64:002:File Error Opening/Creating Files.",
        "b64:003:File I/O Error -- Note: output file not removed.",
        "b64:004:Error on output file close.",
        "b64:004:linesize set to minimum.",
    };
    if (detail[0] != '\0') {
        return detail.data();
    }
    const bool known = code > 0 && code < static_cast<int>(kTexts.size());
    return kTexts[known ? static_cast<std::size_t>(code) : 0];
}
