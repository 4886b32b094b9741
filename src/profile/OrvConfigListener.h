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

// Each runs step(), returns its result, and reports a part as complete, also when the step ends in an exception, which
// then goes on: the configuration waits for every part, whatever became of it.

// In any case: the step takes an answer.
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

// Only when the step fails: it sends a request, whose answer is to be waited for.
template <typename Step>
int orvCompleteUnlessSent(OrvConfigListener& config, OrvConfigListener::Part part, const Step& step) {
    int result = -1;
    try {
        result = step();
    } catch (...) {
        config.configComplete(part);
        throw;
    }
    if (result != 0) {
        config.configComplete(part);
    }
    return result;
}
