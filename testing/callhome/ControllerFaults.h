// Test support: lets a test step in where the controller calls its parts, the memory and the thread library.
//
// The program is linked with --wrap for each call. Only calls of the thread on which the object lives are told, so the
// workers go on undisturbed; what the shell does is the exception.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

class OrvCHMesgQ;

struct ControllerFaults {
    // The calls, by name.
    static constexpr char kIncoming[] = "processIncomingMesgQ";
    static constexpr char kCapture[] = "OrvCHCapture::tick";
    static constexpr char kQueue[] = "OrvCHMesgQ::oneSecondChores";
    static constexpr char kClient[] = "OrvCHClient::oneSecondTick";
    static constexpr char kCaptureProbe[] = "OrvCHCapture::probe";
    static constexpr char kLaunch[] = "Mt::Threader::launch";
    static constexpr char kInsert[] = "Hsb_Slot::insert";  // told when it has been done
    static constexpr char kNothrowNew[] = "nothrow new";
    static constexpr char kNew[] = "new";

    // Told of every call before it is made; true makes it fail: by its result where it has one, else by an exception.
    explicit ControllerFaults(std::function<bool(const std::string& name)> call);
    ~ControllerFaults();
    ControllerFaults(const ControllerFaults&) = delete;
    ControllerFaults& operator=(const ControllerFaults&) = delete;

    // The queue that the last chores belonged to; null before.
    static OrvCHMesgQ* queue();
    // What stands in for the shell, on the capture thread; set before the daemon starts.
    static std::function<int(const char* command)>& shell();

    const std::function<bool(const std::string& name)> call;

private:
    ControllerFaults* const outer_;
};

// Fails the n-th call (from 1) of this name.
std::function<bool(const std::string&)> failNth(const char* name, unsigned n);
