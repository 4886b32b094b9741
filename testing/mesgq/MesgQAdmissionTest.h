// The fixture of what lets messages in: messages come through it, everything else is put on the lists directly.
#pragma once

#include "mesgq/OrvCHMesgQAdmission.h"
#include "testing/mesgq/MesgQPartsTest.h"

#include <memory>
#include <utility>

class MesgQAdmissionTest : public MesgQPartsTest {
protected:
    using MesgQPartsTest::MesgQPartsTest;

    int post(std::unique_ptr<OrvCHMesg> message, const OrvCHPosting& posting) override {
        return admission_.add(std::move(message), posting, false);
    }

    OrvCHMesgQAdmission admission_{lists_, quotas_};
};
