// Test support: the file tree of a receiver; and a receiver with one peer that writes records and reads replies.
#pragma once

#include "platform/posix/HostRoot.h"
#include "sync/OrvSyncSec.h"
#include "testing/sync/SyncFixture.h"

#include <filesystem>
#include <optional>

class TreeFixture : public SyncFixture {
protected:
    bool isThere(const std::string& path) const { return std::filesystem::exists(onHost(path)); }
    bool isEmptyDirectory(const std::string& path) const {
        return std::filesystem::is_directory(onHost(path)) && std::filesystem::is_empty(onHost(path));
    }
    // Makes the directories on the way.
    void write(const std::string& path, const std::string& bytes) const {
        std::filesystem::create_directories(onHost(path).parent_path());
        fill(onHost(path), bytes);
    }
    std::string secTrace(const std::vector<Line>& messages) const { return lines("OrvSyncSec", messages); }
};

class SecFixture : public TreeFixture {
protected:
    SecFixture() {
        std::filesystem::create_directories(onHost("/ostrel/conf/orv/callHome/sync"));
        receiver_.emplace(at(0));
        EXPECT_EQ(receiver_->startConnection(), 0);
        EXPECT_EQ(receiver_->listenConnection(), 0);
        newSession();
    }

    void newSession() {
        peer_.emplace();
        peer_->connect(receiver_->port());
        EXPECT_EQ(receiver_->startSession(), 0);
    }
    // Sends a record; the reply to it, as it stands on the wire.
    std::string answer(const std::string& record) {
        peer_->write(record);
        EXPECT_EQ(receiver_->recvOp(), 1);
        return peer_->read(4);
    }
    static std::string reply(unsigned error) { return {'\0', '\0', '\0', static_cast<char>(error)}; }

    static std::string record(char operation, const std::string& path, const std::string& second = "") {
        return std::string(3, '\0') + operation + field(path, 256) + field(second, 256);
    }
    static std::string removeFile(const std::string& path) { return record(0, path); }
    static std::string copy(const std::string& path, std::int32_t size, const std::string& bytes) {
        const auto word = static_cast<std::uint32_t>(size);
        return record(1, path,
                      {static_cast<char>(word >> 24), static_cast<char>(word >> 16), static_cast<char>(word >> 8),
                       static_cast<char>(word)}) +
               bytes;
    }
    static std::string copy(const std::string& path, const std::string& bytes) {
        return copy(path, static_cast<std::int32_t>(bytes.size()), bytes);
    }
    static std::string makeDirectory(const std::string& path) { return record(2, path); }
    static std::string move(const std::string& from, const std::string& to) { return record(3, from, to); }
    static std::string removeDirectory(const std::string& path) { return record(4, path); }

    std::optional<OrvSyncSec> receiver_;
    std::optional<PlainSocket> peer_;
};
