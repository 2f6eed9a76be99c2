#include "monitord/station_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "ostrel/runtime.h"

namespace monitord {
namespace {

std::string firstLine() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string boot;
    std::getline(file, boot);
    return "monitord 2 " + boot;
}

void writeLine(std::ostream& out, const char* device, const Mac& mac, const Record& record) {
    out << device << ' ' << ostrel::macText(mac) << ' ' << record.since << ' ' << record.seen;
    for (const Passage& one : {record.up, record.down}) {
        out << ' ' << one.passed.bytes << ' ' << one.passed.packets << ' ' << one.counted;
    }
    out << ' ' << record.present << '\n';
}

bool readLine(const std::string& line, StationKey& station, Record& record) {
    std::istringstream in(line);
    std::string device;
    std::string mac;
    in >> device >> mac >> record.since >> record.seen;
    for (Passage* const one : {&record.up, &record.down}) {
        in >> one->passed.bytes >> one->passed.packets >> one->counted;
    }
    in >> record.present;
    const auto address = ostrel::parseColonMac(mac);
    if (!in || !address || !companion::isDeviceName(device)) {
        return false;
    }
    station = StationKey(device, *address);
    return true;
}

}  // namespace

void StationFile::load(Stations& stations, Time now) const {
    std::ifstream file(path_);
    std::string line;
    if (!std::getline(file, line) || line != firstLine()) {
        return;
    }
    while (std::getline(file, line)) {
        StationKey station;
        Record record;
        if (!readLine(line, station, record) || record.since > now || record.seen > now) {
            ostrel::report(ostrel::LogLevel::warning, "%s is damaged from here on: %s",
                           path_.c_str(), line.c_str());
            return;
        }
        stations.restore(station, record, now);
    }
}

void StationFile::save(const Stations& stations) {
    if (stations.changes() == saved_) {
        return;
    }
    std::ostringstream text;
    text << firstLine() << '\n';
    stations.forEach([&](const char* device, const Mac& mac, const Record& record) {
        writeLine(text, device, mac, record);
    });
    if (write(text.str())) {
        saved_ = stations.changes();
        failing_ = false;
    } else if (!failing_) {
        failing_ = true;
        ostrel::report(ostrel::LogLevel::warning, "%s can't be written: %s", path_.c_str(),
                       std::strerror(errno));
    }
}

bool StationFile::write(const std::string& text) const {
    const std::string fresh = path_ + ".new";
    ostrel::Fd file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t bytes = ::write(file.get(), text.data() + done, text.size() - done);
        if (bytes < 0) {
            return false;
        }
        done += static_cast<std::size_t>(bytes);
    }
    return rename(fresh.c_str(), path_.c_str()) == 0;
}

}  // namespace monitord
