// Writes to the switch's event log. Main thread only.
#pragma once

#include <cstdint>

class Hsb_Component;

// Enters one line: level, message number, slot, chip and port (-1 for none), a spare number, flags, the
// component it comes from, and a printf text. Lines of levels 0, 2 and 3 are seen by operators.
__attribute__((format(printf, 9, 10))) void app_log(int level, std::uint32_t id, int slot, int chip, int port,
                                                    int spare, std::uint32_t flags, Hsb_Component* component,
                                                    const char* format, ...);

// Raises an alarm: the same arguments, the text as it stands.
void switch_alarm(int level, std::uint32_t id, int slot, int chip, int port, int spare, std::uint32_t flags,
                  Hsb_Component* component, const char* text);
