#pragma once

// The daemon's end by signal. SIGTERM, SIGINT, SIGABRT and SIGSEGV all end it in order: one log
// record, the PID file removed, status 0, whatever locks the interrupted thread holds. The first
// two leave a moment for what the modules are still to be told, a second at the most. SIGHUP opens
// the log file anew, for those who move it away.

namespace vesta {

// Handles these signals from now on, on whichever thread they arrive, on the calling thread
// also when its stack is exhausted. The logger and the PID file must be in place.
void installSignalHandlers();

}  // namespace vesta
