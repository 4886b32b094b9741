#include "testing/campaign/Roads.h"

#include "MessageCodes.h"

#include <filesystem>

namespace {

void keepThree(Life& life) {
    life.board().refusing = true;
    for (const unsigned event : {0u, 1u, 2u}) {
        life.accept(event);
    }
}

void keepOne(Life& life) {
    life.board().refusing = true;
    life.accept(0);
}

// An event that is mailed, so that its repeats are counted while it is parked.
void parkOne(Life& life) {
    life.accept(0);
    life.waitFor("the first mail", [&] { return life.allMailed() && life.queueEmpty(); });
    life.board().refusing = true;
}

void fillTheQueue(Life& life) {
    life.board().refusing = true;
    // Those that may have to go are not asked for any more.
    for (const unsigned event : {0u, 1u, 2u}) {
        life.publish(event);
    }
    life.sw().tick();
}

void acceptAnother(Life& life) {
    life.accept(1);
}

void acceptTwoMore(Life& life) {
    life.publish(3);
    life.accept(4);
}

void repeatTwice(Life& life) {
    life.publish(0);
    life.publish(0);
    life.sw().tick();
}

// Until the throttle period is over and the file of the counted repeat has gone over to the send queue.
void repeatParked(Life& life) {
    repeatTwice(life);
    life.sw().tick(18);
}

void mailWhatIsKept(Life& life) {
    life.board().refusing = false;
    life.waitFor("the mails of the step", [&] { return life.allMailed() && life.queueEmpty(); });
}

// The second recipient is put off once, and served later.
void mailInTwoParts(Life& life) {
    life.board().deferring = true;
    life.board().refusing = false;
    life.waitFor("both recipients' mails", [&] { return life.allMailed() && life.queueEmpty(); });
}

void supportScript(Life& life) {
    const std::string path = "/ostrel/bin/clish";
    life.root().write(path, "#!/bin/sh\necho everything is well > '" + life.root().at("/tmp/smlCapture.txt") + "'\n");
    std::filesystem::permissions(life.root().at(path), std::filesystem::perms::owner_all);
    life.root().write("/ostrel/conf/logfile", "the log\n");
    life.accept(0);
    life.sw().tick(60);
}

bool captureIsOver(Life& life) {
    return life.board().captures > 0 && life.queueEmpty();
}

void captureAndMail(Life& life) {
    for (int second = 0; second < 70; ++second) {
        life.sw().tick();
    }
    // A capture that fails is not repeated: then there is nothing to wait for.
    life.runUntil([&] { return captureIsOver(life); }, std::chrono::milliseconds(500));
}

void clearTheQueue(Life& life) {
    life.board().accepted[0] = false;
    life.manage(ManagementCode::CLEAR_QUEUE);
    life.sw().tick();
}

void nothingMore(Life&) {
}

constexpr Life::Settings kPlain{};
constexpr Road kRoads[] = {
    {"accept", kPlain, keepOne, acceptAnother},
    {"repeat", kPlain, keepOne, repeatTwice, false, 1},
    {"repeatParked", kPlain, parkOne, repeatParked, false, 1},
    {"mail", kPlain, keepThree, mailWhatIsKept},
    {"mark", {.twoRecipients = true}, keepOne, mailInTwoParts},
    {"discard", {.filesAllowed = 3}, fillTheQueue, acceptTwoMore},
    {"capture", {.captures = true}, supportScript, captureAndMail},
    {"clear", kPlain, keepOne, clearTheQueue},
    {"restart", kPlain, keepThree, mailWhatIsKept, true},
    {"start", kPlain, nullptr, nothingMore, true},
};

}  // namespace

std::span<const Road> campaignRoads() {
    return kRoads;
}
