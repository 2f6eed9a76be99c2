#include "ostrel/factory.h"

#include <json-c/json.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "machine.h"
#include "ostrel/addresses.h"
#include "ostrel/runtime.h"

namespace {

using ostrel::LogLevel;
using Json = std::unique_ptr<json_object, int (*)(json_object*)>;
using File = std::unique_ptr<FILE, int (*)(FILE*)>;

// Far more than five texts need. A wrong path (a log file, a device) is not read whole.
constexpr std::size_t kMaxFileBytes = 64 * 1024;

libfactory_data machineData() {
    libfactory_data data;
    data.deviceName = ostrel::hostName();
    data.serialNumber = ostrel::machineId();
    data.mac = ostrel::interfaceMac();
    data.mac2 = data.mac;
    return data;
}

// The file's text. False with errno set when it can't be read.
bool readFile(const std::string& path, std::string& text) {
    const File file(std::fopen(path.c_str(), "re"), std::fclose);
    if (file == nullptr) {
        return false;
    }
    text.resize(kMaxFileBytes + 1);
    errno = 0;
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get()) != 0) {
        return false;
    }
    errno = EFBIG;
    return text.size() <= kMaxFileBytes;
}

bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ';
}

// Takes one text of the file; `value` stays as it is when the file has none. False when the value
// in the file is no text, or has a control character: the text goes into records of one line.
bool takeText(const std::string& path, json_object* object, const char* key, std::string& value) {
    json_object* member = nullptr;
    if (!json_object_object_get_ex(object, key, &member) || member == nullptr) {
        return true;
    }
    const char* const text = json_object_get_string(member);
    const char* const end = text + json_object_get_string_len(member);
    if (!json_object_is_type(member, json_type_string) || std::any_of(text, end, isControl)) {
        ostrel::report(LogLevel::error, "factory data %s: \"%s\" is not a line of text",
                       path.c_str(), key);
        return false;
    }
    if (text != end) {
        value = text;
    }
    return true;
}

// The same for an address, which must be one.
bool takeMac(const std::string& path, json_object* object, const char* key, std::string& value) {
    std::string text;
    if (!takeText(path, object, key, text)) {
        return false;
    }
    if (text.empty()) {
        return true;
    }
    const auto mac = ostrel::parseMac(text);
    if (!mac.has_value()) {
        ostrel::report(LogLevel::error, "factory data %s: \"%s\" is not a hardware address: %s",
                       path.c_str(), key, text.c_str());
        return false;
    }
    value = ostrel::macText(*mac);
    return true;
}

// Replaces what the file gives in `data`.
bool takeFile(const std::string& path, json_object* object, libfactory_data& data) {
    if (!takeText(path, object, "device-name", data.deviceName) ||
        !takeText(path, object, "serial-number", data.serialNumber) ||
        !takeText(path, object, "hardware-version", data.hardwareVersion) ||
        !takeMac(path, object, "mac", data.mac)) {
        return false;
    }
    data.mac2 = data.mac;
    return takeMac(path, object, "mac2", data.mac2);
}

}  // namespace

int libfactory_load(libfactory_data& data) {
    data = machineData();
    const std::string path = ostrel::factoryFile();
    std::string text;
    if (!readFile(path, text)) {
        if (errno == ENOENT) {
            return 0;
        }
        ostrel::report(LogLevel::error, "factory data %s: can't be read: %s", path.c_str(),
                       std::strerror(errno));
        return -1;
    }
    json_tokener_error error = json_tokener_success;
    const Json json(json_tokener_parse_verbose(text.c_str(), &error), json_object_put);
    if (!json_object_is_type(json.get(), json_type_object)) {
        ostrel::report(LogLevel::error, "factory data %s: not a JSON object (%s)", path.c_str(),
                       json_tokener_error_desc(error));
        return -1;
    }
    libfactory_data told = data;
    if (!takeFile(path, json.get(), told)) {
        return -1;
    }
    data = told;
    return 0;
}
