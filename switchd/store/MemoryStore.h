// Both stores in memory: for tests and for machines without a database. Everything is gone with the object.
#pragma once

#include "switchd/store/AttributeStore.h"
#include "switchd/store/EventLogStore.h"

#include <deque>
#include <map>

class MemoryStore final : public AttributeStore, public EventLogStore {
public:
    explicit MemoryStore(std::size_t logCapacity = EventLogStore::CAPACITY) : logCapacity_(logCapacity) {}

    [[nodiscard]] StoreStatus get(std::string_view key, Attribute& attribute) override;
    [[nodiscard]] int list(std::string_view prefix, std::vector<Attribute>& attributes) override;
    [[nodiscard]] int apply(const AttributeChange& change) override;
    [[nodiscard]] int append(LogEntry& entry) override;
    [[nodiscard]] int read(const LogSelection& selection, std::size_t limit, std::vector<LogEntry>& entries) override;
    const std::string& reason() const override { return reason_; }

private:
    std::map<std::string, Attribute, std::less<>> attributes_;
    std::size_t logCapacity_;
    std::deque<LogEntry> log_;
    std::uint64_t lastId_ = 0;
    std::string reason_;
};
