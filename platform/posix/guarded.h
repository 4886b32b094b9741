// Calls into somebody who may throw: an exception that comes back is logged and goes no further.
#pragma once

#include <cxxabi.h>
#include <syslog.h>

#include <exception>

// True when the call returned. A thread that ends itself in there unwinds as if by an exception, which goes on.
template <typename Call>
bool guarded(const char* what, Call&& call) {
    try {
        call();
        return true;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& error) {
        syslog(LOG_ERR, "%s threw an exception: %s", what, error.what());
    } catch (...) {
        syslog(LOG_ERR, "%s threw an exception", what);
    }
    return false;
}
