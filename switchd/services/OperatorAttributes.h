// What the operator asks of the attributes. Main thread only.
#pragma once

#include "switchd/services/OperatorAnswers.h"

#include <cstddef>

class AttributeStore;

class OperatorAttributes {
public:
    // No answer holds more than this many bytes of values, but for a single item.
    static constexpr std::size_t PAGE_BYTES = std::size_t{1024} * 1024;
    // Bytes of values in the answer to GET: what every bus carries, with room to spare.
    static constexpr std::size_t MAX_ANSWER = std::size_t{24} * 1024 * 1024;

    // Both outlive it.
    OperatorAttributes(const OperatorAnswers& answers, AttributeStore& attributes)
        : answers_(answers), attributes_(attributes) {}

    void get(const OperatorCaller& caller, const KeyList& request);
    void list(const OperatorCaller& caller, const ListRequest& request);
    void change(const OperatorCaller& caller, const ChangeRequest& request);

private:
    const OperatorAnswers& answers_;
    AttributeStore& attributes_;
};
