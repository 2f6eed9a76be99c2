#pragma once

// Errors that end the daemon. They go to the log, and also to standard error for a person who
// starts the daemon by hand.

namespace vesta {

// Reports one line: `format` as of printf(), ending with "\n", at most 1,023 bytes.
void reportFatalError(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace vesta
