// The queue: what waits to be mailed, what was mailed and may repeat, and the files of both.
//
// Rules: docs/behaviour.md, "The queue" and "Files"; docs/queue-files.md.
#pragma once

#include "box/model/Flash.h"
#include "box/model/Settings.h"

#include <cstdint>
#include <list>
#include <string>

namespace model {

enum class List { kEarly, kSend, kDuplicate, kPersist };
enum class Mark { kNone, kCleared, kSpace, kFiles, kAge };
enum class TestResult : std::uint32_t { kPassed, kFailed, kCleared };

struct Entry {
    Message message;
    std::uint32_t number = 0;
    std::uint32_t received = 0;
    std::uint32_t repeats = 0;  // arrived while the entry was on the send list
    Mark mark = Mark::kNone;    // to be deleted, and why
    bool open = false;          // the send thread has it
    bool eligible = false;      // repeats of it are counted

    bool test() const { return !message.testProfile.empty(); }
    std::uint32_t charge() const { return message.size() + 164; }
};

class Queue {
public:
    using Entries = std::list<Entry>;

    Queue(Outside& outside, Flash& flash) : outside_(outside), flash_(flash) {}

    void setQuotas(const Quotas& quotas) { quotas_ = quotas; }
    bool isOpen() const { return open_; }

    void add(Message message);
    // The next entry to mail is opened; null when there is none.
    Entry* open();
    // It comes back, mailed or not.
    void close(Entry& entry);
    void finish(Entry& entry, bool undelivered);

    void flushDuplicates();
    void clear();
    void second();

    const Entries& list(List list) const { return lists_[int(list)]; }
    std::size_t waiting() const;  // on the send list and not open
    std::size_t opened() const;
    std::uint64_t bytesInUse() const;

    static std::string directory(List list);

private:
    Entries& entries(List list) { return lists_[int(list)]; }
    Entries::iterator find(Entry& entry);
    bool countRepeat(const Message& message);
    Entry* repeated(List list, const std::string& key);
    void admit(Message message);
    bool makeRoom(std::uint64_t bytes);
    bool makeRoomForFiles(std::size_t count);
    void refuse(const char* why);

    std::uint32_t nextNumber(List list) const;
    void append(List to, Entry entry);
    Entry take(List from, Entries::iterator entry);
    void destroy(List from, Entries::iterator entry, TestResult result = TestResult::kPassed);
    void discard(Entries::iterator entry);
    void markOpen(Entry& entry, Mark mark);
    void move(List from, Entries::iterator entry, List to);

    bool housekeep(Entries::iterator entry);
    void expireDuplicates();
    void repostPersistent();

    bool hasFile(List list, const Entry& entry) const;
    std::string path(List list, std::uint32_t number) const;
    void save(List list, const Entry& entry);
    void saveOrder(List list);

    void start();
    void restore(List list);
    void restoreEntry(List list, std::uint32_t number);

    Outside& outside_;
    Flash& flash_;
    Quotas quotas_;
    Entries lists_[4];
    bool open_ = false;
};

}  // namespace model
