#pragma once

// The file that tells init scripts the daemon's process id, and one daemon of another. It is there,
// locked, while the daemon serves. A daemon that can't write it runs without it.
//
// Threads: writePidFile() before any other thread exists; removePidFile() from any thread and from
// signal handlers.

namespace vesta {

// Writes the process id, without line end, to /var/run/vestad.pid; a failure is logged. Throws
// std::runtime_error when a living daemon holds the file.
void writePidFile();

// Removes the file if writePidFile() has written it and it is still the same. Async-signal-safe.
void removePidFile() noexcept;

}  // namespace vesta
