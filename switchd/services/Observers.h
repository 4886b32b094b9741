// Those who want to be told when something happens, in the order in which they asked. They outlive the telling.
#pragma once

#include <functional>
#include <utility>
#include <vector>

template <typename... Arguments>
class Observers {
public:
    using Observer = std::function<void(const Arguments&...)>;

    void add(Observer observer) { observers_.push_back(std::move(observer)); }

    void tell(const Arguments&... arguments) const {
        for (const Observer& observer : observers_) {
            observer(arguments...);
        }
    }

private:
    std::vector<Observer> observers_;
};
