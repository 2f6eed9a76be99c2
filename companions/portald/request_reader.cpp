#include "portald/request_reader.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

namespace portald {
namespace {

// A request in memory, and an answer that nobody gets.
class MemoryStream final : public httplib::Stream {
public:
    explicit MemoryStream(std::string_view bytes) : bytes_(bytes) {}

    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    ssize_t read(char* ptr, size_t size) override {
        const std::size_t count = std::min(size, bytes_.size());
        std::memcpy(ptr, bytes_.data(), count);
        bytes_.remove_prefix(count);
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char*, size_t size) override { return static_cast<ssize_t>(size); }
    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return INVALID_SOCKET; }

private:
    std::string_view bytes_;
};

constexpr std::string_view kEndOfHead = "\r\n\r\n";

bool isHeader(std::string_view line, std::string_view name) {
    return line.size() > name.size() && line[name.size()] == ':' &&
           strncasecmp(line.data(), name.data(), name.size()) == 0;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    const std::size_t end = text.find_last_not_of(" \t\r");
    return begin == std::string_view::npos ? "" : text.substr(begin, end - begin + 1);
}

// What the head, which ends with an empty line, says of the body's bytes. Nothing when that can't
// be told beforehand; no browser sends a form so.
std::optional<std::size_t> bodySize(std::string_view head) {
    std::size_t size = 0;
    while (!head.empty()) {
        const std::size_t end = std::min(head.find('\n'), head.size() - 1);
        const std::string_view line = head.substr(0, end);
        head.remove_prefix(end + 1);
        if (isHeader(line, "Transfer-Encoding")) {
            return std::nullopt;
        }
        if (isHeader(line, "Content-Length")) {
            const std::string_view value = trimmed(line.substr(line.find(':') + 1));
            const char* const last = value.data() + value.size();
            const auto [stop, error] = std::from_chars(value.data(), last, size);
            if (error != std::errc() || stop != last) {
                return std::nullopt;
            }
        }
    }
    return size;
}

// In lower case, without the port: "[fe80::1]:8888" is "fe80::1".
std::string hostOf(const std::string& header) {
    std::string host = header.substr(0, 255);
    if (!host.empty() && host.front() == '[') {
        host = host.substr(1, host.find(']') - 1);
    } else {
        host = host.substr(0, host.find(':'));
    }
    std::transform(host.begin(), host.end(), host.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    return host;
}

// A station decides neither how a form is unpacked, nor how an answer is cut or packed.
void ignoreEncodings(httplib::Request& request) {
    for (const char* const header : {"Accept-Encoding", "Content-Encoding", "Expect"}) {
        request.headers.erase(header);
    }
    request.ranges.clear();
    request.params.clear();  // those of the query, which no page has
}

}  // namespace

Arrival arrivalOf(const std::string& bytes, std::size_t& looked) {
    const std::size_t found = bytes.find(kEndOfHead, looked);
    if (found == std::string::npos) {
        looked = bytes.size() < kEndOfHead.size() ? 0 : bytes.size() - kEndOfHead.size() + 1;
        return bytes.size() >= kMostRequestBytes ? Arrival::tooLarge : Arrival::partly;
    }
    looked = found;
    const std::size_t head = found + kEndOfHead.size();
    const std::optional<std::size_t> body = bodySize(std::string_view(bytes).substr(0, head));
    if (!body) {
        return Arrival::unreadable;
    }
    if (*body > kMostBodyBytes) {
        return Arrival::tooLarge;
    }
    return bytes.size() - head >= *body ? Arrival::whole : Arrival::partly;
}

RequestReader::RequestReader() {
    set_payload_max_length(kMostBodyBytes);
    // A POST is taken when its body has been read too.
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response&) {
        if (request.method == "POST") {
            return HandlerResponse::Unhandled;
        }
        take(request);
        return HandlerResponse::Handled;
    });
    Post(".*", [this](const httplib::Request& request, httplib::Response&) { take(request); });
}

std::optional<Asked> RequestReader::read(const std::string& bytes) {
    asked_.reset();
    MemoryStream stream(bytes);
    bool closed = false;
    process_request(stream, true, closed, ignoreEncodings);
    return std::move(asked_);
}

void RequestReader::take(const httplib::Request& request) {
    Asked asked;
    asked.method = request.method;
    asked.path = request.path;
    asked.host = hostOf(request.get_header_value("Host"));
    asked.acceptLanguage = request.get_header_value("Accept-Language");
    asked.fetchSite = request.get_header_value("Sec-Fetch-Site");
    for (const auto& [name, value] : request.params) {
        asked.form.emplace(name, value);
    }
    asked_ = std::move(asked);
}

}  // namespace portald
