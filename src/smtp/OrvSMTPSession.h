// What is learnt of a mail server in the course of a connection, and its answers. Send thread only.
#pragma once

#include <array>
#include <cstdint>

// What is known of a connection's server.
struct OrvSMTPSession {
    // The first digit of the reply that agrees to what was said last.
    char wanted = '2';
    // The last reply, as far as there is room: no memory is asked for where it counts.
    std::array<char, 4096> reply{};
    // What came behind it, and was not asked for.
    std::array<char, 128> surplus{};
    // What the server offers.
    bool eightBitTexts = false;
    bool sizes = false;
    std::uint64_t largestMail = 0;  // bytes; 0: any
};

// A server's answer.
struct OrvSMTPReply {
    const char* text = nullptr;   // null: the connection is lost, errno tells why
    const char* fault = nullptr;  // null: the server agrees; else what the operator is told
};
