// Test support: lets a test step in where the controller calls its parts, under the names that the compiler gives to
// these calls; the program is linked with --wrap for each. Calls of the thread on which the object lives.
#pragma once

#include <functional>
#include <string>

class OrvCHMesgQ;

struct ControllerParts {
    // The calls, by name.
    static constexpr char kIncoming[] = "processIncomingMesgQ";
    static constexpr char kCapture[] = "OrvCHCapture::tick";
    static constexpr char kQueue[] = "OrvCHMesgQ::oneSecondChores";
    static constexpr char kClient[] = "OrvCHClient::oneSecondTick";
    static constexpr char kCaptureProbe[] = "OrvCHCapture::probe";
    static constexpr char kInserted[] = "Hsb_Slot::insert";  // told when it has been done; cannot fail

    // Told of every call before it is made; true makes it fail by an exception. One at a time.
    explicit ControllerParts(std::function<bool(const std::string& name)> call);
    ~ControllerParts();
    ControllerParts(const ControllerParts&) = delete;
    ControllerParts& operator=(const ControllerParts&) = delete;

    // The queue that the last chores belonged to; null before.
    static OrvCHMesgQ* queue();

    const std::function<bool(const std::string& name)> call;
};
