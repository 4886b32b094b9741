// How Base64 opens and closes its files. The program is linked so that fopen and fclose go through here.
#include "mesg/MesgTest.h"
#include "mesg/OrvBase64.h"

#include <cerrno>
#include <cstdio>
#include <map>

using testing::ElementsAre;

namespace {

std::map<std::FILE*, std::string> opened;  // while a test watches
std::vector<std::string> modes;
std::vector<std::string> closed;  // the paths in their order
bool watching = false;
std::string failingClose;  // the end of the path

class OrvBase64Streams : public MesgTest {
protected:
    OrvBase64Streams() {
        writeFile("/tmp/in", "Man");
        modes.clear();
        closed.clear();
        watching = true;
    }
    ~OrvBase64Streams() override {
        watching = false;
        failingClose.clear();
        opened.clear();
    }
};

}  // namespace

extern "C" {

std::FILE* __real_fopen64(const char* path, const char* mode);
std::FILE* __wrap_fopen64(const char* path, const char* mode) {
    std::FILE* const file = __real_fopen64(path, mode);
    if (watching && file != nullptr) {
        opened[file] = path;
        modes.emplace_back(mode);
    }
    return file;
}

int __real_fclose(std::FILE* file);
int __wrap_fclose(std::FILE* file) {
    const auto known = opened.find(file);
    const bool fails = known != opened.end() && !failingClose.empty() && known->second.ends_with(failingClose);
    if (known != opened.end()) {
        closed.push_back(known->second);
        opened.erase(known);
    }
    const int result = __real_fclose(file);
    if (fails) {
        errno = EIO;
        return EOF;
    }
    return result;
}

}  // extern "C"

TEST_F(OrvBase64Streams, opensTheOutputForReadingToo) {
    EXPECT_EQ(b64(kB64Encode, "/tmp/in", "/tmp/out", 72), 0);
    EXPECT_THAT(modes, ElementsAre("rb", "w+b"));
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
