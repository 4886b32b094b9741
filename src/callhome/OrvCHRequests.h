// The six management requests and their answers.
//
// In traces it goes by the controller's name, OrvCallHome. Main thread only.
#pragma once

#include <cstdint>
#include <span>

class Hsb_Message;
class OrvCHClient;
class OrvCHConfigCycle;
class OrvCHIncoming;
class OrvCHMesgQ;
class orvClient;
struct OrvCHSetUp;

class OrvCHRequests {
public:
    // All of them must outlive this object.
    OrvCHRequests(orvClient& responses, const OrvCHSetUp& setUp, OrvCHConfigCycle& cycle, OrvCHIncoming& incoming,
                  OrvCHMesgQ& queue, OrvCHClient& client)
        : responses_(responses), setUp_(setUp), cycle_(cycle), incoming_(incoming), queue_(queue), client_(client) {}

    // 0, or -1 when it was refused without an answer.
    int processOrvMsg(const Hsb_Message& message);
    // The request's name in traces; null for a code that is no request.
    static const char* requestName(std::uint16_t code);

private:
    struct Request;  // a row of the request table
    static const Request kRequests[];
    static const Request* findRequest(std::uint16_t code);

    // In code order.
    void processOrvCHProfileChangeMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHTestProfileCmdMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHClearQueueCmdMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHProfileProcessedInfoMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHChangeoverCmdMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);
    void processOrvCHMesgQInfoMsg(std::uint32_t handle, std::span<const std::uint8_t> payload);

    orvClient& responses_;
    const OrvCHSetUp& setUp_;
    OrvCHConfigCycle& cycle_;
    OrvCHIncoming& incoming_;
    OrvCHMesgQ& queue_;
    OrvCHClient& client_;
};
