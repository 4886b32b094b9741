#include "switchctl/serve/Desk.h"

#include <algorithm>
#include <utility>

Desk::Desk(Line line, std::vector<Sheet> sheets) : line_(std::move(line)) {
    for (Sheet& sheet : sheets) {
        const std::string name = sheet.name;
        pages_.emplace(name, Page{std::move(sheet)});
    }
}

bool Desk::isYounger(const Page& page, Milliseconds age) {
    return page.result && std::chrono::steady_clock::now() - page.made < age;
}

void Desk::make(Page& page, Milliseconds patience) {
    page.wanted = true;
    work_.notify_all();
    if (runsTask_ && page.result) {
        return;
    }
    const Moment until = std::chrono::steady_clock::now() + patience;
    while (!stopped_ && page.wanted && done_.wait_until(mutex_, until) == std::cv_status::no_timeout) {
    }
}

std::shared_ptr<Desk::Task> Desk::nextTask() {
    if (tasks_.empty()) {
        return nullptr;
    }
    auto task = std::move(tasks_.front());
    tasks_.pop_front();
    return task;
}

bool Desk::isDue(const Page& page) {
    return page.wanted || (page.sheet.unwatched.count() > 0 && !isYounger(page, page.sheet.unwatched));
}

// The oldest of them: with a switch that does not answer each takes its time, and all are due again.
Desk::Page* Desk::nextPage() {
    Page* oldest = nullptr;
    for (auto& [name, page] : pages_) {
        if (isDue(page) && (oldest == nullptr || page.made < oldest->made)) {
            oldest = &page;
        }
    }
    return oldest;
}

// Or until a sheet is due that is kept up.
void Desk::awaitWork() {
    Moment due = Moment::max();
    for (const auto& [name, page] : pages_) {
        if (page.sheet.unwatched.count() > 0) {
            due = std::min(due, page.made + page.sheet.unwatched);
        }
    }
    if (due == Moment::max()) {
        work_.wait(mutex_);
    } else {
        work_.wait_until(mutex_, due);
    }
}

void Desk::run() {
    for (;;) {
        std::shared_ptr<Task> task;
        Page* page = nullptr;
        {
            const Guarding_Lock lock(mutex_);
            if (stopped_) {
                return;
            }
            task = nextTask();
            page = task == nullptr ? nextPage() : nullptr;
            if (task == nullptr && page == nullptr) {
                awaitWork();
                continue;
            }
            runsTask_ = task != nullptr;
        }
        Result result = line_(task != nullptr ? task->line : page->sheet.line);
        const Guarding_Lock lock(mutex_);
        runsTask_ = false;
        if (task != nullptr) {
            task->result = std::move(result);
        } else {
            page->result = std::move(result);
            page->made = std::chrono::steady_clock::now();
            page->wanted = false;
        }
        done_.notify_all();
    }
}

void Desk::stop() {
    const Guarding_Lock lock(mutex_);
    stopped_ = true;
    work_.notify_all();
    done_.notify_all();
}

std::optional<Desk::Result> Desk::read(const std::string& name, Milliseconds patience) {
    const Guarding_Lock lock(mutex_);
    const auto found = pages_.find(name);
    if (found == pages_.end()) {
        return std::nullopt;
    }
    Page& page = found->second;
    if (!isYounger(page, page.sheet.period)) {
        make(page, patience);
    }
    return page.result;
}

void Desk::renew(const std::string& name, Milliseconds age, Milliseconds patience) {
    const Guarding_Lock lock(mutex_);
    const auto found = pages_.find(name);
    if (found != pages_.end() && !isYounger(found->second, age)) {
        make(found->second, patience);
    }
}

std::optional<Desk::Milliseconds> Desk::age(const std::string& name) const {
    const Guarding_Lock lock(mutex_);
    const auto found = pages_.find(name);
    if (found == pages_.end() || !found->second.result) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - found->second.made);
}

std::optional<Desk::Result> Desk::last(const std::string& name) const {
    const Guarding_Lock lock(mutex_);
    const auto found = pages_.find(name);
    return found == pages_.end() ? std::nullopt : found->second.result;
}

std::optional<Desk::Result> Desk::ask(const Words& line, Milliseconds patience) {
    const Guarding_Lock lock(mutex_);
    if (tasks_.size() >= MOST_TASKS || stopped_) {
        return std::nullopt;
    }
    const auto task = std::make_shared<Task>(Task{line});
    tasks_.push_back(task);
    work_.notify_all();
    const Moment until = std::chrono::steady_clock::now() + patience;
    while (!stopped_ && !task->result && done_.wait_until(mutex_, until) == std::cv_status::no_timeout) {
    }
    return task->result;
}

std::optional<Desk::Result> Desk::recall(const Words& line, Milliseconds age, Milliseconds patience) {
    {
        const Guarding_Lock lock(mutex_);
        const auto oldest = std::chrono::steady_clock::now() - age;
        std::erase_if(notes_, [&](const Note& note) { return note.made < oldest; });
        const auto known = std::ranges::find(notes_, line, &Note::line);
        if (known != notes_.end()) {
            return known->result;
        }
    }
    auto result = ask(line, patience);
    const Guarding_Lock lock(mutex_);
    if (result) {
        notes_.push_back({line, *result, std::chrono::steady_clock::now()});
        if (notes_.size() > MOST_NOTES) {
            notes_.pop_front();
        }
    }
    return result;
}
