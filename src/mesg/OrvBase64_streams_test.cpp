// How Base64 opens, reads, writes and closes its files. The program is linked so that these calls go through here.
#include "mesg/OrvBase64.h"
#include "testing/mesg/MesgTest.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <map>

using testing::ElementsAre;

namespace {

std::map<int, std::string> opened;  // while a test watches
std::vector<int> flagsOfOpening;
std::vector<std::string> closed;  // the paths in their order
bool watching = false;
std::string failingClose;  // the end of the path
// Every second opening fails with this; 0: none does.
int openingError = 0;
bool openingFailed = false;
// A signal comes in every second call, and cuts every other one short.
bool interrupting = false;
bool interruptedBefore = false;

bool isInterrupted(int file) {
    interruptedBefore = interrupting && opened.count(file) > 0 && !interruptedBefore;
    errno = interruptedBefore ? EINTR : errno;
    return interruptedBefore;
}

class OrvBase64Streams : public MesgTest {
protected:
    OrvBase64Streams() {
        writeFile("/tmp/in", "Man");
        flagsOfOpening.clear();
        closed.clear();
        watching = true;
    }
    ~OrvBase64Streams() override {
        watching = false;
        openingError = 0;
        interrupting = false;
        failingClose.clear();
        opened.clear();
    }
};

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

}  // namespace

extern "C" {

int __real_orvOpenUnlinked(const char* path, std::size_t trusted, int flags, mode_t mode);
int __wrap_orvOpenUnlinked(const char* path, std::size_t trusted, int flags, mode_t mode) {
    openingFailed = watching && openingError != 0 && !openingFailed;
    if (openingFailed) {
        errno = openingError;
        return -1;
    }
    const int file = __real_orvOpenUnlinked(path, trusted, flags, mode);
    if (watching && file >= 0) {
        opened[file] = path;
        flagsOfOpening.push_back(flags & O_ACCMODE);
    }
    return file;
}

ssize_t __real_read(int file, void* data, std::size_t size);
ssize_t __wrap_read(int file, void* data, std::size_t size) {
    return isInterrupted(file) ? -1 : __real_read(file, data, interrupting && size > 1 ? size / 2 : size);
}

ssize_t __real_write(int file, const void* data, std::size_t size);
ssize_t __wrap_write(int file, const void* data, std::size_t size) {
    return isInterrupted(file) ? -1 : __real_write(file, data, interrupting && size > 1 ? size / 2 : size);
}

int __real_close(int file);
int __wrap_close(int file) {
    const auto known = opened.find(file);
    const bool fails = known != opened.end() && !failingClose.empty() && known->second.ends_with(failingClose);
    const bool interrupted = known != opened.end() && interrupting;
    if (known != opened.end()) {
        closed.push_back(known->second);
        opened.erase(known);
    }
    const int result = __real_close(file);
    errno = fails ? EIO : interrupted ? EINTR : errno;
    return fails || interrupted ? -1 : result;
}

}  // extern "C"

TEST_F(OrvBase64Streams, opensTheOutputForReadingToo) {
    EXPECT_EQ(b64(kB64Encode, "/tmp/in", "/tmp/out", 72), 0);
    EXPECT_THAT(flagsOfOpening, ElementsAre(O_RDONLY, O_RDWR));
    EXPECT_TRUE(opened.empty()) << "both are closed";
}

TEST_F(OrvBase64Streams, closesTheOutputBeforeTheInput) {
    for (const int operation : {kB64Encode, 0}) {
        closed.clear();
        EXPECT_EQ(b64(operation, "/tmp/in", "/tmp/out", 72), 0);
        EXPECT_THAT(closed, ElementsAre(host("/tmp/out"), host("/tmp/in")));
    }
}

TEST_F(OrvBase64Streams, reportsAnInputThatCannotBeClosed) {
    failingClose = "/tmp/in";
    for (const int operation : {kB64Encode, 0}) {
        EXPECT_EQ(b64(operation, "/tmp/in", "/tmp/out", 72), 3);
        EXPECT_EQ(b64Message(3), "fclose(/tmp/in): Input/output error");
    }
}

TEST_F(OrvBase64Streams, reportsAnOutputThatCannotBeClosed) {
    failingClose = "/tmp/out";
    EXPECT_EQ(b64(kB64Encode, "/tmp/in", "/tmp/out", 72), 3);
    EXPECT_EQ(b64Message(3), "fclose(/tmp/out): Input/output error");
    EXPECT_TRUE(opened.empty()) << "the input is closed all the same";
}

TEST_F(OrvBase64Streams, isNotDisturbedByASignalInAnyCall) {
    const std::string bytes(200000, 'x');
    writeFile("/tmp/in", bytes);
    const auto before = openDescriptors();
    interrupting = true;
    openingError = EINTR;

    EXPECT_EQ(b64(kB64Encode, "/tmp/in", "/tmp/out", 72), 0);
    EXPECT_EQ(b64(0, "/tmp/out", "/tmp/back", 72), 0);

    watching = false;
    EXPECT_TRUE(readFile("/tmp/back") == bytes);
    EXPECT_EQ(openDescriptors(), before);
}

// A moment without descriptors or memory costs no attachment.
TEST_F(OrvBase64Streams, opensAtTheSecondTryWhatFailsForAMoment) {
    for (const int error : {EMFILE, ENOMEM, EIO}) {
        openingError = error;
        EXPECT_EQ(b64(kB64Encode, "/tmp/in", "/tmp/out", 72), 0) << error;
    }
    openingError = EACCES;
    EXPECT_EQ(b64(kB64Encode, "/tmp/in", "/tmp/out", 72), 2);
}
