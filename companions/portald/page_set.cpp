#include "portald/page_set.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "portald/builtin.h"

namespace portald {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kMostFileBytes = 262144;
constexpr std::string_view kTextPrefix = "text.";
// What a page may show beside the texts. "language" and "title" every page has.
constexpr std::array<std::string_view, 15> kNames = {
    "language",    "title",      "message",     "notice",        "token",
    "login",       "ssid",       "terms",       "reload",        "time-left",
    "time-in-all", "time-share", "volume-left", "volume-in-all", "volume-share"};

bool isPart(std::string_view page) {
    return page == "head" || page == "form" || page == "foot";
}

std::string contentOf(const fs::path& file) {
    if (fs::file_size(file) > kMostFileBytes) {
        throw std::runtime_error("more than 256 KiB");
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("can't be read");
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

// "login" and "login.de" stand for the page "login".
bool isPage(const std::string& stem) {
    const std::string page = stem.substr(0, stem.find('.'));
    const auto& pages = builtinPages();
    return std::any_of(pages.begin(), pages.end(),
                       [&](const Builtin& one) { return one.name == page; });
}

}  // namespace

PageSet::PageSet(const std::string& directory, const Complaint& complain) {
    loadBuiltin();
    if (!directory.empty()) {
        loadDirectory(directory, "", complain);
    }
}

void PageSet::loadBuiltin() {
    for (const Builtin& page : builtinPages()) {
        templates_.emplace("*" + std::string(page.name),
                           PageTemplate(
                               page.content, [this](std::string_view name) { return isName(name); },
                               !isPart(page.name)));
    }
}

void PageSet::loadDirectory(const std::string& directory, const std::string& prefix,
                            const Complaint& complain) {
    std::error_code error;
    fs::directory_iterator entries(directory, error);
    if (error) {
        complain(directory + ": " + error.message());
        return;
    }
    for (const fs::directory_entry& entry : entries) {
        const std::string file = entry.path().string();
        const std::string stem = entry.path().stem().string();
        const std::string extension = entry.path().extension().string();
        if (entry.is_directory(error)) {
            if (prefix.empty()) {
                loadDirectory(file, entry.path().filename().string() + "/", complain);
            }
            continue;
        }
        const bool isTexts = extension == ".json" && prefix.empty();
        if (!isTexts && (extension != ".html" || !isPage(stem))) {
            continue;
        }
        try {
            loadFile(file, prefix, stem, isTexts);
        } catch (const PageTemplate::Mistake& mistake) {
            complain(file + ":" + std::to_string(mistake.line) + ": " + mistake.what());
        } catch (const std::exception& other) {
            complain(file + ": " + other.what());
        }
    }
}

void PageSet::loadFile(const std::string& file, const std::string& prefix, const std::string& stem,
                       bool isTexts) {
    const std::string content = contentOf(file);
    if (isTexts) {
        texts_.load(stem, content);
        return;
    }
    templates_.insert_or_assign(prefix + stem,
                                PageTemplate(
                                    content, [this](std::string_view name) { return isName(name); },
                                    !isPart(stem.substr(0, stem.find('.')))));
}

bool PageSet::isName(std::string_view name) const {
    if (name.substr(0, kTextPrefix.size()) == kTextPrefix) {
        return texts_.hasKey(name.substr(kTextPrefix.size()));
    }
    return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

const PageTemplate& PageSet::find(const std::string& portalName, std::string_view page,
                                  const std::string& language) const {
    const std::string name(page);
    for (const std::string& prefix : {portalName + "/", std::string()}) {
        for (const std::string& stem : {name + "." + language, name}) {
            const auto found = templates_.find(prefix + stem);
            if (found != templates_.end()) {
                return found->second;
            }
        }
    }
    return templates_.at("*" + name);
}

std::string PageSet::render(const std::string& portalName, const std::string& page,
                            const std::string& language, const PageValues& values) const {
    const auto valueOf = [&](std::string_view name) -> std::string {
        if (name.substr(0, kTextPrefix.size()) == kTextPrefix) {
            return texts_.text(language, name.substr(kTextPrefix.size()));
        }
        if (name == "language") {
            return language;
        }
        const auto found = values.find(name);
        return found != values.end() ? found->second : "";
    };
    const auto partOf = [&](std::string_view name) -> const PageTemplate& {
        return find(portalName, name, language);
    };
    return find(portalName, page, language).render(valueOf, partOf);
}

}  // namespace portald
