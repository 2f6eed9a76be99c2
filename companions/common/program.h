#pragma once

// What every companion does at its start.

namespace companion {

// Has everything that is reported written to standard error, one line each, behind `name`; debug
// reports only when `verbose`. `name` must live as long as the process. Call it before another
// thread may report.
void reportToStandardError(const char* name, bool verbose);

}  // namespace companion
