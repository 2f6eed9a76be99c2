#pragma once

// One of the modules that take lines of text: each request is one writing to its file. A module
// that has begun anew is told all that lasts.
//
// Threads: as StateSender.

#include <cstdint>
#include <string>

#include "modules/state_sender.h"

namespace vesta {

class ModuleFile final : public StateSender {
public:
    // The operation that an error record names when the file can't be opened for this line.
    using OperationOf = const char* (*)(const std::string& line);

    // Runs from now on. `name` stands in log records. `path`, kShaperPath or kWifiAuthPath, lives
    // as long as this. Without `operationOf` a missing file is no error.
    ModuleFile(const char* name, const char* path, OperationOf operationOf = nullptr);
    ~ModuleFile() override;

    // The lines that the module shall be told of one station, see StateSender::addRequest().
    void write(const std::string& station, std::string lines, Kind kind);
    [[nodiscard]] bool knows(const std::string& station) const;

protected:
    Answer tell(const std::string& line, const std::string& whole, bool resumed) override;
    void attend(bool onceASecond) override;

private:
    const char* const path_;
    const OperationOf operationOf_;
    // The sender's thread alone.
    std::uint64_t identity_ = 0;  // of the file when it was last there
    bool missing_ = false;
};

}  // namespace vesta
