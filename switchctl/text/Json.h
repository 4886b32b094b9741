// What --json prints: objects with their members in the order set, arrays, texts, numbers. The library behind it is
// known to Json.cpp alone.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class Json {
public:
    // An empty object.
    Json();
    static Json array();
    ~Json();
    Json(const Json& other);
    Json(Json&& other) noexcept;
    Json& operator=(Json other) noexcept;

    // Members of an object.
    Json& set(const std::string& key, const std::string& text);
    Json& set(const std::string& key, const char* text) { return set(key, std::string(text)); }
    Json& set(const std::string& key, std::int64_t number);
    Json& set(const std::string& key, std::int32_t number) { return set(key, std::int64_t{number}); }
    Json& set(const std::string& key, std::uint32_t number) { return set(key, std::int64_t{number}); }
    Json& set(const std::string& key, std::uint64_t number);
    Json& set(const std::string& key, bool truth);
    Json& set(const std::string& key, const std::vector<std::string>& texts);
    Json& set(const std::string& key, const Json& value);
    Json& setNull(const std::string& key);
    // Element of an array.
    Json& add(const Json& value);

    // On one line. Bytes that are no UTF-8 become the replacement character.
    std::string dump() const;

private:
    struct Value;
    explicit Json(std::unique_ptr<Value> value);

    std::unique_ptr<Value> value_;
};
