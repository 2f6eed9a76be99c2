// Templates, texts, and the small parts that need no connection.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "platform/support.h"
#include "portald/attempts.h"
#include "portald/options.h"
#include "portald/page_set.h"
#include "portald/places.h"
#include "portald/token.h"
#include "support/fake_clock.h"

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace portald {
namespace {

std::string rendered(const std::string& text, const PageValues& values) {
    const PageTemplate page(
        text, [](std::string_view) { return true; }, true);
    const PageTemplate part(
        "[{{a}}]", [](std::string_view) { return true; }, false);
    return page.render(
        [&](std::string_view name) {
            const auto found = values.find(name);
            return found != values.end() ? found->second : "";
        },
        [&](std::string_view) -> const PageTemplate& { return part; });
}

TEST(PageTemplate, putsValuesAndSectionsIn) {
    const PageValues values = {{"a", "<A&'\">"}, {"b", "B"}};
    const std::pair<const char*, const char*> cases[] = {
        {"x{{b}}y{{ b }}", "xByB"},
        {"{{a}}", "&lt;A&amp;&#39;&quot;&gt;"},
        {"{{#b}}1{{#none}}2{{/none}}3{{/b}}", "13"},
        {"{{^b}}1{{/b}}{{^none}}2{{/none}}", "2"},
        {"{{#none}}1{{^b}}2{{/b}}{{/none}}4", "4"},
        {"{{! anything }}{ {b} }", "{ {b} }"},
        {"{{>head}}", "[&lt;A&amp;&#39;&quot;&gt;]"},
        {"", ""},
    };
    for (const auto& [text, page] : cases) {
        EXPECT_EQ(rendered(text, values), page) << text;
    }
}

TEST(PageTemplate, namesTheLineOfAMistake) {
    const std::pair<const char*, int> cases[] = {
        {"a\n{{b", 2},         {"{{#a}}\n\n{{#b}}\n{{/b}}", 1}, {"\n{{/a}}", 2},
        {"{{#a}}\n{{/b}}", 2}, {"\n\n{{>login}}", 3},           {"{{!\n\n}}{{unknown}}", 3},
        {"{{}}", 1},
    };
    for (const auto& [text, line] : cases) {
        try {
            PageTemplate(
                text, [](std::string_view name) { return name == "a" || name == "b"; }, true);
            ADD_FAILURE() << text;
        } catch (const PageTemplate::Mistake& mistake) {
            EXPECT_EQ(mistake.line, line) << text;
        }
    }
}

TEST(PageSet, takesTheOperatorsFilesBeforeItsOwn) {
    const ostrel::testing::TempDirectory directory;
    const auto write = [&](const std::string& name, const std::string& text) {
        std::filesystem::create_directories(
            std::filesystem::path(directory.path() + "/" + name).parent_path());
        std::ofstream(directory.path() + "/" + name) << text;
    };
    write("login.html", "everybody {{ssid}}");
    write("login.de.html", "alle");
    write("cafe/login.html", "café {{text.user}}");
    write("cafe/over.html", "broken\n{{nothing}}");
    write("head.html", "{{>foot}}");
    write("de.json", R"({"user": "Name"})");
    write("pt.json", R"({"user": "Nome"})");
    write("it.json", R"({"user": 1})");
    write("notes.txt", "{{");
    std::vector<std::string> complaints;
    const PageSet pages(directory.path(),
                        [&](const std::string& what) { complaints.push_back(what); });
    std::sort(complaints.begin(), complaints.end());
    EXPECT_THAT(complaints,
                ElementsAre(EndsWith("cafe/over.html:2: there is no value \"nothing\""),
                            EndsWith("head.html:1: nothing called \"foot\" can be included here"),
                            EndsWith("it.json: \"user\" is no text")));
    EXPECT_EQ(pages.render("", "login", "en", {{"ssid", "<s>"}}), "everybody &lt;s&gt;");
    EXPECT_EQ(pages.render("shop", "login", "de", {}), "alle");
    EXPECT_EQ(pages.render("cafe", "login", "de", {}), "café Name");
    EXPECT_EQ(pages.render("cafe", "login", pages.texts().choose("pt-BR"), {}), "café Nome");
    EXPECT_THAT(pages.render("cafe", "over", "en", {}), HasSubstr("<html lang=\"en\">"));
    EXPECT_THAT(pages.render("../login", "over", "en", {}), HasSubstr("Sign in again"));
}

TEST(Texts, areThereInEveryLanguage) {
    const Texts texts;
    EXPECT_GE(texts.languages().size(), 4U);
    for (const auto& [language, all] : texts.languages()) {
        for (const auto& [key, english] : texts.languages().at("en")) {
            EXPECT_FALSE(all.at(key).empty()) << language << " " << key;
            const bool isSentence = english.size() > 24;
            EXPECT_TRUE(language == "en" || !isSentence || all.at(key) != english)
                << language << " " << key;
        }
    }
}

TEST(Texts, chooseTheBestLanguageOfAHeader) {
    const Texts texts;
    const std::pair<std::string, const char*> cases[] = {
        {"de", "de"},
        {"DE-at", "de"},
        {"en;q=0.4, fr;q=0.9", "fr"},
        {"es;q=0,de;q=0.001", "de"},
        {"xx,,;q=1,fr;q=0.5", "fr"},
        {"fr;q=x, de;q=0.1", "de"},
        {"*", "en"},
        {",", "en"},
        {std::string(100000, ','), "en"},
        {std::string(600, ',') + "fr", "en"},
    };
    for (const auto& [header, language] : cases) {
        EXPECT_EQ(texts.choose(header), language) << header.substr(0, 40);
    }
}

TEST(Texts, writeAmountsAsTheLanguageDoes) {
    const Texts texts;
    EXPECT_EQ(texts.duration("en", 0), "0\u00a0s");
    EXPECT_EQ(texts.duration("en", 59), "59\u00a0s");
    EXPECT_EQ(texts.duration("en", 3600), "1\u00a0h");
    EXPECT_EQ(texts.duration("de", 7384), "2\u00a0Std. 3\u00a0Min.");
    EXPECT_EQ(texts.duration("en", 3 * 86400 + 7200), "3\u00a0d 2\u00a0h");
    EXPECT_EQ(texts.volume("en", 0), "0\u00a0kB");
    EXPECT_EQ(texts.volume("en", 999600), "1.0\u00a0MB");
    EXPECT_EQ(texts.volume("fr", 1500000000), "1,5\u00a0Go");
    EXPECT_EQ(texts.volume("en", 999400000), "999\u00a0MB");
}

TEST(Tokens, areGoodForOneStationAndHalfAnHour) {
    vesta::testing::FakeClock clock;
    const Tokens tokens;
    const std::string token = tokens.make("a");
    EXPECT_TRUE(tokens.isValid(token, "a"));
    EXPECT_FALSE(tokens.isValid(token, "b"));
    EXPECT_FALSE(tokens.isValid("9" + token, "a"));
    EXPECT_FALSE(tokens.isValid(token + "0", "a"));
    EXPECT_FALSE(tokens.isValid("", "a"));
    EXPECT_FALSE(Tokens().isValid(token, "a")) << "each has a key of its own";
    clock.advanceSeconds(1801);
    EXPECT_FALSE(tokens.isValid(token, "a"));
}

TEST(Attempts, areCountedByStationAndMinute) {
    vesta::testing::FakeClock clock;
    Attempts attempts;
    for (int i = 0; i < Attempts::kPerMinute; ++i) {
        EXPECT_EQ(attempts.count("a"), 0);
    }
    clock.advanceSeconds(20);
    EXPECT_EQ(attempts.count("a"), 40);
    EXPECT_EQ(attempts.count("b"), 0);
    clock.advanceSeconds(40);
    EXPECT_EQ(attempts.count("a"), 0);
    attempts.refused("a");
    EXPECT_TRUE(attempts.wasRefused("a"));
    clock.advanceSeconds(121);
    EXPECT_FALSE(attempts.wasRefused("a"));
    for (std::size_t i = 0; i < 2 * Attempts::kMostStations; ++i) {
        static_cast<void>(attempts.count(std::to_string(i)));
    }
    EXPECT_EQ(attempts.stations(), Attempts::kMostStations);
}

TEST(Places, areOverTlsWhereThereIsACertificateWithItsName) {
    Asked asked;
    asked.local = "fe80::1";
    Station station;
    Settings settings;
    const auto locationOf = [&](const char* accessPoint, const char* url) {
        station.accessPointIp = accessPoint;
        station.redirectUrl = url;
        return redirectLocation(asked, station, settings);
    };
    EXPECT_EQ(locationOf("10.1.0.1", "http://10.1.0.1/a"), "http://10.1.0.1:8888/a");
    EXPECT_EQ(locationOf("10.1.0.1", "http://10.1.0.1:80/a"), "http://10.1.0.1:80/a");
    EXPECT_EQ(locationOf("0.0.0.0", ""), "http://[fe80::1]:8888/");
    settings.name = "portal.example";
    EXPECT_EQ(locationOf("10.1.0.1", "http://portal.example/a"), "http://10.1.0.1:8888/a");
    settings.tlsPort = 8443;
    EXPECT_EQ(locationOf("10.1.0.1", "http://10.1.0.1/a?b"), "https://portal.example:8443/a?b");
    EXPECT_EQ(locationOf("10.1.0.1", "https://other.example/"), "https://other.example/");
}

TEST(Options, areReadAndPrintedForDnsmasq) {
    int status = -1;
    const char* const words[] = {"portald", "--terms", "cafe",           "--terms",
                                 "*=paid",  "--name",  "portal.example", "--print-dhcp"};
    const std::optional<Options> options =
        parseOptions(static_cast<int>(std::size(words)), words, status);
    ASSERT_TRUE(options);
    EXPECT_EQ(options->settings.terms.at("cafe"), "");
    EXPECT_EQ(options->settings.terms.at("*"), "paid");
    EXPECT_THAT(dhcpLines(options->settings),
                HasSubstr("\ndhcp-option=114,https://portal.example:8443/captive-portal/api\n"));
    const char* const wrong[] = {"portald", "--key", "/dev/null"};
    EXPECT_FALSE(parseOptions(3, wrong, status));
    EXPECT_EQ(status, 2);
}

}  // namespace
}  // namespace portald
