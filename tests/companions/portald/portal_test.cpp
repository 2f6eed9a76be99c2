// What stations get for what they ask.

#include <linux/neighbour.h>

#include <filesystem>
#include <fstream>

#include "portal_fixture.h"

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace portald::testing {
namespace {

constexpr const char* kLoginForm = "action=\"/portal/login\"";

std::string getFrom(const std::string& host, const std::string& path) {
    return "GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
}

struct Case {
    const char* from;
    std::string bytes;
    const char* status;
    const char* contains;
};

TEST_F(PortalTest, answersEachRequestAsTheStationsStateDemands) {
    Guest away{"02:00:00:00:00:03"};
    away.url = "https://portal.example/login?x=1";
    vestad.put("127.0.0.13", away);
    Guest over{"02:00:00:00:00:04"};
    over.url = "http://127.0.0.1:8888/over?why";
    over.endReason = "traffic-over";
    vestad.put("127.0.0.14", over);
    settings.venueUrl = "https://venue.example/";
    start();
    const std::string location = "Location: http://127.0.0.1:8888/";
    const Case cases[] = {
        {kAnna, getFrom("example.com", "/a"), "302", "Location: http://127.0.0.1:8888/\r\n"},
        {kAnna, getFrom("captive.apple.com", "/hotspot-detect.html"), "302", "Location: "},
        {kAnna, getFrom("any.example", "/generate_204"), "302", "Location: "},
        {kAnna, getFrom("www.msftconnecttest.com", "/redirect"), "302", "Location: "},
        {kAnna, "HEAD / HTTP/1.0\r\n\r\n", "302", "Location: "},
        {kAnna, "POST / HTTP/1.1\r\nHost: a.example\r\nContent-Length: 1\r\n\r\nx", "511", ""},
        {kAnna, "PUT / HTTP/1.1\r\nHost: a.example\r\n\r\n", "405", "Allow: GET"},
        {kAnna, "nonsense\r\n\r\n", "400", ""},
        {kAnna, "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n", "400", ""},
        {kAnna, "POST / HTTP/1.1\r\nContent-Length: 4097\r\n\r\n", "431", ""},
        {kAnna, "GET / HTTP/1.1\r\nCookie: " + std::string(20000, 'x'), "431", ""},
        {kAnna, getFrom("127.0.0.1:8888", "/any/page"), "200", kLoginForm},
        {kAnna, getFrom("127.0.0.1:8888", "/captive-portal/api"), "200",
         R"({"can-extend-session":false,"captive":true,"user-portal-url":"http://127.0.0.1:8888/",)"
         R"("venue-info-url":"https://venue.example/"})"},
        {kBert, getFrom("captive.apple.com", "/hotspot-detect.html"), "200", "<TITLE>Success"},
        {kBert, getFrom("any.example", "/generate_204"), "204", "\r\n\r\n"},
        {kBert, getFrom("www.msftconnecttest.com", "/connecttest.txt"), "200", "Microsoft Connect"},
        {kBert, getFrom("detectportal.firefox.com", "/success.txt"), "200", "success\n"},
        {kBert, getFrom("nmcheck.gnome.org", "/check_network_status.txt"), "200", "is online"},
        {kBert, getFrom("example.com", "/a"), "302", "Location: http://127.0.0.1:8888/\r\n"},
        {kBert, getFrom("127.0.0.1", "/"), "200", "<p>1\u00a0h 30\u00a0min <small>of 2\u00a0h"},
        {kBert, getFrom("127.0.0.1", "/"), "200", "max=\"100\" value=\"75\""},
        {kBert, getFrom("127.0.0.1", "/"), "200", "&lt;script&gt;bert&lt;/script&gt;"},
        {kBert, getFrom("127.0.0.1", "/"), "200", "Guest &lt;&amp;&gt;"},
        {kBert, getFrom("127.0.0.1", "/captive-portal/api"), "200",
         R"({"bytes-remaining":750,"can-extend-session":false,"captive":false,)"
         R"("seconds-remaining":5400,)"},
        {"127.0.0.13", getFrom("example.com", "/"), "302",
         "Location: https://portal.example/login?x=1\r\n"},
        {"127.0.0.13", getFrom("127.0.0.1:8888", "/"), "302", "Location: https://portal.example/"},
        {"127.0.0.14", getFrom("example.com", "/"), "302",
         "Location: http://127.0.0.1:8888/over?why\r\n"},
        {"127.0.0.14", getFrom("127.0.0.1:8888", "/over"), "200", "Your data is used up"},
        {"127.0.0.14", getFrom("127.0.0.1:8888", "/portal/login"), "200", kLoginForm},
        {"127.0.0.99", getFrom("127.0.0.1:8888", "/"), "503", "Retry-After: 2"},
        {"127.0.0.99", "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Forwarded-For: 127.0.0.12\r\n\r\n",
         "503", ""},
    };
    for (const Case& one : cases) {
        EXPECT_THAT(exchange(one.from, one.bytes),
                    AllOf(StartsWith(std::string("HTTP/1.1 ") + one.status),
                          HasSubstr(one.contains), HasSubstr("\r\nX-Content-Type-Options: nosniff"),
                          HasSubstr("\r\nContent-Security-Policy: default-src 'none'")))
            << one.from << " " << one.bytes.substr(0, 80);
    }
}

TEST_F(PortalTest, speaksTheLanguageOfTheBrowser) {
    start();
    const std::pair<const char*, const char*> cases[] = {
        {"de-AT,de;q=0.9,en;q=0.5", "Anmelden</h1>"},
        {"fr", "Se connecter</h1>"},
        {"xx, es;q=0.3, en;q=0.2", "Iniciar sesi"},
        {"", "Sign in</h1>"},
        {"<script>", "Sign in</h1>"},
    };
    for (const auto& [language, text] : cases) {
        EXPECT_THAT(get(kAnna, "/", std::string("Accept-Language: ") + language + "\r\n"),
                    HasSubstr(text));
    }
}

TEST_F(PortalTest, logsAStationInAndShowsItThat) {
    start();
    EXPECT_THAT(logIn(kAnna, "login=an%26na&password=right"),
                AllOf(StartsWith("HTTP/1.1 303"), HasSubstr("Location: /\r\n")));
    EXPECT_THAT(get(kAnna, "/"),
                AllOf(HasSubstr("You are online"), HasSubstr("an&amp;na"), Not(HasSubstr("bert"))));
}

TEST_F(PortalTest, showsAnAdmittedStationThePagesOfItsPortal) {
    const ostrel::testing::TempDirectory directory;
    std::filesystem::create_directory(directory.path() + "/cafe");
    std::ofstream(directory.path() + "/cafe/welcome.html") << "the café's";
    templates = directory.path();
    start();
    EXPECT_THAT(get(kAnna, "/"), HasSubstr("Sign in</h1>"));
    EXPECT_THAT(get(kBert, "/"), HasSubstr("the café's"));
}

TEST_F(PortalTest, waitsForARadiusServer) {
    start();
    EXPECT_THAT(logIn(kAnna, "login=anna&password=slow"), HasSubstr("Location: /\r\n"));
}

TEST_F(PortalTest, tellsWhoWasRefusedHowToGoOn) {
    start();
    EXPECT_THAT(logIn(kAnna, "login=anna&password=wrong"),
                HasSubstr("Location: /portal/refused\r\n"));
    Guest back{"02:00:00:00:00:01"};
    back.login = "\"><script>";
    vestad.put(kAnna, back);
    EXPECT_THAT(get(kAnna, "/"), AllOf(HasSubstr("That did not work"), HasSubstr(kLoginForm),
                                       HasSubstr("value=\"&quot;&gt;&lt;script&gt;\"")))
        << "it may have missed the page, because it was thrown off the air";
    EXPECT_THAT(get(kAnna, "/portal/login"), Not(HasSubstr("That did not work")));
}

TEST_F(PortalTest, takesNoFormThatIsNotItsOwn) {
    vestad.put("127.0.0.15", Guest("02:00:00:00:00:05"));
    start();
    const std::string right = "&login=anna&password=right";
    const std::string others = tokenFor("127.0.0.15");
    const std::pair<std::string, std::string> forms[] = {
        {"token=" + others + right, ""},
        {"token=1-00" + right, ""},
        {right, ""},
        {"token=" + tokenFor(kAnna) + right, "Sec-Fetch-Site: cross-site\r\n"},
    };
    for (const auto& [form, header] : forms) {
        EXPECT_THAT(post(kAnna, "/portal/login", form, header),
                    AllOf(StartsWith("HTTP/1.1 403"), HasSubstr("This page had expired")));
    }
    EXPECT_THAT(post(kBert, "/portal/logout", ""), StartsWith("HTTP/1.1 303"));
    EXPECT_TRUE(vestad.told("validate").is_null());
    EXPECT_TRUE(vestad.told("cp-del-client").is_null());
}

TEST_F(PortalTest, refusesWhatNoLoginCanBe) {
    start();
    for (const std::string& form :
         {std::string("login=anna&password="), std::string("login=&password=x"),
          std::string("login=a%0Ab&password=x"), std::string("login=%ff&password=x"),
          "login=" + std::string(254, 'a') + "&password=x"}) {
        EXPECT_THAT(logIn(kAnna, form), StartsWith("HTTP/1.1 400")) << form;
    }
    EXPECT_TRUE(vestad.told("validate").is_null());
}

TEST_F(PortalTest, limitsTheAttemptsOfAStation) {
    start();
    for (int i = 0; i < Attempts::kPerMinute; ++i) {
        EXPECT_THAT(post(kAnna, "/portal/login", "login=a&password=b"), StartsWith("HTTP/1.1 403"));
    }
    EXPECT_THAT(logIn(kAnna, "login=anna&password=right"),
                AllOf(StartsWith("HTTP/1.1 429"), HasSubstr("Retry-After: ")));
    vestad.put("127.0.0.15", Guest("02:00:00:00:00:05"));
    EXPECT_THAT(logIn("127.0.0.15", "login=b&password=right"), StartsWith("HTTP/1.1 303"));
}

TEST_F(PortalTest, asksForAgreementWhereTheOperatorWantsThatAlone) {
    settings.terms = {{"cafe", ""}, {"shop", "paid"}};
    Guest shop{"02:00:00:00:00:06"};
    shop.portalName = "shop";
    vestad.put("127.0.0.16", shop);
    start();
    EXPECT_THAT(get(kAnna, "/"),
                AllOf(HasSubstr("Terms of use"), Not(HasSubstr("name=\"password\""))));
    EXPECT_THAT(logIn(kAnna, "login=x&password=right"), StartsWith("HTTP/1.1 400"));
    EXPECT_THAT(logIn(kAnna, "accept=yes"), StartsWith("HTTP/1.1 303"));
    EXPECT_EQ(vestad.told("validate")["params"]["login"], "02:00:00:00:00:01");
    EXPECT_THAT(get(kAnna, "/"), AllOf(HasSubstr("online"), Not(HasSubstr("Signed in as"))));
    EXPECT_THAT(logIn("127.0.0.16", "accept=yes"), StartsWith("HTTP/1.1 303"));
    EXPECT_EQ(vestad.told("update")["params"]["cur-scenario-id"], "paid");
}

TEST_F(PortalTest, logsAStationOut) {
    start();
    EXPECT_THAT(post(kBert, "/portal/logout", "token=" + tokenFor(kBert)), HasSubstr("Signed out"));
    const Json told = vestad.awaitTold("cp-del-client");
    EXPECT_EQ(told["interface"], "wlan0-va1");
    EXPECT_EQ(told["mac"], "02:00:00:00:00:02");
}

TEST_F(PortalTest, findsAnIpv6StationByItsNeighbours) {
    const auto neighbour = [](const char* address, std::uint8_t mac, unsigned int device) {
        companion::Neighbour one;
        one.family = inet_pton(AF_INET, address, one.address.data()) == 1 ? AF_INET : AF_INET6;
        EXPECT_EQ(inet_pton(one.family, address, one.address.data()), 1);
        one.mac = {2, 0, 0, 0, 0, mac};
        one.device = device;
        one.state = NUD_STALE;
        return one;
    };
    kernelNeighbours = {
        neighbour("::1", 1, 3),        neighbour(kBert, 2, 3),
        neighbour(kBert, 1, 3),         // vestad has this address for another station
        neighbour("127.0.0.13", 1, 4),  // on another device it is another station
        neighbour(kAnna, 1, 3),
    };
    start();
    EXPECT_THAT(get("::1", "/"), HasSubstr("Sign in</h1>"));
    EXPECT_THAT(exchange("::1", getFrom("[::1]:8888", "/")), HasSubstr("Sign in</h1>"));
    EXPECT_THAT(exchange("::1", getFrom("example.com", "/")), StartsWith("HTTP/1.1 302"));
}

TEST(Neighbours, tellNothingOfAnAddressThatTwoStationsHave) {
    companion::Neighbour one;
    one.family = AF_INET6;
    one.address[15] = 1;
    one.state = NUD_STALE;
    one.device = 3;
    std::vector<companion::Neighbour> all = {one, one, one};
    all[1].device = 4;
    all[2].family = AF_INET;
    Neighbours neighbours([&] { return all; });
    EXPECT_EQ(neighbours.ownersOf("::1", 3).size(), 1U);
    EXPECT_EQ(neighbours.ownersOf("::1", 0).size(), 0U);
}

TEST_F(PortalTest, saysThatTheAccessPointIsBusyUntilVestadIsBack) {
    start();
    vestad.die();
    EXPECT_THAT(get(kAnna, "/"), AllOf(StartsWith("HTTP/1.1 503"), HasSubstr("Retry-After: 5")));
    vestad.start();
    EXPECT_THAT(get(kAnna, "/"), StartsWith("HTTP/1.1 200"));
}

}  // namespace
}  // namespace portald::testing
