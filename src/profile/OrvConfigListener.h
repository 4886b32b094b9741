// Who is told that a part of the configuration has been read or has failed. Main thread only.
#pragma once

class OrvConfigListener {
public:
    // Parts of a configuration read, in bit order.
    enum Part : unsigned { kFeatureFlag = 0, kServices = 1, kSendClient = 2, kIdentity = 3, kQueue = 4, kProfiles = 5 };

    virtual void configComplete(unsigned bit) = 0;

protected:
    ~OrvConfigListener() = default;
};

// Runs step() and then reports the part as complete, also when the step ends in an exception, which goes on: the
// configuration waits for every part, whatever became of it. Returns the step's result.
template <typename Step>
int orvCompleteAfter(OrvConfigListener& config, OrvConfigListener::Part part, const Step& step) {
    int result = 0;
    try {
        result = step();
    } catch (...) {
        config.configComplete(part);
        throw;
    }
    config.configComplete(part);
    return result;
}
