#pragma once

// The file that tells init scripts the daemon's process id. It is there while the daemon serves. A
// daemon that can't write it runs without it.
//
// Threads: writePidFile() before any other thread exists; removePidFile() from any thread and from
// signal handlers.

namespace vesta {

// Writes the process id, without line end, to /var/run/vestad.pid; a failure is logged.
void writePidFile();

// Removes the file if writePidFile() has written it. Async-signal-safe.
void removePidFile() noexcept;

}  // namespace vesta
