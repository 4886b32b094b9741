// The fixture of the restore: files on flash with ages, and starts from them.
#pragma once

#include "testing/mesgq/MesgQTest.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>
#include <string>
#include <utility>

class MesgQRestoreTest : public MesgQTest {
protected:
    // A file of a queue; files written later are newer.
    void file(const std::string& path, const std::string& bytes) {
        switch_.root().write(path, bytes);
        const timespec times[2] = {{++written_, 0}, {written_, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, switch_.root().at(path).c_str(), times, 0), 0);
    }
    void sendFile(const std::string& name, const std::string& text) {
        file(std::string(kSendDir) + "/" + name, messageFile(text) + stateBlock());
    }
    // Configured and open, log and trace still to be taken.
    void start(const Attributes& quotas = {}) {
        configure(quotas);
        takeLog();
        takeTrace();
        queue_->setMonitorReady();
        queue_->oneSecondChores();
    }
    static std::pair<int, std::string> cannotOpenOrder(const char* directory) {
        return {16, std::string("Unable to open file ") + directory + "/order"};
    }

    std::time_t written_ = 1600000000;
};
