#include "box/WakeUp.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string>

namespace box {
namespace {

struct TwoEnds {
    std::shared_ptr<PipeEnd::Pipe> pipe = std::make_shared<PipeEnd::Pipe>();
    std::optional<PipeEnd> reading{std::in_place, pipe, true};
    std::optional<PipeEnd> writing{std::in_place, pipe, false};
};

}  // namespace

TEST(Counter, isReadableFromAWriteToARead) {
    Counter counter(0);
    std::uint64_t value = 3;
    EXPECT_EQ(counter.ready(0), POLLOUT);
    EXPECT_EQ(counter.read(&value, sizeof value), -EAGAIN);

    EXPECT_EQ(counter.write(&value, sizeof value), 8);
    EXPECT_EQ(counter.write(&value, sizeof value), 8);
    EXPECT_EQ(counter.ready(0), POLLIN | POLLOUT);

    EXPECT_EQ(counter.read(&value, sizeof value), 8);
    EXPECT_EQ(value, 6u);
    EXPECT_EQ(counter.ready(0), POLLOUT);
}

TEST(Counter, takesNoMoreThanItCanCount) {
    Counter counter(0);
    std::uint64_t value = UINT64_MAX - 1;
    EXPECT_EQ(counter.write(&value, sizeof value), 8);
    EXPECT_EQ(counter.ready(0), POLLIN);
    value = 1;
    EXPECT_EQ(counter.write(&value, sizeof value), -EAGAIN);
    EXPECT_EQ(counter.write(&value, 4), -EINVAL);
    EXPECT_EQ(counter.read(&value, 4), -EINVAL);
}

TEST(PipeEnd, bringsBytesInTheirOrder) {
    TwoEnds ends;
    char bytes[8] = "";
    EXPECT_EQ(ends.reading->ready(0), 0);
    EXPECT_EQ(ends.reading->read(bytes, sizeof bytes), -EAGAIN);

    EXPECT_EQ(ends.writing->write("XY", 2), 2);
    EXPECT_EQ(ends.writing->write("Z", 1), 1);
    EXPECT_EQ(ends.reading->ready(0), POLLIN);
    EXPECT_EQ(ends.reading->read(bytes, 2), 2);
    EXPECT_EQ(std::string(bytes, 2), "XY");
    EXPECT_EQ(ends.reading->ready(0), POLLIN);
    EXPECT_EQ(ends.reading->read(bytes, sizeof bytes), 1);
    EXPECT_EQ(ends.reading->ready(0), 0);
}

TEST(PipeEnd, isFullAtSomeTime) {
    TwoEnds ends;
    const std::string much(65535, 'X');
    EXPECT_EQ(ends.writing->write(much.data(), much.size()), 65535);
    EXPECT_EQ(ends.writing->ready(0), POLLOUT);
    EXPECT_EQ(ends.writing->write("YZ", 2), 1);
    EXPECT_EQ(ends.writing->ready(0), 0);
    EXPECT_EQ(ends.writing->write("Z", 1), -EAGAIN);
}

TEST(PipeEnd, endsWithTheOtherEnd) {
    TwoEnds ends;
    char byte = 0;
    ends.writing->write("X", 1);
    ends.writing.reset();
    EXPECT_EQ(ends.reading->ready(0), POLLIN | POLLHUP);
    EXPECT_EQ(ends.reading->read(&byte, 1), 1);
    EXPECT_EQ(ends.reading->read(&byte, 1), 0);

    TwoEnds others;
    others.reading.reset();
    EXPECT_EQ(others.writing->ready(0) & POLLERR, POLLERR);
    EXPECT_EQ(others.writing->write("X", 1), -EPIPE);
}

TEST(PipeEnd, hasOneDirection) {
    TwoEnds ends;
    char byte = 0;
    EXPECT_EQ(ends.reading->write("X", 1), -EBADF);
    EXPECT_EQ(ends.writing->read(&byte, 1), -EBADF);
}

}  // namespace box
