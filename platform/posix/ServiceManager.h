// Tells whoever started this process as a service how it fares, by the datagrams that systemd takes; nothing at all
// where NOTIFY_SOCKET is not set. Never waits, needs no memory.
#pragma once

#include <chrono>
#include <optional>

namespace ServiceManager {

// It serves now. Once: later calls say nothing.
void ready() noexcept;
// One line for "systemctl status".
void status(const char* text) noexcept;
// It is alive.
void alive() noexcept;
// How often alive() has to be said; none where nobody waits for it.
std::optional<std::chrono::microseconds> lifeSign() noexcept;

}  // namespace ServiceManager
