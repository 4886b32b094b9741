// Test support: a shell that does what a test says, and writes down what it was asked to run.
//
// One at a time; run() is what the code under test gets. Any thread runs commands.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

class ScriptedShell {
public:
    // The commands work below this directory, which is cut out of what is written down.
    explicit ScriptedShell(std::string root);
    ~ScriptedShell();
    ScriptedShell(const ScriptedShell&) = delete;
    ScriptedShell& operator=(const ScriptedShell&) = delete;

    static int run(const char* command);

    // "Runs" the support command: the capture's output becomes this text.
    void support(const std::string& output);
    // The command with this number (1 is the first) finds no shell, for this reason.
    void refuse(unsigned number, int error);
    // Called before each command, on the thread that runs it.
    std::function<void(const std::string& command)> before;

    std::vector<std::string> commands() const;

private:
    int perform(const std::string& command);
    void compress(const std::string& command) const;

    const std::string root_;
    std::string output_;
    bool hasOutput_ = false;
    unsigned refused_ = 0;
    int error_ = 0;
    mutable std::mutex lock_;
    std::vector<std::string> commands_;
};
