// What can stand in a queue between threads.
#pragma once

namespace Mt {

template <typename T>
class Queue;

class QueueElement {
public:
    QueueElement() = default;
    virtual ~QueueElement() = default;
    QueueElement(const QueueElement&) = delete;
    QueueElement& operator=(const QueueElement&) = delete;

private:
    template <typename T>
    friend class Queue;
    QueueElement* next_ = nullptr;  // null outside a queue
};

}  // namespace Mt
