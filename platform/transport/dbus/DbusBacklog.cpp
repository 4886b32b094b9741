#include "platform/transport/dbus/DbusBacklog.h"

#include <new>

bool DbusBacklog::add(std::size_t bytes) {
    try {
        sizes_.push_back(bytes);
    } catch (const std::bad_alloc&) {
        return false;
    }
    bytes_ += bytes;
    return true;
}

void DbusBacklog::takeBack() {
    bytes_ -= sizes_.back();
    sizes_.pop_back();
}

void DbusBacklog::clear() {
    sizes_.clear();
    bytes_ = 0;
}

// sd-bus tells how many messages it holds but not how large they are; it sends in order, so ours are the last ones.
bool DbusBacklog::full(sd_bus& bus) {
    std::uint64_t queued = 0;
    sd_bus_get_n_queued_write(&bus, &queued);
    while (sizes_.size() > queued) {
        bytes_ -= sizes_.front();
        sizes_.pop_front();
    }
    // Half empty again: the next refusal is news. At the bound itself there may be one every other moment.
    refusing_ = refusing_ && queued > maxMessages_ / 2;
    return queued >= maxMessages_ || bytes_ >= maxBytes_;
}
