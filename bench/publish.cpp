// Publishes log events through switchd, all different, as an operator's program would.
//
// Usage: publish COUNT FIRST PAUSE_US BYTES
//
// FIRST is the number of the first event, BYTES the length of its text (at most 227). With a pause the events come one
// by one, else as fast as the bus takes them. Ends when switchd has answered the last one. The bus is HSB_BUS's.
#include "Dispatcher.h"
#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/transport/dbus/DbusTransport.h"
#include "switchctl/input/EventArguments.h"
#include "switchd/services/OperatorWire.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

unsigned number(const char* text) {
    return static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

class Publisher final : private TransportReceiver {
public:
    int run(unsigned count, unsigned first, unsigned pause, unsigned bytes) {
        if (transport_.join() < 0 || transport_.attach(*this, address_) < 0) {
            return 1;
        }
        for (unsigned i = 0; i < count; ++i) {
            if (send(first + i, bytes) < 0 || turn(0) < 0) {
                return 1;
            }
            if (pause != 0) {
                usleep(pause);
            }
        }
        while (answers_ < count) {
            if (turn(10) < 0) {
                return 1;
            }
        }
        return 0;
    }

private:
    int send(unsigned number, unsigned bytes) {
        LogEventArguments arguments;
        arguments.record.kind = 0;
        arguments.record.number = 0x00020000 + number;
        arguments.record.slot = 3;
        arguments.record.text = "Blade fault detected, number " + std::to_string(number) + " ";
        arguments.record.text.resize(bytes, 'x');
        Hsb_Message message(OperatorCode::FORMAT, OperatorCode::PUBLISH_LOG,
                            encodeFields(OperatorRequest{number, encodeFields(logRecordFrom(arguments))}));
        message.source(address_);
        message.destination(ServiceAddress::OPERATOR);
        return transport_.send(message);
    }

    int turn(int seconds) {
        const Timeval limit(seconds, 0);
        return transport_.lost() ? -1 : Dispatcher::instance()->handle_events(&limit);
    }

    void receive(Hsb_Message&) override { ++answers_; }

    DbusTransport transport_;
    Hsb_Address address_;
    unsigned answers_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: publish COUNT FIRST PAUSE_US BYTES\n", stderr);
        return 2;
    }
    return Publisher().run(number(argv[1]), number(argv[2]), number(argv[3]), number(argv[4]));
}
