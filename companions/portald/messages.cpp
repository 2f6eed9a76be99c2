#include "portald/messages.h"

namespace portald {
namespace {

const char* reasonOf(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 204:
            return "No Content";
        case 302:
            return "Found";
        case 303:
            return "See Other";
        case 400:
            return "Bad Request";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 429:
            return "Too Many Requests";
        case 431:
            return "Request Header Fields Too Large";
        case 503:
            return "Service Unavailable";
        case 511:
            return "Network Authentication Required";
        default:
            return "Error";
    }
}

// Nothing from elsewhere is loaded, no script runs, no other site frames the page or gets its form.
constexpr const char* kSafety =
    "Content-Security-Policy: default-src 'none'; style-src 'unsafe-inline'; img-src data:; "
    "form-action 'self'; base-uri 'none'; frame-ancestors 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Referrer-Policy: no-referrer\r\n";

bool hasCacheControl(const Reply& reply) {
    for (const auto& header : reply.headers) {
        if (header.first == "Cache-Control") {
            return true;
        }
    }
    return false;
}

// A value ends where its line would.
std::string lineOf(const std::string& value) {
    return value.substr(0, value.find_first_of(std::string("\r\n\0", 3)));
}

}  // namespace

Reply redirect(int status, const std::string& location) {
    Reply reply;
    reply.status = status;
    reply.headers.emplace_back("Location", location);
    return reply;
}

std::string encodeReply(const Reply& reply, bool withBody) {
    std::string bytes = "HTTP/1.1 " + std::to_string(reply.status) + " " + reasonOf(reply.status) +
                        "\r\nConnection: close\r\n" + kSafety;
    if (!hasCacheControl(reply)) {
        bytes += "Cache-Control: no-store\r\n";
    }
    for (const auto& [name, value] : reply.headers) {
        bytes += name + ": " + lineOf(value) + "\r\n";
    }
    if (reply.status != 204) {
        bytes += "Content-Type: " + reply.contentType +
                 "\r\nContent-Length: " + std::to_string(reply.body.size()) + "\r\n";
    }
    bytes += "\r\n";
    return withBody && reply.status != 204 ? bytes + reply.body : bytes;
}

}  // namespace portald
