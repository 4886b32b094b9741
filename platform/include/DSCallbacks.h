// What the attribute store client tells its user. Called on the main thread, never from within dsClient::init.
#pragma once

class DSCallbacks {
public:
    // The attribute store can be used.
    virtual void DSApiReady() = 0;
    virtual ~DSCallbacks() = default;
};
