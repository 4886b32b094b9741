// The page and its sheets over HTTP, to browsers on this machine. The library behind it is known to
// BoundedServer and PageServer.cpp alone.
//
// It answers to the names of this machine only, takes changes only with the token that was printed at the start, and
// bounds what a stranger can make it hold: requests, bodies, connections, time.
#pragma once

#include "switchctl/serve/Desk.h"

#include <cstdint>
#include <memory>
#include <string>

struct PageAddress {
    std::string host;  // "127.0.0.1", "::1", "localhost"
    std::uint16_t port = 0;

    // "127.0.0.1:8025", "[::1]:8025", "8025". Throws UsageError for what is not of this machine alone.
    static PageAddress parse(const std::string& text);
    // As it stands in a URL: with brackets where it needs them.
    std::string text() const;
};

class PageServer {
public:
    // Without a token nothing can be changed.
    PageServer(Desk& desk, PageAddress address, std::string token);
    ~PageServer();
    PageServer(const PageServer&) = delete;
    PageServer& operator=(const PageServer&) = delete;

    // Takes the address; port 0 becomes a free one. Throws Refused when somebody else has it.
    PageAddress bind();
    // Serves until stop(), which any thread may call.
    void run();
    void stop();

    static std::string newToken();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
