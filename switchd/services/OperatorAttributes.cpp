#include "switchd/services/OperatorAttributes.h"

#include "switchd/store/AttributeStore.h"

#include <utility>
#include <vector>

void OperatorAttributes::get(const OperatorCaller& caller, const KeyList& request) {
    AttributeAnswers result;
    std::size_t room = MAX_ANSWER;
    for (const std::string& key : request.keys) {
        AttributeAnswers::Answer answer;
        const StoreStatus status = attributes_.get(key, answer.attribute);
        if (status == StoreStatus::FAILED) {
            return answers_.refuse(caller, OperatorStatus::FAILED, attributes_.reason());
        }
        if (answer.attribute.value.size() > room) {
            return answers_.refuse(caller, OperatorStatus::REFUSED, "the values are too long for one answer");
        }
        room -= answer.attribute.value.size();
        answer.found = status == StoreStatus::OK;
        answer.attribute.key = key;
        result.answers.push_back(std::move(answer));
    }
    answers_.done(caller, encodeFields(result));
}

void OperatorAttributes::list(const OperatorCaller& caller, const ListRequest& request) {
    std::vector<Attribute> attributes;
    if (attributes_.list(request.prefix, attributes) < 0) {
        return answers_.refuse(caller, OperatorStatus::FAILED, attributes_.reason());
    }
    AttributePage page;
    std::size_t bytes = 0;
    for (Attribute& attribute : attributes) {
        if (!request.after.empty() && attribute.key <= request.after) {
            continue;
        }
        bytes += attribute.key.size() + attribute.value.size();
        if (bytes > PAGE_BYTES && !page.attributes.empty()) {
            page.more = true;
            break;
        }
        page.attributes.push_back(std::move(attribute));
    }
    answers_.done(caller, encodeFields(page));
}

void OperatorAttributes::change(const OperatorCaller& caller, const ChangeRequest& request) {
    KeyList missing;
    for (const std::string& key : request.unset) {
        Attribute present;
        if (attributes_.get(key, present) == StoreStatus::MISSING) {
            missing.keys.push_back(key);
        }
    }
    if (attributes_.apply({request.set, request.unset}) < 0) {
        return answers_.refuse(caller, OperatorStatus::FAILED, attributes_.reason());
    }
    answers_.done(caller, encodeFields(missing));
}
