#include "support.h"

namespace ostrel::testing {
namespace {

TEST(Codec, TakesWhatIsWellFormedAndNothingElse) {
    const struct {
        const char* what;
        const char* hex;  // with AUTH for any authenticator
        bool good;
    } rows[] = {{"nothing", "", false},
                {"a header cut short", "02010013", false},
                {"a length below the header", "02010013 AUTH", false},
                {"no attributes", "02010014 AUTH", true},
                {"a length beyond the datagram", "02010015 AUTH", false},
                {"a length beyond 4096", "02011001 AUTH", false},
                {"padding behind the length", "02010014 AUTH ffff", true},
                {"one byte of value", "02010017 AUTH 010361", true},
                {"a value of none", "02010016 AUTH 0102", false},
                {"an attribute length of 0", "02010016 AUTH 0100", false},
                {"an attribute length of 1", "02010017 AUTH 010161", false},
                {"half an attribute header", "02010015 AUTH 01", false},
                {"an attribute beyond the end", "02010017 AUTH 010461", false},
                {"a second one beyond the end", "0201001a AUTH 010361 01ff61", false}};
    for (const auto& row : rows) {
        std::string hex = row.hex;
        if (const std::size_t at = hex.find("AUTH"); at != std::string::npos) {
            hex.replace(at, 4, "00112233445566778899aabbccddeeff");
        }
        EXPECT_EQ(parse(fromHex(hex)) != nullptr, row.good) << row.what;
    }
}

TEST(Message, HoldsFourThousandNinetySixBytesAndNotOneMore) {
    const Message msg(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCOUNTING_REQUEST, 1));
    const std::string value(253, 'x');
    for (int i = 0; i < 15; ++i) {
        ASSERT_TRUE(librad_radius_msg_add_attr(msg.get(), 25, value.data(), 253));
    }
    EXPECT_FALSE(librad_radius_msg_add_attr(msg.get(), 25, value.data(), 250));  // 4097
    EXPECT_EQ(bytesOf(msg.get()).size(), 20U + 15 * 255U);
    EXPECT_TRUE(librad_radius_msg_add_attr(msg.get(), 25, value.data(), 249));  // 4096
    ByteString bytes = bytesOf(msg.get());
    EXPECT_NE(parse(bytes), nullptr);
    bytes.push_back('x');  // the last attribute and the packet grow by one
    ++bytes[bytes.size() - 251];
    bytes[2] = 0x10;
    bytes[3] = 0x01;
    EXPECT_EQ(parse(bytes), nullptr);
    EXPECT_FALSE(librad_radius_msg_add_attr(msg.get(), 25, "", 0));
    EXPECT_FALSE(librad_radius_msg_add_attr(msg.get(), 25, std::string(254, 'x').data(), 254));
}

// RFC 2865 section 7.1: "nemo" with the password "arctangent".
TEST(Message, HidesPasswordsAndChecksAnswersLikeTheExampleOfTheRfc) {
    const std::string secret = "xyzzy5461";
    const std::string password = "arctangent";
    const Message request = parse(fromHex("01000014 0f403f9473978057bd83d5cb98f4227a"));
    ASSERT_TRUE(librad_radius_msg_add_attr(request.get(), 1, "nemo", 4));
    ASSERT_TRUE(librad_radius_msg_add_attr_user_password(
        request.get(), bytesOf(password), password.size(), bytesOf(secret), secret.size()));
    ASSERT_TRUE(librad_radius_msg_add_attr(request.get(), 4, "\xc0\xa8\x01\x10", 4));
    ASSERT_TRUE(librad_radius_msg_add_attr_int32(request.get(), 5, 3));
    EXPECT_EQ(bytesOf(request.get()),
              fromHex("01000038 0f403f9473978057bd83d5cb98f4227a 01066e656d6f"
                      "02120dbe708d93d413ce3196e43f782a0aee 0406c0a80110 050600000003"));

    ByteString accept =
        fromHex("02000026 86fe220e7624ba2a1005f6bf9b55e0b2 060600000001 0f0600000000 0e06c0a80103");
    EXPECT_EQ(librad_radius_msg_verify_acct(parse(accept).get(), bytesOf(secret), secret.size(),
                                            request.get()),
              0);
    accept.back() ^= 1U;
    EXPECT_NE(librad_radius_msg_verify_acct(parse(accept).get(), bytesOf(secret), secret.size(),
                                            request.get()),
              0);
}

TEST(Message, HidesPasswordsInBlocksOfSixteenUpToOneHundredAndTwentyEight) {
    const std::string secret = "s";
    const std::string password(129, 'p');
    for (const auto& [length, hidden] : std::vector<std::pair<std::size_t, std::size_t>>{
             {0, 16}, {1, 16}, {16, 16}, {17, 32}, {128, 128}, {129, 0}}) {
        const Message msg(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCESS_REQUEST, 1));
        EXPECT_EQ(librad_radius_msg_add_attr_user_password(msg.get(), bytesOf(password), length,
                                                           bytesOf(secret), 1),
                  hidden != 0);
        EXPECT_EQ(text(msg.get(), LIBRAD_RADIUS_ATTR_USER_PASSWORD).size(), hidden);
    }
}

TEST(Message, PutsAnEapPacketTogetherFromItsPieces) {
    const Message msg(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCESS_REQUEST, 1));
    ByteString eap(600);
    for (std::size_t i = 0; i < eap.size(); ++i) {
        eap[i] = static_cast<std::uint8_t>(i * 7);
    }
    ASSERT_TRUE(librad_radius_msg_add_eap(msg.get(), eap.data(), eap.size()));
    unsigned int length = 0;
    const unsigned char* whole = librad_radius_msg_get_eap(msg.get(), &length);
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(ByteString(whole, whole + length), eap);

    const ByteString before = bytesOf(msg.get());
    const ByteString tooLong(4000);
    EXPECT_FALSE(librad_radius_msg_add_eap(msg.get(), tooLong.data(), tooLong.size()));
    EXPECT_EQ(bytesOf(msg.get()), before);
}

// Vendor 32473 is 0x00007ed9.
TEST(Message, FindsTheMakersAttributesAmongOthersAndBrokenOnes) {
    unsigned int length = 0;
    const Message good =
        parse(fromHex("0201003d 00112233445566778899aabbccddeeff"
                      "1a0c 0000000a 1f06 deadbeef"          // another vendor's 31
                      "1a03 00"                              // too short for a vendor
                      "1a0c 00007ed9 1f07 00000001"          // runs beyond its attribute
                      "1a0e 00007ed9 0102 1f06 00000001"));  // behind one without a value
    ASSERT_NE(good, nullptr);
    const unsigned char* value = librad_radius_msg_get_ostrel_attr(good.get(), 31, &length);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(toHex(value, length), "00000001");
    EXPECT_EQ(librad_radius_msg_get_ostrel_attr(good.get(), 33, &length), nullptr);
    EXPECT_EQ(length, 0U);

    const Message made(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCESS_ACCEPT, 1));
    ASSERT_TRUE(librad_radius_msg_add_ostrel_attr(made.get(), 33, "http://x", 8));
    EXPECT_EQ(toHex(bytesOf(made.get()).data() + 20, 16), "1a1000007ed9210a687474703a2f2f78");
}

TEST(Message, DrawsAnotherAuthenticatorEachTime) {
    EXPECT_NE(bytesOf(accessRequest(1).get()), bytesOf(accessRequest(1).get()));
}

}  // namespace
}  // namespace ostrel::testing
