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

void Desk::make(std::unique_lock<std::mutex>& lock, Page& page, Milliseconds patience) {
    page.wanted = true;
    work_.notify_all();
    done_.wait_for(lock, patience, [&] { return stopped_ || !page.wanted; });
}

std::shared_ptr<Desk::Task> Desk::nextTask() {
    if (tasks_.empty()) {
        return nullptr;
    }
    auto task = std::move(tasks_.front());
    tasks_.pop_front();
    return task;
}

Desk::Page* Desk::nextPage() {
    const auto found = std::ranges::find_if(pages_, [](const auto& one) { return one.second.wanted; });
    return found == pages_.end() ? nullptr : &found->second;
}

void Desk::run() {
    std::unique_lock lock(mutex_);
    while (!stopped_) {
        const auto task = nextTask();
        Page* const page = task == nullptr ? nextPage() : nullptr;
        if (task == nullptr && page == nullptr) {
            work_.wait(lock);
            continue;
        }
        lock.unlock();
        Result result = line_(task != nullptr ? task->line : page->sheet.line);
        lock.lock();
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
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    work_.notify_all();
    done_.notify_all();
}

std::optional<Desk::Result> Desk::read(const std::string& name, Milliseconds patience) {
    std::unique_lock lock(mutex_);
    const auto found = pages_.find(name);
    if (found == pages_.end()) {
        return std::nullopt;
    }
    Page& page = found->second;
    if (!isYounger(page, page.sheet.period)) {
        make(lock, page, patience);
    }
    return page.result;
}

void Desk::renew(const std::string& name, Milliseconds age, Milliseconds patience) {
    std::unique_lock lock(mutex_);
    const auto found = pages_.find(name);
    if (found != pages_.end() && !isYounger(found->second, age)) {
        make(lock, found->second, patience);
    }
}

std::optional<Desk::Milliseconds> Desk::age(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = pages_.find(name);
    if (found == pages_.end() || !found->second.result) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - found->second.made);
}

std::optional<Desk::Result> Desk::last(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = pages_.find(name);
    return found == pages_.end() ? std::nullopt : found->second.result;
}

std::optional<Desk::Result> Desk::ask(const Words& line, Milliseconds patience) {
    std::unique_lock lock(mutex_);
    if (tasks_.size() >= MOST_TASKS || stopped_) {
        return std::nullopt;
    }
    const auto task = std::make_shared<Task>(Task{line});
    tasks_.push_back(task);
    work_.notify_all();
    done_.wait_for(lock, patience, [&] { return stopped_ || task->result.has_value(); });
    return task->result;
}
