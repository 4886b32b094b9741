// The fixture of one part of the message queue: the four lists, open for business, and quotas that the test sets.
//
// What other parts would have left behind is put on the lists directly.
#pragma once

#include "base/OrvTimeText.h"
#include "mesgq/OrvCHEntryFiles.h"
#include "mesgq/OrvCHQueueFiles.h"
#include "testing/mesgq/MesgQGround.h"
#include "uptime.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

class MesgQPartsTest : public MesgQGround {
protected:
    explicit MesgQPartsTest(bool openForBusiness = true) {
        orvMakeQueueDirectories();
        if (openForBusiness) {
            lists_.openForBusiness();
        }
    }

    const OrvCHMesgQQueue& list(ORV_CH_MESG_Q_TYPE type) const override { return lists_.queue(type); }
    const OrvCHMesgQStatistics& statistics() const override { return lists_.statistics(); }
    std::uint32_t spaceInUse() const override { return lists_.spaceInUse(); }
    bool isOpenForBusiness() const override { return lists_.isOpenForBusiness(); }
    // On the send queue, whatever else is there.
    int post(std::unique_ptr<OrvCHMesg> message, const OrvCHPosting& posting) override {
        std::string key = posting.ordinary() ? message->duplicateKey() : std::string();
        return lists_.addNewEntry(lists_.send(), message, posting, std::move(key)) ? 0 : -1;
    }

    // The sender has the entry.
    OrvCHMesg* openAt(std::size_t position) {
        OrvCHMesgQEntry& opened = entry(ORV_CH_MESG_Q_SEND, position);
        opened.open = true;
        ++lists_.statistics().openCount;
        return opened.message.get();
    }
    // Mailed just now.
    void park(const std::string& text) { mailed(text, {}, lists_.duplicate()); }
    void rest(const std::string& text, std::uint32_t period, std::int32_t expire) {
        mailed(text, {.persist = true, .persistRepostPeriod = period, .expire = expire}, lists_.persist());
    }
    // Repeats have come of a message that waits, and of one that is parked.
    void repeatWaiting(std::size_t position, std::uint32_t count) {
        OrvCHMesgQEntry& waiting = entry(ORV_CH_MESG_Q_SEND, position);
        waiting.duplicatesPending = count;
        waiting.message->DuplicateTime = orvNowText();
        saveEntryToFile(waiting, lists_.send());
    }
    void repeatParked(std::size_t position, std::int32_t count) {
        OrvCHMesgQEntry& parked = entry(ORV_CH_MESG_Q_DUPLICATE, position);
        parked.message->DuplicateCount = count;
        parked.message->DuplicateTime = orvNowText();
        saveEntryToFile(parked, lists_.duplicate());
    }
    void markAll(OrvDeletionReason reason) {
        for (OrvCHMesgQEntry& each : lists_.send()) {
            lists_.mark(each, reason);
        }
    }

    // As a switch has them whose operator has set nothing.
    OrvCHQuotas quotas_{.throttleDuplicates = true,
                        .throttleDuplicatesPeriod = 15,
                        .spaceAllowed = 5120000,
                        .filesAllowed = 100,
                        .discardPeriod = 86400};
    OrvCHMesgQLists lists_{responses_, quotas_};

private:
    void mailed(const std::string& text, const OrvCHPosting& posting, OrvCHMesgQQueue& to) {
        std::unique_ptr<OrvCHMesg> parked = message(text);
        std::string key = posting.ordinary() ? parked->duplicateKey() : std::string();
        OrvCHMesgQEntry* const added = lists_.addNewEntry(lists_.send(), parked, posting, std::move(key));
        ASSERT_NE(added, nullptr);
        lists_.moveEntry(*added, lists_.send(), to);
    }
};
