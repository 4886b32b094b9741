// What carries this process's messages. For programs and tests that do not want the transport they were linked with.
// Main thread only.
#pragma once

class Transport;

namespace HostPlatform {

// The next Hsb::init joins through this transport; null: through the linked one (defaultTransport). Not owned: it
// outlives Hsb::shutdown.
void useTransport(Transport* transport);

}  // namespace HostPlatform
