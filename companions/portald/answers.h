#pragma once

// The answers that stations get: each page with its texts and values, and the API's.
//
// Threads: one object belongs to one thread.

#include <string>

#include "portald/messages.h"
#include "portald/page_set.h"
#include "portald/settings.h"
#include "portald/station.h"
#include "portald/token.h"

namespace portald {

class Answers {
public:
    // All live longer than this object.
    Answers(const PageSet& pages, const Tokens& tokens, const Settings& settings);

    // `notice`: the key of a text, or "".
    [[nodiscard]] Reply login(const Station& station, const std::string& acceptLanguage,
                              const char* notice, const std::string& login = "") const;
    [[nodiscard]] Reply refused(const Station& station, const std::string& acceptLanguage) const;
    [[nodiscard]] Reply unanswered(const Station& station, const std::string& acceptLanguage) const;
    // Its time or its volume is used up.
    [[nodiscard]] Reply over(const Station& station, const std::string& acceptLanguage) const;
    [[nodiscard]] Reply welcome(const Station& station, const std::string& acceptLanguage,
                                const Remaining& remaining) const;
    [[nodiscard]] Reply signedOut(const Station& station, const std::string& acceptLanguage) const;
    [[nodiscard]] Reply tooManyAttempts(const Station& station, const std::string& acceptLanguage,
                                        int seconds) const;
    // There is no answer from vestad.
    [[nodiscard]] Reply busy(const std::string& acceptLanguage) const;
    // vestad does not know the station yet.
    [[nodiscard]] Reply unknown(const std::string& acceptLanguage) const;

    // RFC 8908, section 5.
    [[nodiscard]] Reply api(const Station& station, const std::string& userPortalUrl,
                            const Remaining& remaining) const;

    // Null where a login takes a password, else the scenario that agreement leads to ("": vestad
    // decides).
    [[nodiscard]] const std::string* termsOf(const Station& station) const;

private:
    struct Page {
        const char* name;
        const char* title;    // the key of a text
        const char* message;  // the same, or ""
    };

    [[nodiscard]] Reply write(const Page& page, const Station& station,
                              const std::string& acceptLanguage, PageValues values,
                              int status = 200) const;
    [[nodiscard]] Reply withNotice(const Page& page, const Station& station,
                                   const std::string& acceptLanguage, const char* notice,
                                   const std::string& login) const;
    [[nodiscard]] Reply later(const Page& page, const std::string& acceptLanguage,
                              const char* seconds) const;

    const PageSet& pages_;
    const Tokens& tokens_;
    const Settings& settings_;
};

}  // namespace portald
