#pragma once

// The file that tells init scripts the daemon's process id. It is there, locked, while the daemon
// serves. A daemon that can't write it, or finds it another living daemon's, runs without it.
//
// Threads: writePidFile() before any other thread exists; removePidFile() from any thread and from
// signal handlers.

namespace vesta {

// Writes the process id, without line end, to /var/run/vestad.pid; a failure is logged.
void writePidFile();

// Removes the file if writePidFile() has written it and it is still the same. Async-signal-safe.
void removePidFile() noexcept;

}  // namespace vesta
