// What the page shows, made by commands: one thread runs them, many read what they printed.
//
// A sheet is what one command line prints as JSON. It is made anew when somebody reads it and it is older than its
// period: nobody looks, nothing is done, but for sheets that have to be kept up all the same.
#pragma once

#include "Guarding_Mutex.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class Desk {
public:
    using Words = std::vector<std::string>;
    using Milliseconds = std::chrono::milliseconds;

    // What a command line came to.
    struct Result {
        int status = 0;
        std::string text;
    };
    using Line = std::function<Result(const Words&)>;

    struct Sheet {
        const char* name;
        Words line;
        Milliseconds period;
        Milliseconds unwatched{0};  // it is made anew when it is so old also when nobody looks; 0: it is not
    };

    // The thread that calls run() is the one that calls this.
    Desk(Line line, std::vector<Sheet> sheets);

    // Runs what is asked for until stop().
    void run() ORV_EXCLUDES(mutex_);
    // Any thread may call these.
    void stop() ORV_EXCLUDES(mutex_);
    // The sheet, made anew where it is too old; after the patience as it was, nothing where it never was. As it was
    // also while a line runs that somebody has asked for: that may take long. No sheet of this name: nothing.
    std::optional<Result> read(const std::string& name, Milliseconds patience) ORV_EXCLUDES(mutex_);
    // As it was made last, however old; nothing where it never was.
    std::optional<Result> last(const std::string& name) const ORV_EXCLUDES(mutex_);
    // Makes the sheet anew unless it is younger than that, whatever its period.
    void renew(const std::string& name, Milliseconds age, Milliseconds patience) ORV_EXCLUDES(mutex_);
    // How old it is; nothing where it never was made.
    std::optional<Milliseconds> age(const std::string& name) const ORV_EXCLUDES(mutex_);
    // Runs a line in its turn and waits that long for it; nothing when it takes longer (it is done all the same), or
    // when too many wait already.
    std::optional<Result> ask(const Words& line, Milliseconds patience) ORV_EXCLUDES(mutex_);
    // The same for a line that shows something and has no sheet: what it came to last where that is younger.
    std::optional<Result> recall(const Words& line, Milliseconds age, Milliseconds patience) ORV_EXCLUDES(mutex_);

private:
    using Moment = std::chrono::steady_clock::time_point;

    // What is constant is looked at without the lock while its line runs.
    struct Page {
        const Sheet sheet;
        std::optional<Result> result{};
        Moment made{};
        bool wanted = false;
    };
    struct Task {
        const Words line;
        std::optional<Result> result{};
    };

    struct Note {
        Words line;
        Result result;
        Moment made;
    };

    static constexpr std::size_t MOST_TASKS = 16;
    static constexpr std::size_t MOST_NOTES = 16;

    static bool isYounger(const Page& page, Milliseconds age);
    static bool isDue(const Page& page);
    void make(Page& page, Milliseconds patience) ORV_REQUIRES(mutex_);
    std::shared_ptr<Task> nextTask() ORV_REQUIRES(mutex_);
    Page* nextPage() ORV_REQUIRES(mutex_);
    void awaitWork() ORV_REQUIRES(mutex_);

    const Line line_;  // for the thread that runs
    mutable Guarding_Mutex mutex_;
    std::condition_variable_any work_;
    std::condition_variable_any done_;
    std::map<std::string, Page> pages_ ORV_GUARDED_BY(mutex_);
    std::deque<std::shared_ptr<Task>> tasks_ ORV_GUARDED_BY(mutex_);
    std::deque<Note> notes_ ORV_GUARDED_BY(mutex_);  // the newest last
    bool runsTask_ ORV_GUARDED_BY(mutex_) = false;
    bool stopped_ ORV_GUARDED_BY(mutex_) = false;
};
