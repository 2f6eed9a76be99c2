#include "support.h"

namespace ostrel::testing {
namespace {

const std::string kAuth = "00112233445566778899aabbccddeeff";  // any authenticator

Message newMessage(std::uint8_t code) {
    return Message(librad_radius_msg_new(code, 1));
}

TEST(Message, IsTakenWhenItIsWellFormedAndNotOtherwise) {
    const struct {
        const char* what;
        std::string hex;
        bool good = false;
    } rows[] = {{"nothing", ""},
                {"a header cut short", "02010013"},
                {"a length below the header", "02010013" + kAuth},
                {"no attributes", "02010014" + kAuth, true},
                {"a length beyond the datagram", "02010015" + kAuth},
                {"padding behind the length", "02010014" + kAuth + "ffff", true},
                {"one byte of value", "02010017" + kAuth + "010361", true},
                {"a value of none", "02010016" + kAuth + "0102"},
                {"an attribute length of 0", "02010016" + kAuth + "0100"},
                {"an attribute length of 1", "02010017" + kAuth + "010161"},
                {"half an attribute header", "02010015" + kAuth + "01"},
                {"an attribute beyond the end", "02010017" + kAuth + "010461"},
                {"a second one beyond the end", "0201001a" + kAuth + "010361 01ff61"}};
    for (const auto& row : rows) {
        EXPECT_EQ(parse(fromHex(row.hex)) != nullptr, row.good) << row.what;
    }
}

TEST(Message, HoldsFourThousandNinetySixBytesAndNotOneMore) {
    const Message msg = newMessage(LIBRAD_RADIUS_CODE_ACCOUNTING_REQUEST);
    const std::string value(254, 'x');
    const auto add = [&](std::size_t length) {
        return librad_radius_msg_add_attr(msg.get(), 25, value.data(), length);
    };
    EXPECT_FALSE(add(0));
    EXPECT_FALSE(add(254));
    for (int i = 0; i < 15; ++i) {
        EXPECT_TRUE(add(253));
    }
    EXPECT_FALSE(add(250));  // 4097
    EXPECT_EQ(bytesOf(msg.get()).size(), 20U + 15 * 255U);
    EXPECT_TRUE(add(249));  // 4096
    ByteString whole = bytesOf(msg.get());
    EXPECT_TRUE(parse(whole));
    whole.push_back('x');  // well-formed but for the one byte too many
    ++whole[3];
    ++whole[whole.size() - 251];  // the last attribute
    EXPECT_FALSE(parse(whole));
}

// RFC 2865 section 7.1: "nemo" with the password "arctangent".
TEST(Message, HidesPasswordsAndChecksAnswersLikeTheExampleOfTheRfc) {
    const std::string secret = "xyzzy5461";
    const std::string password = "arctangent";
    const Message request = parse(fromHex("01000014 0f403f9473978057bd83d5cb98f4227a"));
    EXPECT_TRUE(librad_radius_msg_add_attr(request.get(), 1, "nemo", 4));
    EXPECT_TRUE(librad_radius_msg_add_attr_user_password(
        request.get(), bytesOf(password), password.size(), bytesOf(secret), secret.size()));
    EXPECT_TRUE(librad_radius_msg_add_attr(request.get(), 4, "\xc0\xa8\x01\x10", 4));
    EXPECT_TRUE(librad_radius_msg_add_attr_int32(request.get(), 5, 3));
    EXPECT_EQ(bytesOf(request.get()),
              fromHex("01000038 0f403f9473978057bd83d5cb98f4227a 01066e656d6f"
                      "02120dbe708d93d413ce3196e43f782a0aee 0406c0a80110 050600000003"));

    ByteString accept =
        fromHex("02000026 86fe220e7624ba2a1005f6bf9b55e0b2 060600000001 0f0600000000 0e06c0a80103");
    const auto verify = [&] {
        return librad_radius_msg_verify_acct(parse(accept).get(), bytesOf(secret), secret.size(),
                                             request.get());
    };
    EXPECT_EQ(verify(), 0);
    accept.back() ^= 1U;
    EXPECT_NE(verify(), 0);
}

TEST(Message, HidesPasswordsInBlocksOfSixteenUpToOneHundredAndTwentyEight) {
    const std::string text129(129, 'p');
    const std::vector<std::pair<std::size_t, std::size_t>> lengths = {
        {0, 16}, {1, 16}, {16, 16}, {17, 32}, {128, 128}, {129, 0}};
    for (const auto& [length, hidden] : lengths) {
        Packet packet;
        packet.msg = newMessage(LIBRAD_RADIUS_CODE_ACCESS_REQUEST);
        EXPECT_EQ(librad_radius_msg_add_attr_user_password(packet.msg.get(), bytesOf(text129),
                                                           length, bytesOf(text129), 1),
                  hidden != 0);
        EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_USER_PASSWORD).size(), hidden);
    }
}

TEST(Message, PutsAnEapPacketTogetherFromItsPieces) {
    const Message msg = newMessage(LIBRAD_RADIUS_CODE_ACCESS_REQUEST);
    ByteString eap(600);
    std::generate(eap.begin(), eap.end(), [next = std::uint8_t{}]() mutable { return next++; });
    EXPECT_TRUE(librad_radius_msg_add_eap(msg.get(), eap.data(), eap.size()));
    unsigned int length = 0;
    const unsigned char* whole = librad_radius_msg_get_eap(msg.get(), &length);
    EXPECT_EQ(ByteString(whole, whole + length), eap);

    const ByteString before = bytesOf(msg.get());
    const ByteString tooLong(4000);
    EXPECT_FALSE(librad_radius_msg_add_eap(msg.get(), tooLong.data(), tooLong.size()));
    EXPECT_EQ(bytesOf(msg.get()), before);
}

// Vendor 32473 is 0x00007ed9.
TEST(Message, FindsTheMakersAttributesAmongOthersAndBrokenOnes) {
    unsigned int length = 0;
    const Message good = parse(fromHex("0201003d" + kAuth +
                                       "1a0c 0000000a 1f06 deadbeef"  // another vendor's 31
                                       "1a03 00"                      // too short for a vendor
                                       "1a0c 00007ed9 1f07 00000001"  // runs beyond its attribute
                                       "1a0e 00007ed9 0102 1f06 00000001"));  // behind an empty one
    const unsigned char* value = librad_radius_msg_get_ostrel_attr(good.get(), 31, &length);
    EXPECT_EQ(toHex(value, length), "00000001");
    EXPECT_EQ(librad_radius_msg_get_ostrel_attr(good.get(), 33, &length), nullptr);
    EXPECT_EQ(length, 0U);

    const Message made = newMessage(LIBRAD_RADIUS_CODE_ACCESS_ACCEPT);
    EXPECT_TRUE(librad_radius_msg_add_ostrel_attr(made.get(), 33, "http://x", 8));
    EXPECT_EQ(toHex(bytesOf(made.get()).data() + 20, 16), "1a1000007ed9210a687474703a2f2f78");
}

}  // namespace
}  // namespace ostrel::testing
