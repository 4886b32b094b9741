// The daemon's process from start to end. Main thread only.
#pragma once

// Creates the main thread's trace logger and makes it the calling thread's. Ends the process with status 0 and a
// line in syslog when that fails.
void orvSetUpMainLogger();

// Joins the platform, builds OrvApp and serves the bus. Returns the exit status after an orderly end; ends the
// process itself where a start step fails.
int orvMain();
