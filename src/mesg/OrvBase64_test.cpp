#include "mesg/OrvBase64.h"

#include "Descriptor.h"
#include "testing/SmallFlash.h"
#include "testing/mesg/MesgTest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <thread>

namespace {

class OrvBase64 : public MesgTest {
protected:
    std::string encoded(const std::string& bytes, int lineSize) {
        writeFile("/tmp/in", bytes);
        std::filesystem::remove(host("/tmp/out"));
        EXPECT_EQ(b64(kB64Encode, "/tmp/in", "/tmp/out", lineSize), 0);
        return readFile("/tmp/out");
    }
    std::string decoded(const std::string& text) {
        writeFile("/tmp/in", text);
        std::filesystem::remove(host("/tmp/out"));
        EXPECT_EQ(b64('d', "/tmp/in", "/tmp/out", 72), 0);
        return readFile("/tmp/out");
    }
};

std::string randomBytes(std::size_t count) {
    std::mt19937 random(static_cast<std::uint32_t>(count));
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

// Bit by bit, as slowly as it is plain.
std::string plainlyEncoded(const std::string& bytes, std::size_t groupsPerLine) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t at = 0, groups = 0; at < bytes.size(); at += 3) {
        for (std::size_t digit = 0; digit < 4; ++digit) {
            std::size_t value = 0;
            for (std::size_t bit = 6 * digit; bit < 6 * digit + 6; ++bit) {
                const std::size_t byte = at + bit / 8;
                const bool set = byte < bytes.size() && (bytes[byte] >> (7 - bit % 8) & 1) != 0;
                value = 2 * value + set;
            }
            text += at + digit > bytes.size() ? '=' : alphabet[value];
        }
        if (++groups == groupsPerLine || at + 3 >= bytes.size()) {
            text += "\r\n";
            groups = 0;
        }
    }
    return text;
}

// Puts another file in the place of a descriptor while it lives.
class Redirected {
public:
    Redirected(int descriptor, const std::string& path, int flags) : descriptor_(descriptor), saved_(dup(descriptor)) {
        const Descriptor file(open(path.c_str(), flags, 0600));
        EXPECT_TRUE(file);
        EXPECT_EQ(dup2(file.get(), descriptor_), descriptor_);
    }
    ~Redirected() { EXPECT_EQ(dup2(saved_.get(), descriptor_), descriptor_); }
    Redirected(const Redirected&) = delete;
    Redirected& operator=(const Redirected&) = delete;

private:
    int descriptor_;
    Descriptor saved_;
};

}  // namespace

TEST_F(OrvBase64, encodesKnownTexts) {
    EXPECT_EQ(encoded("Ma", 72), "TWE=\r\n");
    EXPECT_EQ(encoded("M", 72), "TQ==\r\n");
    EXPECT_EQ(encoded("Man", 72), "TWFu\r\n");
    EXPECT_EQ(encoded("foobar", 72), "Zm9vYmFy\r\n");
    EXPECT_EQ(encoded(std::string("\xff\xff\xfe\x00\x00\x3f", 6), 72), "///+AAA/\r\n");
}

TEST_F(OrvBase64, makesNothingOfAnEmptyFile) {
    EXPECT_EQ(encoded("", 72), "");
    EXPECT_EQ(decoded(""), "");
}

TEST_F(OrvBase64, fillsAnOldOutputFileAnew) {
    writeFile("/tmp/in", "Man");
    writeFile("/tmp/out", std::string(1000, 'x'));
    EXPECT_EQ(b64(kB64Encode, "/tmp/in", "/tmp/out", 72), 0);
    EXPECT_EQ(readFile("/tmp/out"), "TWFu\r\n");
}

TEST_F(OrvBase64, endsAFullLastLineOnce) {
    std::string line;
    for (int i = 0; i < 18; ++i) {
        line += "TWFu";
    }
    std::string bytes;
    for (int i = 0; i < 18; ++i) {
        bytes += "Man";
    }
    EXPECT_EQ(encoded(bytes, 72), line + "\r\n");
    EXPECT_EQ(encoded(bytes + "M", 72), line + "\r\nTQ==\r\n");
    EXPECT_EQ(encoded(bytes + bytes, 72), line + "\r\n" + line + "\r\n");
}

struct LineCase {
    int lineSize;
    std::size_t groups;
};

TEST_F(OrvBase64, cutsTheLineSizeDownToWholeGroupsButNeverBelowOne) {
    const LineCase cases[] = {{72, 18}, {75, 18}, {76, 19}, {8, 2},  {7, 1},    {4, 1},
                              {3, 1},   {1, 1},   {0, 1},   {-1, 1}, {-100, 1}, {2147483647, 536870911}};
    const std::string bytes = randomBytes(500);
    for (const LineCase& c : cases) {
        EXPECT_EQ(encoded(bytes, c.lineSize), plainlyEncoded(bytes, c.groups)) << c.lineSize;
    }
}

TEST_F(OrvBase64, encodesAndDecodesEverySize) {
    for (std::size_t size = 0; size < 130; ++size) {
        const std::string bytes = randomBytes(size);
        const std::string text = encoded(bytes, 72);
        ASSERT_EQ(text, plainlyEncoded(bytes, 18)) << size;
        ASSERT_EQ(decoded(text), bytes) << size;
    }
}

TEST_F(OrvBase64, keepsLinesWholeAcrossItsBlocks) {
    constexpr std::size_t kBlock = 27 * 4096;
    for (const std::size_t size : {kBlock - 1, kBlock, kBlock + 1, 2 * kBlock, 3 * kBlock + 2}) {
        const std::string bytes = randomBytes(size);
        const std::string text = encoded(bytes, 80);
        ASSERT_TRUE(text == plainlyEncoded(bytes, 20)) << size;
        ASSERT_TRUE(decoded(text) == bytes) << size;
    }
}

struct DecodeCase {
    const char* text;
    const char* bytes;
};

TEST_F(OrvBase64, decodesWhateverIsBase64AndSkipsTheRest) {
    const DecodeCase cases[] = {
        {"TWFu", "Man"},
        {"TWE=", "Ma"},
        {"TQ==", "M"},
        {"TWE", "Ma"},
        {"TQ", "M"},
        {"T", ""},
        {"====", ""},
        {"\r\n .-_", ""},
        {"T W\r\nF*u", "Man"},
        {"=T=W=F=u=", "Man"},
        {"TWFuT", "Man"},
        {"TWFuTQ", "ManM"},
        {"TQ==TWFu", "M\x04\xd6\x16"},
    };
    for (const DecodeCase& c : cases) {
        EXPECT_EQ(decoded(c.text), std::string(c.bytes)) << c.text;
    }
}

TEST_F(OrvBase64, decodesForEveryOperationButOne) {
    writeFile("/tmp/in", "TWFu");
    for (const int operation : {0, 69, 100, 102, -1, 357}) {
        EXPECT_EQ(b64(operation, "/tmp/in", "/tmp/out", 72), 0);
        EXPECT_EQ(readFile("/tmp/out"), "Man") << operation;
    }
    EXPECT_EQ(b64('e', "/tmp/in", "/tmp/out", 72), 0);
    EXPECT_EQ(readFile("/tmp/out"), "VFdGdQ==\r\n");
}

TEST_F(OrvBase64, namesTheFileThatCannotBeOpened) {
    EXPECT_EQ(b64(kB64Encode, "/tmp/gone%s", "/tmp/out", 72), 2);
    EXPECT_EQ(b64Message(2), "fopen(/tmp/gone%s): No such file or directory");
    EXPECT_FALSE(exists("/tmp/out"));

    writeFile("/tmp/in", "Man");
    EXPECT_EQ(b64(kB64Encode, "/tmp/in", "/gone/out", 72), 2);
    EXPECT_EQ(b64Message(2), "fopen(/gone/out): No such file or directory");
}

TEST_F(OrvBase64, reportsAnInputThatCannotBeRead) {
    for (const int operation : {kB64Encode, 0}) {
        EXPECT_EQ(b64(operation, "/tmp", "/tmp/out", 72), 3);
        EXPECT_EQ(b64Message(3), "b64:003:File I/O Error -- Note: output file not removed.");
    }
}

// Kept: what is left of the last page is written in closing.
TEST_F(OrvBase64, reportsAnOutputThatCannotBeClosed) {
    writeFile("/tmp/in", "TWFu");
    const SmallFlash flash(1);
    for (const int operation : {kB64Encode, 0}) {
        EXPECT_EQ(b64(operation, "/tmp/in", "/tmp/full", 72), 3);
        EXPECT_EQ(b64Message(3), "fclose(/tmp/full): File too large");
    }
}

TEST_F(OrvBase64, stopsWhenTheOutputIsFull) {
    writeFile("/tmp/in", std::string(1000000, 'A'));
    const SmallFlash flash(10000);
    for (const int operation : {kB64Encode, 0}) {
        EXPECT_EQ(b64(operation, "/tmp/in", "/tmp/full", 72), 3);
        EXPECT_EQ(b64Message(3), "b64:003:File I/O Error -- Note: output file not removed.");
    }
}

TEST_F(OrvBase64, followsNoLinkAndWritesToNoFileWithASecondName) {
    writeFile("/tmp/in", "Man");
    writeFile("/tmp/precious", "precious");
    std::filesystem::create_symlink(host("/tmp/precious"), host("/tmp/link"));
    std::filesystem::create_symlink(host("/tmp/new"), host("/tmp/dangling"));
    std::filesystem::create_hard_link(host("/tmp/precious"), host("/tmp/second"));
    ASSERT_EQ(mkfifo(host("/tmp/pipe").c_str(), 0600), 0);
    EXPECT_EQ(b64(kB64Encode, "/tmp/link", "/tmp/out", 72), 2);
    EXPECT_EQ(b64Message(2), "fopen(/tmp/link): Too many levels of symbolic links");
    for (const char* output : {"/tmp/link", "/tmp/dangling", "/tmp/second", "/tmp/pipe"}) {
        EXPECT_EQ(b64(kB64Encode, "/tmp/in", output, 72), 2) << output;
    }
    EXPECT_EQ(readFile("/tmp/precious"), "precious");
    EXPECT_FALSE(exists("/tmp/new"));
}

TEST_F(OrvBase64, takesStandardInputAndOutputForEmptyPaths) {
    writeFile("/tmp/in", "Man");
    std::fflush(stdout);
    {
        const Redirected input(STDIN_FILENO, host("/tmp/in"), O_RDONLY);
        const Redirected output(STDOUT_FILENO, host("/tmp/out"), O_WRONLY | O_CREAT);
        EXPECT_EQ(b64(kB64Encode, "", "", 72), 0);
    }
    std::clearerr(stdin);
    EXPECT_EQ(readFile("/tmp/out"), "TWFu\r\n");
}

TEST_F(OrvBase64, reportsAStandardOutputThatIsFull) {
    writeFile("/tmp/in", "Man");
    std::fflush(stdout);
    {
        const Redirected output(STDOUT_FILENO, "/dev/full", O_WRONLY);
        EXPECT_EQ(b64(kB64Encode, "/tmp/in", "", 72), 3);
    }
    std::clearerr(stdout);
    EXPECT_EQ(b64Message(3), "b64:003:File I/O Error -- Note: output file not removed.");
}

TEST_F(OrvBase64, cutsALongDetail) {
    const std::string path = "/" + std::string(2000, 'p');
    EXPECT_EQ(b64(kB64Encode, path, "/tmp/out", 72), 2);
    EXPECT_EQ(b64Message(2), ("fopen(" + path).substr(0, 1023));
}

struct MessageCase {
    int code;
    const char* text;
};

TEST_F(OrvBase64, hasATextForEveryCode) {
    const MessageCase cases[] = {
        {1, "b64:001:Syntax Error -- check help for usage."},
        {2, "b64:002:File Error Opening/Creating Files."},
        {3, "b64:003:File I/O Error -- Note: output file not removed."},
        {4, "b64:004:Error on output file close."},
        {5, "b64:004:linesize set to minimum."},
        {0, "b64:000:Invalid Message Code."},
        {6, "b64:000:Invalid Message Code."},
        {-1, "b64:000:Invalid Message Code."},
    };
    encoded("Man", 72);  // leaves no detail
    for (const MessageCase& c : cases) {
        EXPECT_EQ(b64Message(c.code), c.text);
    }
}

TEST_F(OrvBase64, prefersTheDetailOfTheLastCallForAnyCode) {
    EXPECT_EQ(b64(kB64Encode, "/gone", "/tmp/out", 72), 2);
    for (const int code : {0, 2, 5, 99}) {
        EXPECT_EQ(b64Message(code), "fopen(/gone): No such file or directory");
    }
    encoded("Man", 72);
    EXPECT_EQ(b64Message(2), "b64:002:File Error Opening/Creating Files.");
}

TEST_F(OrvBase64, keepsADetailForEachThread) {
    EXPECT_EQ(b64(kB64Encode, "/gone", "/tmp/out", 72), 2);
    std::string other;
    std::thread([&other] { other = b64Message(2); }).join();
    EXPECT_EQ(other, "b64:002:File Error Opening/Creating Files.");
    EXPECT_EQ(b64Message(2), "fopen(/gone): No such file or directory");
}
