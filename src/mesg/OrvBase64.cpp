#include "mesg/OrvBase64.h"

#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "mesg/OrvBase64Codec.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <new>
#include <utility>
#include <vector>

namespace {

// Of the thread's last b64().
thread_local std::array<char, 1024> detail{};

void storeDetail(const char* call, const std::string& path, int error) {
    std::snprintf(detail.data(), detail.size(), "%s(%s): %s", call, path.c_str(), orvErrorText(error).c_str());
}

// A file of the switch, or a standard stream when the path is empty.
class File {
public:
    File(const std::string& path, const char* mode, std::FILE* standard) : path_(path), file_(standard) {
        if (path.empty()) {
            return;
        }
        const std::string hostPath = orvHostPath(path);
        file_ = std::fopen(hostPath.c_str(), mode);
        if (file_ == nullptr) {
            storeDetail("fopen", path_, errno);
        }
    }
    ~File() { static_cast<void>(close()); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::FILE* get() const { return file_; }

    // A standard stream stays open. 0, or -1 with the detail stored.
    int close() {
        std::FILE* file = std::exchange(file_, nullptr);
        if (file == nullptr || path_.empty() || std::fclose(file) == 0) {
            return 0;
        }
        storeDetail("fclose", path_, errno);
        return -1;
    }

private:
    const std::string& path_;
    std::FILE* file_;
};

// A multiple of three: only the last block of a file can end in a short group. Lines of 72 characters make whole pages
// of whole pages, so that no byte is copied through the streams' buffers and no page is written in two pieces.
constexpr std::size_t kBlock = 27 * 4096;

// Runs all of the input through the codec. Throws when there is no memory for a block.
template <typename Codec>
int convertBlocks(Codec codec, std::FILE* input, std::FILE* output) {
    std::vector<unsigned char> in(kBlock);
    std::vector<unsigned char> out(Codec::outputSize(kBlock));
    std::size_t count = kBlock;
    while (count == kBlock) {
        count = std::fread(in.data(), 1, kBlock, input);
        std::size_t length = codec.convert(in.data(), count, out.data());
        if (count < kBlock) {
            length += codec.finish(out.data() + length);
        }
        if (std::fwrite(out.data(), 1, length, output) != length) {
            return kB64IoError;
        }
    }
    // Standard output stays open, so closing cannot tell whether its last bytes went out.
    const bool flushed = output != stdout || std::fflush(output) == 0;
    return flushed && std::ferror(input) == 0 ? kB64Okay : kB64IoError;
}

int convert(int operation, int lineSize, std::FILE* input, std::FILE* output) {
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
    File in(input, "rb", stdin);
    if (in.get() == nullptr) {
        return kB64FileError;
    }
    File out(output, "w+b", stdout);
    if (out.get() == nullptr) {
        return kB64FileError;
    }
    int result = convert(operation, lineSize, in.get(), out.get());
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
