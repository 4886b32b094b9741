// Base64, both ways, in memory and from file to file. The first two bytes say how long lines are and in what pieces the
// rest comes: neither shows in what comes out. Every eighth size of pieces has files, which are dear.
#include "fuzz/Stage.h"
#include "fuzz/Target.h"
#include "mesg/OrvBase64.h"
#include "mesg/OrvBase64Codec.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace orv_fuzz {

namespace {

// The whole stream, in pieces of so many bytes.
template <typename Codec>
std::string convert(Codec codec, const std::string& bytes, std::size_t piece) {
    std::string all;
    std::vector<unsigned char> out(Codec::outputSize(piece));
    const auto* const from = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        // A copy of its own: a byte behind its end is not the next piece's.
        const std::vector<unsigned char> in(from + at, from + std::min(at + piece, bytes.size()));
        const std::size_t length = codec.convert(in.data(), in.size(), out.data());
        EXPECT_LE(length, out.size());
        all.append(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(length));
    }
    const std::size_t length = codec.finish(out.data());
    EXPECT_LE(length, out.size());
    return all.append(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(length));
}

std::size_t lengthOf(std::size_t bytes, std::size_t lineSize) {
    const std::size_t groups = (bytes + 2) / 3;
    const std::size_t perLine = std::max<std::size_t>(lineSize / 4, 1);
    return groups * 4 + (groups + perLine - 1) / perLine * 2;
}

void checkLines(const std::string& encoded, std::size_t lineSize) {
    const std::size_t longest = std::max<std::size_t>(lineSize, 4);
    for (std::size_t at = 0; at < encoded.size();) {
        const std::size_t end = encoded.find("\r\n", at);
        ASSERT_NE(end, std::string::npos);
        ASSERT_LE(end - at, longest);
        at = end + 2;
    }
}

constexpr char kPlain[] = "/tmp/plain";
constexpr char kEncoded[] = "/tmp/encoded";
constexpr char kDecoded[] = "/tmp/decoded";

std::string fileOf(const char* path) {
    return Stage::get().root().read(path);
}

// What the codec makes of the same bytes.
void checkFiles(const std::string& bytes, std::size_t lineSize) {
    const OrvBase64Encoder encoder(static_cast<int>(lineSize));
    const std::string encoded = convert(encoder, bytes, 3 * bytes.size() + 3);
    Stage::get().root().write(kPlain, bytes);
    EXPECT_EQ(b64(kB64Encode, kPlain, kEncoded, static_cast<int>(lineSize)), kB64Okay);
    EXPECT_TRUE(fileOf(kEncoded) == encoded);
    EXPECT_EQ(b64(kB64Encode + 1, kEncoded, kDecoded, 0), kB64Okay);
    EXPECT_TRUE(fileOf(kDecoded) == bytes);
    EXPECT_EQ(b64(0, kPlain, kDecoded, 0), kB64Okay);
    EXPECT_TRUE(fileOf(kDecoded) == convert(OrvBase64Decoder(), bytes, bytes.size() + 1));
}

// Files that cannot be opened; the code of a message may be anything.
void checkFailures(int code) {
    Stage::get().root().write(kPlain, "");
    EXPECT_EQ(b64(kB64Encode, "/tmp/no such file", kEncoded, 72), kB64FileError);
    EXPECT_EQ(b64Message(code), "fopen(/tmp/no such file): No such file or directory");
    EXPECT_EQ(b64(kB64Encode, kPlain, "/tmp", 72), kB64FileError);
    EXPECT_EQ(b64(kB64Encode, "/tmp", kEncoded, 72), kB64IoError);
    EXPECT_EQ(b64(kB64Encode, kPlain, kEncoded, 72), kB64Okay);
    EXPECT_TRUE(b64Message(code).starts_with("b64:00"));
}

void runFiles(const std::string& bytes, std::size_t lineSize, std::size_t piece) {
    constexpr std::size_t kFiles = 8;
    if (piece % kFiles != 0) {
        return;
    }
    if (bytes.empty()) {
        checkFailures(static_cast<int>(lineSize) - 128);
        return;
    }
    checkFiles(bytes, lineSize);
}

void run(Bytes data) {
    if (data.size() < 2) {
        return;
    }
    const std::size_t lineSize = data[0];
    const std::size_t piece = data[1] + std::size_t{1};
    const std::string bytes = textOf(data.subspan(2));

    const OrvBase64Encoder encoder(static_cast<int>(lineSize));
    const std::string encoded = convert(encoder, bytes, 3 * piece);
    EXPECT_EQ(encoded.size(), lengthOf(bytes.size(), lineSize));
    checkLines(encoded, lineSize);
    EXPECT_EQ(convert(encoder, bytes, 3 * bytes.size() + 3), encoded);
    EXPECT_EQ(convert(OrvBase64Decoder(), encoded, piece), bytes);

    // The input as Base64: whatever is none of it is skipped.
    const std::string decoded = convert(OrvBase64Decoder(), bytes, piece);
    EXPECT_LE(decoded.size(), bytes.size());
    EXPECT_EQ(convert(OrvBase64Decoder(), convert(encoder, decoded, 3 * piece), piece), decoded);
    runFiles(bytes, lineSize, piece);
}

std::vector<Seed> seeds() {
    const std::string head = {72, 11};
    const std::string files = {72, 15};
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    std::string pages = all;
    while (pages.size() <= 4096) {
        pages += pages;
    }
    return {{"empty", head},
            {"one_byte", head + "x"},
            {"all_bytes", head + all},
            {"short_lines", std::string{3, 1} + all},
            {"encoded", head + convert(OrvBase64Encoder(72), all, 300)},
            {"group_cut_short", head + "QUJDRA=\r\nQQ"},
            {"files", files + all},
            {"no_files", files},
            {"several_pages", files + pages}};
}

}  // namespace

const Target kBase64{"base64", run, seeds};

}  // namespace orv_fuzz
