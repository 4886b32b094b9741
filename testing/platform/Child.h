// Test support: a child process whose output stands in a pipe. It does not outlive the test.
#pragma once

#include "Descriptor.h"

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

using Words = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

class Child {
public:
    static constexpr int PATIENCE_MS = 30000;

    // preparation runs in the child before the program does; it allocates nothing.
    Child(const std::string& program, const Words& arguments, const Environment& environment,
          const std::function<void()>& preparation = nullptr);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void signal(int number) const;
    pid_t pid() const { return pid_; }

    // The next line with its line feed; what there was at the end of the output or of our patience.
    std::string readLine();
    // All further output, until it ends.
    std::string readAll();
    // The exit status, or minus the signal that ended it. One that outlasts our patience fails the test and is killed.
    int wait();

private:
    bool readMore();

    pid_t pid_ = -1;
    Descriptor output_;
    std::string unread_;
};
