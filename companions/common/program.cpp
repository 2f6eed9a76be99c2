#include "common/program.h"

#include <cstdio>

#include "ostrel/runtime.h"

namespace companion {
namespace {

const char* programName = "";

void writeReport(ostrel::LogLevel, const char* text) {
    std::fprintf(stderr, "%s: %s\n", programName, text);
}

void writeImportant(ostrel::LogLevel level, const char* text) {
    if (level != ostrel::LogLevel::debug) {
        writeReport(level, text);
    }
}

}  // namespace

void reportToStandardError(const char* name, bool verbose) {
    programName = name;
    ostrel::setLogSink(verbose ? writeReport : writeImportant);
}

}  // namespace companion
