// Which entries of the event log a sound machine may bring about.
#pragma once

struct OrvCatalogueMatch;

namespace box {

// By mail servers, requests, settings, or by an end of a life between two of its calls. All other entries tell that the
// machine has failed the daemon. Any thread.
bool comesOnSoundMachine(const OrvCatalogueMatch& entry);

}  // namespace box
