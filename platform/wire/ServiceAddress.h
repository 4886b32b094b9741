// The fixed addresses of the switch's service components: node 0, one process number per service, slot 0.
#pragma once

#include "Hsb_Address.h"

namespace ServiceAddress {

inline constexpr Hsb_Address NAMES{0, 1, 0};
inline constexpr Hsb_Address EVENTS{0, 2, 0};
inline constexpr Hsb_Address ATTRIBUTES{0, 3, 0};
inline constexpr Hsb_Address MONITOR{0, 4, 0};
inline constexpr Hsb_Address MANAGEMENT{0, 5, 0};
inline constexpr Hsb_Address EVENT_LOG{0, 6, 0};
inline constexpr Hsb_Address OPERATOR{0, 7, 0};

inline bool isService(const Hsb_Address& address) {
    return address.node == 0;
}

}  // namespace ServiceAddress
