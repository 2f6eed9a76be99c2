#pragma once

// The daemon's end by signal. SIGTERM, SIGABRT and SIGSEGV are all an orderly end: one log record,
// the PID file removed, status 0, whatever the interrupted thread was doing and whatever it holds.

namespace vesta {

// Handles the three signals from now on, on whichever thread they arrive; the calling thread also
// when its stack is exhausted. The logger and the PID file are in place before.
void installSignalHandlers();

}  // namespace vesta
