// The fixture of the housekeeping: with a sender beside it, and everything else put on the lists directly.
#pragma once

#include "mesgq/OrvCHMesgQHousekeeping.h"
#include "mesgq/OrvCHMesgQSending.h"
#include "testing/mesgq/MesgQPartsTest.h"

#include <cstdint>

class MesgQHousekeepingTest : public MesgQPartsTest {
protected:
    // Seconds pass, each with its chores.
    void chores(std::uint32_t count = 1) {
        for (; count > 0; --count) {
            seconds(1);
            housekeeping_.oneSecondChores();
        }
    }

    OrvCHMesgQSending sending_{lists_, quotas_};
    OrvCHMesgQHousekeeping housekeeping_{lists_, quotas_, sending_};
};
