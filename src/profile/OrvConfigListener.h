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
