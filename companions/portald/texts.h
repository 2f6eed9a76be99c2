#pragma once

// The texts of the pages in several languages, and the choice among them.
//
// Threads: not changed after construction and load(); any thread may read.

#include <map>
#include <string>
#include <string_view>

namespace portald {

class Texts {
public:
    // The languages that are built in.
    Texts();

    // Replaces texts of a language, or adds one: `json` is an object of texts; `language` is as
    // browsers write it ("pt", "pt-br"). Texts that are missing stay, or are the English ones.
    // Throws std::runtime_error that names line or key.
    void load(const std::string& language, const std::string& json);

    // The best of the languages for a header Accept-Language (RFC 9110, section 12.5.4); English
    // when it names none of them.
    [[nodiscard]] std::string choose(std::string_view acceptLanguage) const;

    // "" for a key that there is not. `language` is one that choose() gave.
    [[nodiscard]] const std::string& text(const std::string& language, std::string_view key) const;
    [[nodiscard]] bool hasKey(std::string_view key) const;

    // "2 h 5 min" and "1.5 GB", in the language's writing.
    [[nodiscard]] std::string duration(const std::string& language, std::int64_t seconds) const;
    [[nodiscard]] std::string volume(const std::string& language, std::int64_t bytes) const;

    using Language = std::map<std::string, std::string, std::less<>>;
    [[nodiscard]] const std::map<std::string, Language>& languages() const { return languages_; }

private:
    std::map<std::string, Language> languages_;
};

}  // namespace portald
