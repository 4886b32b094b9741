#include "box/search/Causes.h"

#include "catalogue/OrvEventCatalogue.h"
#include "catalogue/OrvLogEntries.h"

#include <algorithm>
#include <array>

namespace box {

namespace {

using namespace orv_log;

constexpr std::array<const OrvLogKind*, 58> kOnSoundMachine{
    // what servers say
    &kQueueEmpty, &kRetryLater, &kRetryNow, &kNoUsableServer, &kProtocolFailure, &kSendFailed, &kRecovered,
    &kRecipientRefused, &kNoRecipientAccepted, &kRecipientRetry, &kRecipientRetryFailed, &kRecipientGivenUp,
    // requests
    &kTestServiceDisabled, &kTestNoServer, &kTestNoSender, &kTestUpdating, &kProcessedUpdating, &kChangeoverUpdating,
    &kBadProfileChange, &kBadTestProfile, &kBadClearQueue, &kBadProcessedInfo, &kBadChangeover, &kBadQueueInfo,
    // settings, and the quotas among them
    &kNoSender, &kSameServers, &kNotAdded, &kMessageTooLarge, &kNoSpace, &kTooManyFiles, &kQueueAttributeUnknown,
    &kProfileValueInvalid, &kAttributeUnknown, &kInitialConfigStatus, &kEmailConfigStatus, &kQueueConfigStatus,
    &kCaptureTypesStatus, &kCaptureAttrsStatus,
    // what an earlier life has left
    &kFileEmpty, &kRestoreOrderUnopened, &kRestoreNoCount, &kRestoreTooMany, &kRestoreNoNumber, &kRestoreBadName,
    &kRestoreEntryFailed, &kRestoreEntryUnopened, &kRestoreNotAdded, &kRestoreLinkFailed, &kRestoreUnlinkFailed,
    &kRestoreOpendirFailed,
    // what is asked for
    &kBuildInfoRequest, &kBuildDetailRequest, &kBulkRead, &kCaptureTypeRequest, &kCaptureDayRequest,
    &kCaptureTimeRequest, &kCaptureIntervalRequest, &kCaptureAttrsEmpty};

}  // namespace

bool comesOnSoundMachine(const OrvCatalogueMatch& entry) {
    return std::ranges::any_of(kOnSoundMachine, [&](const OrvLogKind* kind) { return entry.is(*kind); });
}

}  // namespace box
