#pragma once

// The pages that stations get: a built-in set, and what an operator puts in place of it in a
// directory. docs/portald.md has the names of files and values.
//
// Threads: not changed after construction; any thread may render.

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "portald/page_template.h"
#include "portald/texts.h"

namespace portald {

using PageValues = std::map<std::string, std::string, std::less<>>;

class PageSet {
public:
    // Told of a file that can't be used ("DIR/login.html:3: ..."); the built-in one serves then.
    using Complaint = std::function<void(const std::string&)>;

    // `directory`: the operator's files; "" for none.
    PageSet(const std::string& directory, const Complaint& complain);

    // The page `page` ("login") for a virtual portal, with `values` and the texts of `language`,
    // which is one of texts().
    [[nodiscard]] std::string render(const std::string& portalName, const std::string& page,
                                     const std::string& language, const PageValues& values) const;
    [[nodiscard]] const Texts& texts() const { return texts_; }

private:
    void loadBuiltin();
    void loadDirectory(const std::string& directory, const std::string& prefix,
                       const Complaint& complain);
    void loadFile(const std::string& file, const std::string& prefix, const std::string& stem,
                  bool isTexts);
    [[nodiscard]] bool isName(std::string_view name) const;
    [[nodiscard]] const PageTemplate& find(const std::string& portalName, std::string_view page,
                                           const std::string& language) const;

    Texts texts_;
    // By "page", "page.LANGUAGE", "PORTAL/page" and "PORTAL/page.LANGUAGE"; the built-in ones
    // by "*page".
    std::map<std::string, PageTemplate> templates_;
};

}  // namespace portald
