// For whoever looks after the daemon and not only at its event log, which may be what cannot be reached: what will not
// happen from now on.
#pragma once

// Writes a line, with a printf text, to syslog and to stderr. Needs no memory of its own. Any thread.
__attribute__((format(printf, 1, 2))) void orvTell(const char* format, ...) noexcept;
