#pragma once

// What a browser asks and what it is answered. Values, without threads.

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace portald {

// A request that was read whole. Everything in it comes from the station, but for the addresses.
struct Asked {
    std::string method;
    std::string path;                         // decoded, without the query
    std::string host;                         // of the header Host, in lower case, without the port
    std::string acceptLanguage;               // the header
    std::string fetchSite;                    // the header Sec-Fetch-Site
    std::map<std::string, std::string> form;  // the fields of a POST

    std::string peer;             // the address that the connection comes from
    unsigned int peerDevice = 0;  // index of the interface, of link-local addresses alone
    std::string local;            // the address of ours that it goes to
    bool secure = false;          // over TLS
};

struct Reply {
    int status = 200;
    std::string contentType = "text/plain; charset=utf-8";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
};

// Takes the answer to a request, once.
using Respond = std::function<void(const Reply&)>;
// Calls a function once, after the delay, on the same thread.
using Later = std::function<void(std::chrono::milliseconds, std::function<void()>)>;

// Sends the browser to `location`; `status` is 302, or 303 behind a POST.
[[nodiscard]] Reply redirect(int status, const std::string& location);

// The bytes of `reply`, which ends its connection. `withBody`: false for the method HEAD.
[[nodiscard]] std::string encodeReply(const Reply& reply, bool withBody);

}  // namespace portald
