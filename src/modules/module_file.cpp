#include "modules/module_file.h"

#include <cerrno>
#include <utility>

#include "core/logger.h"
#include "ostrel/modules.h"

namespace vesta {

ModuleFile::ModuleFile(const char* name, const char* path, OperationOf operationOf)
    : StateSender(name), path_(path), operationOf_(operationOf) {
    run();
}

ModuleFile::~ModuleFile() {
    stop();
    join();
}

void ModuleFile::write(const std::string& station, std::string lines, Kind kind) {
    want(Group::second, station, std::move(lines), kind);
}

bool ModuleFile::knows(const std::string& station) const {
    return StateSender::knows(Group::second, station);
}

StateSender::Answer ModuleFile::tell(const std::string& line, const std::string&, bool) {
    const int result = ostrel::writeModuleFile(path_, line);
    // A file that is there but does not open is like a request that is refused.
    const int error = result < 0 ? errno : result;
    const bool missing = result < 0 && error == ENOENT;
    if (missing && !missing_ && operationOf_ != nullptr) {
        logger().Error("%s can't open %s\n", operationOf_(line), path_);
    }
    missing_ = missing;
    errno = error;
    if (result == 0) {
        return Answer::taken;
    }
    return missing ? Answer::absent : result < 0 && error == EIO ? Answer::silent : Answer::refused;
}

void ModuleFile::attend(bool onceASecond) {
    const std::uint64_t identity = onceASecond ? ostrel::moduleFileIdentity(path_) : 0;
    if (identity == 0 || identity == identity_) {
        return;
    }
    if (identity_ != 0 || missing_) {
        logger().Warning("%s: the module is back, telling it %zu stations\n", name_.c_str(),
                         count(Group::second));
        tellAgain(Group::second);
    }
    identity_ = identity;
}

}  // namespace vesta
