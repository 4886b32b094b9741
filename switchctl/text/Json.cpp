#include "switchctl/text/Json.h"

#include <nlohmann/json.hpp>

#include <utility>

struct Json::Value {
    nlohmann::ordered_json json;
};

Json::Json() : value_(std::make_unique<Value>(Value{nlohmann::ordered_json::object()})) {
}

Json::Json(std::unique_ptr<Value> value) : value_(std::move(value)) {
}

Json Json::array() {
    return Json(std::make_unique<Value>(Value{nlohmann::ordered_json::array()}));
}

Json::~Json() = default;

Json::Json(const Json& other) : value_(std::make_unique<Value>(*other.value_)) {
}

Json::Json(Json&& other) noexcept = default;

Json& Json::operator=(Json other) noexcept {
    std::swap(value_, other.value_);
    return *this;
}

Json& Json::set(const std::string& key, const std::string& text) {
    value_->json[key] = text;
    return *this;
}

Json& Json::set(const std::string& key, std::int64_t number) {
    value_->json[key] = number;
    return *this;
}

Json& Json::set(const std::string& key, std::uint64_t number) {
    value_->json[key] = number;
    return *this;
}

Json& Json::set(const std::string& key, bool truth) {
    value_->json[key] = truth;
    return *this;
}

Json& Json::set(const std::string& key, const std::vector<std::string>& texts) {
    value_->json[key] = texts;
    return *this;
}

Json& Json::set(const std::string& key, const Json& value) {
    value_->json[key] = value.value_->json;
    return *this;
}

Json& Json::setNull(const std::string& key) {
    value_->json[key] = nullptr;
    return *this;
}

Json& Json::add(const Json& value) {
    value_->json.push_back(value.value_->json);
    return *this;
}

std::string Json::dump() const {
    return value_->json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}
