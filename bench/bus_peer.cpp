// What a bare client of the bus costs, to compare the daemon with.
//
// Usage: bus_peer idle BUS          joins the bus and does nothing until it is killed
//        bus_peer rate BUS COUNT    takes COUNT one-way messages of a log event's size, which a second process sends
//                                   from core 0; prints the microseconds from the first to the last one received
#include <sched.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kPayload = 336;  // a log record and its frame

int check(int result, const char* what) {
    if (result < 0) {
        std::fprintf(stderr, "bus_peer: %s: %s\n", what, std::strerror(-result));
        std::exit(1);
    }
    return result;
}

sd_bus* join(const char* address) {
    sd_bus* bus = nullptr;
    check(sd_bus_new(&bus), "sd_bus_new");
    check(sd_bus_set_address(bus, address), "sd_bus_set_address");
    check(sd_bus_set_bus_client(bus, 1), "sd_bus_set_bus_client");
    check(sd_bus_start(bus), "sd_bus_start");
    const char* name = nullptr;
    check(sd_bus_get_unique_name(bus, &name), "sd_bus_get_unique_name");
    return bus;
}

void sendAll(const char* address, const std::string& receiver, unsigned count) {
    cpu_set_t core;
    CPU_ZERO(&core);
    CPU_SET(0, &core);
    sched_setaffinity(0, sizeof core, &core);
    sd_bus* bus = join(address);
    const std::uint8_t payload[kPayload] = {};
    for (unsigned i = 0; i < count; ++i) {
        sd_bus_message* call = nullptr;
        check(sd_bus_message_new_method_call(bus, &call, receiver.c_str(), "/bench", "bench.Peer", "Take"), "new call");
        check(sd_bus_message_set_expect_reply(call, 0), "expect no reply");
        check(sd_bus_message_append_array(call, 'y', payload, sizeof payload), "append");
        check(sd_bus_send(bus, call, nullptr), "send");
        sd_bus_message_unref(call);
        sd_bus_message* came = nullptr;
        while (check(sd_bus_process(bus, &came), "process") > 0) {
            sd_bus_message_unref(came);
            came = nullptr;
        }
    }
    check(sd_bus_flush(bus), "flush");
    sd_bus_unref(bus);
}

int takeOne(sd_bus_message*, void* seen, sd_bus_error*) {
    ++*static_cast<unsigned*>(seen);
    return 1;
}

int measureRate(const char* address, unsigned count) {
    sd_bus* bus = join(address);
    const char* name = nullptr;
    check(sd_bus_get_unique_name(bus, &name), "sd_bus_get_unique_name");
    unsigned seen = 0;
    check(sd_bus_add_filter(bus, nullptr, takeOne, &seen), "filter");
    const pid_t sender = fork();
    if (sender == 0) {
        sendAll(address, name, count);
        _exit(0);
    }
    std::chrono::steady_clock::time_point first;
    while (seen < count) {
        const unsigned before = seen;
        if (check(sd_bus_process(bus, nullptr), "process") == 0) {
            check(sd_bus_wait(bus, UINT64_MAX), "wait");
        }
        if (before == 0 && seen > 0) {
            first = std::chrono::steady_clock::now();
        }
    }
    const auto took = std::chrono::steady_clock::now() - first;
    waitpid(sender, nullptr, 0);
    std::printf("wall_us %lld\n",
                static_cast<long long>(std::chrono::duration_cast<std::chrono::microseconds>(took).count()));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view mode = argc > 2 ? argv[1] : "";
    if (mode == "idle" && argc == 3) {
        join(argv[2]);
        std::printf("joined\n");
        std::fflush(stdout);
        for (;;) {
            pause();
        }
    }
    if (mode == "rate" && argc == 4) {
        return measureRate(argv[2], static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10)));
    }
    std::fputs("usage: bus_peer idle BUS | bus_peer rate BUS COUNT\n", stderr);
    return 2;
}
