// Connections that are not as they should be, and those over TLS.

#include <httplib.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include "portal_fixture.h"

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace portald::testing {
namespace {

using Clock = std::chrono::steady_clock;

TEST_F(PortalTest, slowStationsHoldNobodyUp) {
    limits.receiving = std::chrono::milliseconds(2000);
    start();
    std::vector<std::unique_ptr<Browser>> slow;
    for (int i = 0; i < 400; ++i) {
        slow.push_back(std::make_unique<Browser>(port, "127.0.1." + std::to_string(i % 100 + 1)));
        slow.back()->send("GET / HTTP/1.1\r\nX: ");
    }
    for (int i = 0; i < 20; ++i) {
        const auto begin = Clock::now();
        EXPECT_THAT(get(kAnna, "/"), StartsWith("HTTP/1.1 200"));
        EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(1500));
        slow[0]->send("x");
    }
    EXPECT_THAT(slow[0]->receive(), IsEmpty()) << "more bytes bring no more time";
}

TEST_F(PortalTest, aStationHasItsShareOfConnectionsAndNoMore) {
    limits.perAddress = 4;
    start();
    std::vector<std::unique_ptr<Browser>> held;
    for (int i = 0; i < 4; ++i) {
        held.push_back(std::make_unique<Browser>(port, kAnna));
    }
    EXPECT_THAT(get(kAnna, "/"), IsEmpty());
    EXPECT_THAT(get(kBert, "/"), StartsWith("HTTP/1.1 200"));
}

TEST_F(PortalTest, theOldestSilentConnectionGivesWay) {
    limits.connections = 3;
    start();
    std::vector<std::unique_ptr<Browser>> held;
    for (int i = 0; i < 3; ++i) {
        held.push_back(std::make_unique<Browser>(port, kBert));
    }
    EXPECT_THAT(get(kAnna, "/"), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(held[0]->receive(), IsEmpty());
    held[2]->send("GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    EXPECT_THAT(held[2]->receive(), StartsWith("HTTP/1.1 200"));
}

TEST_F(PortalTest, takesARequestInPieces) {
    start();
    const Browser browser(port, kAnna);
    for (const char c : std::string("GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")) {
        browser.send({c});
    }
    EXPECT_THAT(browser.receive(), StartsWith("HTTP/1.1 200"));
}

// A self-signed certificate in `directory`.
void makeCertificate(const std::string& directory) {
    EVP_PKEY* const key = EVP_EC_gen("P-256");
    X509* const certificate = X509_new();
    X509_gmtime_adj(X509_getm_notBefore(certificate), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
    X509_set_pubkey(certificate, key);
    X509_sign(certificate, key, EVP_sha256());
    FILE* const keyFile = fopen((directory + "/key.pem").c_str(), "w");
    PEM_write_PrivateKey(keyFile, key, nullptr, nullptr, 0, nullptr, nullptr);
    fclose(keyFile);
    FILE* const certificateFile = fopen((directory + "/certificate.pem").c_str(), "w");
    PEM_write_X509(certificateFile, certificate);
    fclose(certificateFile);
    X509_free(certificate);
    EVP_PKEY_free(key);
}

TEST_F(PortalTest, servesTheApiOverTls) {
    makeCertificate(runtime.path());
    const TlsContext context =
        makeTlsContext(runtime.path() + "/certificate.pem", runtime.path() + "/key.pem");
    tls = context.get();
    settings.tlsPort = 8443;
    settings.name = "portal.example";
    start();
    const Browser silent(port, kBert);
    const Browser rude(port, kBert);
    rude.send("GET / HTTP/1.1\r\n\r\n");
    httplib::SSLClient client("127.0.0.1", port);
    client.enable_server_certificate_verification(false);
    client.set_address_family(AF_INET);
    vestad.put("127.0.0.1", Guest("02:00:00:00:00:07"));
    const auto answer = client.Get("/captive-portal/api");
    ASSERT_TRUE(answer) << httplib::to_string(answer.error());
    EXPECT_EQ(answer->get_header_value("Content-Type"), "application/captive+json");
    EXPECT_EQ(answer->get_header_value("Cache-Control"), "private");
    EXPECT_EQ(Json::parse(answer->body)["user-portal-url"], "https://portal.example:8443/");
    EXPECT_THAT(client.Get("/")->body, HasSubstr("Sign in"));
}

TEST(TlsContext, namesTheFileThatCantBeUsed) {
    vesta::testing::RuntimeDirectory directory;
    makeCertificate(directory.path());
    const std::string good = directory.path() + "/certificate.pem";
    try {
        static_cast<void>(makeTlsContext(good, good));
        FAIL() << "a certificate is no key";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), StartsWith(good));
    }
}

}  // namespace
}  // namespace portald::testing
