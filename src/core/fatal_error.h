#pragma once

// Errors that end the daemon: they go to the log and to standard error as well, so that a person
// who starts it by hand sees why it ended, whatever the log is.

namespace vesta {

// One line, "\n" included; printf formats.
void reportFatalError(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace vesta
