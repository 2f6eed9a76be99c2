#pragma once

// The access point's RADIUS client library: messages and attributes (RFC 2865), EAP in RADIUS
// (RFC 3579), accounting (RFC 2866, 2869), dynamic authorisation (RFC 5176), retransmission
// (RFC 5080) and the event loop that all of it runs on.
//
// Threads: every function may be called from any thread, and none waits for the network. A message
// or a station record belongs to one thread at a time. Callbacks are made on the thread that runs
// librad_eloop_run() and nowhere else, never inside a send, and with no lock of this library held,
// so that they may call every function of this header. They must not throw.
//
// Time: all timers go by the monotonic clock of ostrel/clock.h. Who sets another clock there and
// moves it calls librad_eloop_wake(), or drives the loop with librad_eloop_step().

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// ---- Bytes that are wiped ----------------------------------------------------------------------

// A shared secret or password: bytes that are overwritten before their memory is given back.
class librad_secret {
public:
    librad_secret() = default;
    // Copies; the caller's text stays the caller's to wipe.
    librad_secret(std::string_view text);  // NOLINT(google-explicit-constructor)
    librad_secret(const librad_secret& other) = default;
    librad_secret& operator=(const librad_secret& other);
    ~librad_secret();

    // Never null for a secret that is not empty; valid until the secret is assigned or destroyed.
    [[nodiscard]] unsigned char* data() { return bytes_.data(); }
    [[nodiscard]] const unsigned char* data() const { return bytes_.data(); }
    [[nodiscard]] unsigned int size() const { return static_cast<unsigned int>(bytes_.size()); }
    [[nodiscard]] bool empty() const { return bytes_.empty(); }

private:
    std::vector<unsigned char> bytes_;
};

// ---- Messages and attributes (RFC 2865 sections 3 and 5) ---------------------------------------

// The vendor number (RFC 2865 section 5.26) of the maker's own attributes: the number kept for
// examples by RFC 5612, until the maker's own is put in.
inline constexpr std::uint32_t librad_ostrel_vendor = 32473;

inline constexpr std::size_t librad_authenticator_length = 16;
inline constexpr std::size_t librad_max_message_length = 4096;
inline constexpr std::size_t librad_max_attribute_length = 253;

// Codes and attribute types that owners of messages write and read.
enum librad_radius_code : std::uint8_t {
    LIBRAD_RADIUS_CODE_ACCESS_REQUEST = 1,
    LIBRAD_RADIUS_CODE_ACCESS_ACCEPT = 2,
    LIBRAD_RADIUS_CODE_ACCESS_REJECT = 3,
    LIBRAD_RADIUS_CODE_ACCOUNTING_REQUEST = 4,
    LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE = 5,
    LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE = 11,
    LIBRAD_RADIUS_CODE_DISCONNECT_REQUEST = 40,
    LIBRAD_RADIUS_CODE_DISCONNECT_ACK = 41,
    LIBRAD_RADIUS_CODE_DISCONNECT_NAK = 42,
    LIBRAD_RADIUS_CODE_COA_REQUEST = 43,
    LIBRAD_RADIUS_CODE_COA_ACK = 44,
    LIBRAD_RADIUS_CODE_COA_NAK = 45,
};

enum librad_radius_attribute : std::uint8_t {
    LIBRAD_RADIUS_ATTR_USER_NAME = 1,
    LIBRAD_RADIUS_ATTR_USER_PASSWORD = 2,
    LIBRAD_RADIUS_ATTR_NAS_IP_ADDRESS = 4,
    LIBRAD_RADIUS_ATTR_NAS_PORT = 5,
    LIBRAD_RADIUS_ATTR_FRAMED_IP_ADDRESS = 8,
    LIBRAD_RADIUS_ATTR_FRAMED_MTU = 12,
    LIBRAD_RADIUS_ATTR_REPLY_MESSAGE = 18,
    LIBRAD_RADIUS_ATTR_STATE = 24,
    LIBRAD_RADIUS_ATTR_CLASS = 25,
    LIBRAD_RADIUS_ATTR_VENDOR_SPECIFIC = 26,
    LIBRAD_RADIUS_ATTR_CALLED_STATION_ID = 30,
    LIBRAD_RADIUS_ATTR_CALLING_STATION_ID = 31,
    LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER = 32,
    LIBRAD_RADIUS_ATTR_PROXY_STATE = 33,
    LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE = 40,
    LIBRAD_RADIUS_ATTR_ACCT_DELAY_TIME = 41,
    LIBRAD_RADIUS_ATTR_ACCT_INPUT_OCTETS = 42,
    LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_OCTETS = 43,
    LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID = 44,
    LIBRAD_RADIUS_ATTR_ACCT_SESSION_TIME = 46,
    LIBRAD_RADIUS_ATTR_ACCT_INPUT_PACKETS = 47,
    LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_PACKETS = 48,
    LIBRAD_RADIUS_ATTR_ACCT_TERMINATE_CAUSE = 49,
    LIBRAD_RADIUS_ATTR_ACCT_INPUT_GIGAWORDS = 52,
    LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_GIGAWORDS = 53,
    LIBRAD_RADIUS_ATTR_EVENT_TIMESTAMP = 55,
    LIBRAD_RADIUS_ATTR_NAS_PORT_TYPE = 61,
    LIBRAD_RADIUS_ATTR_EAP_MESSAGE = 79,
    LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR = 80,
    LIBRAD_RADIUS_ATTR_NAS_PORT_ID = 87,
    LIBRAD_RADIUS_ATTR_NAS_IPV6_ADDRESS = 95,
    LIBRAD_RADIUS_ATTR_ERROR_CAUSE = 101,
};

// One RADIUS message, received or being built.
struct librad_radius_msg;

// A new message; an Access-Request gets a Message-Authenticator as its first attribute, which is
// computed when it is sent (RFC 3579 section 3.2). Null when memory is out. The caller owns it and
// frees it with librad_radius_msg_free(), unless it gives it away to librad_radius_client_send().
[[nodiscard]] librad_radius_msg* librad_radius_msg_new(std::uint8_t code, std::uint8_t id);

// The message in a datagram, or null when it is malformed: a length outside 20 to 4096 or beyond
// the datagram, an attribute without a value or that does not fit. What stands behind the length is
// padding (RFC 2865 section 3). The caller owns the message.
[[nodiscard]] librad_radius_msg* librad_radius_msg_parse(const unsigned char* data,
                                                         std::size_t length);

// Wipes and frees; null does nothing.
void librad_radius_msg_free(librad_radius_msg* msg);

[[nodiscard]] std::uint8_t librad_radius_msg_get_code(const librad_radius_msg* msg);

// The identifier. A send may replace it, when it is in flight already; the Request Authenticator is
// never replaced in an Access-Request, so that is what tells two requests apart.
[[nodiscard]] std::uint8_t librad_radius_msg_get_id(const librad_radius_msg* msg);

// The Request or Response Authenticator: 16 bytes that live as long as the message.
[[nodiscard]] const unsigned char* librad_radius_msg_get_authenticator(
    const librad_radius_msg* msg);

// The packet as it stands; valid until the message is changed or freed.
[[nodiscard]] const unsigned char* librad_radius_msg_get_bytes(const librad_radius_msg* msg,
                                                               std::size_t* length);

// Sets the Request Authenticator of an Access-Request: 16 bytes of the system's random source, with
// `data` (may be null) mixed in. Call it before librad_radius_msg_add_attr_user_password(). False
// when the system gives no random bytes.
[[nodiscard]] bool librad_radius_msg_make_authenticator(librad_radius_msg* msg,
                                                        const unsigned char* data,
                                                        std::size_t length);

// Appends an attribute of 1 to 253 bytes. False, and the message unchanged, when the value is empty
// or too long or the message would pass 4096 bytes.
[[nodiscard]] bool librad_radius_msg_add_attr(librad_radius_msg* msg, std::uint8_t type,
                                              const void* data, std::size_t length);

// Appends a 32-bit integer, most significant byte first. False as above.
[[nodiscard]] bool librad_radius_msg_add_attr_int32(librad_radius_msg* msg, std::uint8_t type,
                                                    std::uint32_t value);

// Appends one attribute of the maker's vendor space, in a Vendor-Specific attribute of its own.
[[nodiscard]] bool librad_radius_msg_add_ostrel_attr(librad_radius_msg* msg, std::uint8_t number,
                                                     const void* data, std::size_t length);

// Appends User-Password, hidden with the secret and the Request Authenticator that the message has
// now (RFC 2865 section 5.2). False for a password over 128 bytes or an empty secret.
[[nodiscard]] bool librad_radius_msg_add_attr_user_password(librad_radius_msg* msg,
                                                            const unsigned char* password,
                                                            std::size_t length,
                                                            const unsigned char* secret,
                                                            std::size_t secretLength);

// Copies the first attribute of that type, at most `size` bytes of it, and returns how many bytes
// were copied: 0 when it is absent.
[[nodiscard]] std::size_t librad_radius_msg_get_attr(const librad_radius_msg* msg,
                                                     std::uint8_t type, void* buffer,
                                                     std::size_t size);

// The attribute `number` of the maker's vendor space (RFC 2865 section 5.26), or null. It lives as
// long as the message and is not terminated.
[[nodiscard]] const unsigned char* librad_radius_msg_get_ostrel_attr(const librad_radius_msg* msg,
                                                                     std::uint8_t number,
                                                                     unsigned int* length);

// Every Class of an Access-Accept, in order, for librad_radius_sta_info (RFC 2865 section 5.25).
[[nodiscard]] std::vector<std::string> librad_radius_msg_get_classes(const librad_radius_msg* msg);

// ---- EAP in RADIUS (RFC 3579 section 3.1) ------------------------------------------------------

// Appends an EAP packet as one or more EAP-Message attributes. False as for an attribute.
[[nodiscard]] bool librad_radius_msg_add_eap(librad_radius_msg* msg, const unsigned char* data,
                                             std::size_t length);

// The EAP packet put together from all EAP-Message attributes as they came, or null when there is
// none. Its own length field is the reader's to check. Valid until the next call or the message's
// end.
[[nodiscard]] const unsigned char* librad_radius_msg_get_eap(librad_radius_msg* msg,
                                                             unsigned int* length);

// MD5 over identifier, secret and challenge (RFC 1994 section 4.1, used by EAP-MD5 as well) into
// the 16 bytes of `out`. False when the system offers no MD5; `out` is zero then.
bool librad_chap_md5(std::uint8_t id, const unsigned char* secret, std::size_t secretLength,
                     const unsigned char* challenge, std::size_t challengeLength,
                     unsigned char* out);

// ---- Checking and signing ----------------------------------------------------------------------

// Checks the Response Authenticator of `msg`, the answer to `request` (RFC 2865 section 3, RFC 2866
// section 3), in constant time. 0 when it is right, else not.
[[nodiscard]] int librad_radius_msg_verify_acct(const librad_radius_msg* msg,
                                                const unsigned char* secret,
                                                std::size_t secretLength,
                                                const librad_radius_msg* request);

// Signs the answer to `request` as a server does: Message-Authenticator, when the message has one,
// then Response Authenticator. False when the system offers no MD5.
[[nodiscard]] bool librad_radius_msg_sign_answer(librad_radius_msg* msg,
                                                 const unsigned char* secret,
                                                 std::size_t secretLength,
                                                 const librad_radius_msg* request);

// ---- Client ------------------------------------------------------------------------------------

// What an answer's handler made of it.
enum librad_radius_rx_result {
    LIBRAD_RADIUS_RX_REJECT = 0,   // Access-Reject of a known request
    LIBRAD_RADIUS_RX_QUEUED = 1,   // handled; the handler has freed the answer
    LIBRAD_RADIUS_RX_UNKNOWN = 2,  // not handled
    LIBRAD_RADIUS_RX_INVALID = 3,  // wrong authenticator: as if it had never come
    LIBRAD_RADIUS_RX_ACCEPT = 4,   // Access-Accept of a known request
};

// What a request is for, and by that which of the client's servers gets it.
enum librad_radius_kind { LIBRAD_RADIUS_AUTH = 0, LIBRAD_RADIUS_ACCT = 1 };

// Whether a server's Access-Accept must carry a Message-Authenticator when no EAP was used. With
// EAP an answer without one never counts (RFC 3579 section 3.2), and one that is there is always
// checked.
enum librad_require_message_authenticator {
    LIBRAD_REQUIRE_ONCE_SEEN,  // from the first Access-Accept on that carried a valid one
    LIBRAD_REQUIRE_ALWAYS,     // in every answer, Access-Reject and Access-Challenge too
    LIBRAD_REQUIRE_NEVER,
};

struct librad_radius_server {
    std::string address;  // IPv4, dotted
    std::uint16_t port = 0;
    librad_secret sharedSecret;
};

// What a client is made from. A server whose address, port or secret is empty or no good is warned
// about once, when the client is made; sends to it fail. Of each list the first server serves.
struct librad_radius_client_config {
    int debugLevel = 0;         // 4 and above: every packet is reported at debug level
    std::string realm;          // the owner's; no request carries it
    std::string interfaceName;  // named in reports
    std::vector<librad_radius_server> authServers;
    std::vector<librad_radius_server> acctServers;
    librad_require_message_authenticator requireMessageAuthenticator = LIBRAD_REQUIRE_ONCE_SEEN;
};

// Receives each answer to an authentication request. Its Message-Authenticator has been checked
// already; the Response Authenticator is the handler's to check, with
// librad_radius_msg_verify_acct(), and an answer that fails there stays without effect in the
// library whatever the handler returns. `request` is what the answer belongs to (tell it by its
// Request Authenticator); it and the secret are the library's and live for the call. The answer is
// freed by the library, except after LIBRAD_RADIUS_RX_QUEUED. After LIBRAD_RADIUS_RX_INVALID the
// request stays outstanding with its timers unchanged; after anything else it is over.
using librad_radius_handler = librad_radius_rx_result (*)(librad_radius_msg* msg,
                                                          librad_radius_msg* request,
                                                          unsigned char* sharedSecret,
                                                          unsigned int secretLength, void* context);

// Told of each authentication request that is given up, unanswered. `request` lives for the call.
using librad_radius_give_up = void (*)(librad_radius_msg* request, void* context);

struct librad_radius_client;

// A client for the servers of `config`, which is copied. It may be made before the loop runs or
// while it does. Null when the system has no descriptors left.
[[nodiscard]] librad_radius_client* librad_radius_client_init(
    const librad_radius_client_config* config);

// Ends the client: nothing of it is outstanding any more, its unanswered Stops are lost (reported),
// and once this has returned none of its callbacks runs. It waits for one that is running, unless
// it is called from there: do not hold a lock that a callback takes. Null does nothing.
void librad_radius_client_deinit(librad_radius_client* client);

// Set the callbacks for authentication requests; null for none. `context` is handed through.
void librad_radius_client_set_handler(librad_radius_client* client, librad_radius_handler handler,
                                      void* context);
void librad_radius_client_set_give_up(librad_radius_client* client, librad_radius_give_up giveUp,
                                      void* context);

// The next identifier for an Access-Request, one that is not in flight as long as there is one. It
// is not reserved: when it is taken by the time of the send, the send puts in another.
[[nodiscard]] std::uint8_t librad_radius_client_get_id(librad_radius_client* client);

// Sends a request, signs it (RFC 3579 section 3.2, RFC 2866 section 3), and retransmits it until it
// is answered or given up: first after 2 s, doubling up to 16 s, each +-10 %, at most 5 times in
// all and for 30 s (RFC 5080 section 2.2.1). An Access-Request is repeated byte by byte; an
// Accounting-Request gets its Acct-Delay-Time raised, a new identifier and authenticator.
//
// No identifier is in flight twice on one source port. With all 256 in flight another port is
// opened, up to 16; beyond that requests wait in order. An Accounting-Request is also made to wait
// behind the Accounting-On that goes out before the first Start to a server, once in a process,
// with the NAS attributes of that Start (RFC 2866 section 5.1). A Stop takes back what is still
// unanswered of its session; one that is given up goes to the spool (see librad_radius_spool_info).
//
// `mac` (6 bytes, may be null) names the station in reports. Returns 0 and owns the message from
// then on, or -1 and leaves it to the caller: no server that could be asked, too many requests
// waiting (4096), a message that is no request of that kind.
[[nodiscard]] int librad_radius_client_send(librad_radius_client* client, librad_radius_msg* msg,
                                            librad_radius_kind kind, const unsigned char* mac);

// What has happened to the client's packets so far.
struct librad_radius_counters {
    std::uint64_t sent = 0;  // packets, retransmissions included
    std::uint64_t retransmitted = 0;
    std::uint64_t answered = 0;  // requests ended by an answer
    std::uint64_t givenUp = 0;
    std::uint64_t malformed = 0;         // datagrams that were no RADIUS message
    std::uint64_t wrongSource = 0;       // not from the server's address and port
    std::uint64_t unexpected = 0;        // no such request outstanding: late, doubled, wrong code
    std::uint64_t badAuthenticator = 0;  // Response Authenticator or Message-Authenticator
};
[[nodiscard]] librad_radius_counters librad_radius_client_get_counters(
    librad_radius_client* client);

// The accounting Stops that were given up and are still owed to the server. They are retried as
// long as the process lives, a station's in their order and with the Event-Timestamp they were
// built with; one that was sent ten times in vain goes to the end, with those of its station. The
// spool holds 4096; beyond that the oldest is lost, and reported.
struct librad_radius_spool_info {
    std::size_t count = 0;
    std::int64_t oldestSeconds = 0;  // age of the oldest
};
[[nodiscard]] librad_radius_spool_info librad_radius_client_get_spool(librad_radius_client* client);

// Requests outstanding, and requests waiting for an identifier or an Accounting-On, of that kind.
[[nodiscard]] std::size_t librad_radius_client_outstanding(librad_radius_client* client,
                                                           librad_radius_kind kind);
[[nodiscard]] std::size_t librad_radius_client_waiting(librad_radius_client* client,
                                                       librad_radius_kind kind);

// ---- Accounting (RFC 2866, RFC 2869) -----------------------------------------------------------

// A station's counters as its driver has them, cumulative for the association. Receive is what the
// access point received from the station. Bytes, packets and the text are used; the rest is taken
// for the owner's convenience.
struct librad_radius_sta_stats {
    std::uint64_t rxBytes = 0;
    std::uint64_t txBytes = 0;
    std::uint32_t rxPackets = 0;
    std::uint32_t txPackets = 0;
    std::uint32_t rxDroppedPackets = 0;
    std::uint32_t txDroppedPackets = 0;
    std::uint32_t txLostPackets = 0;
    std::uint32_t txDroppedBytes = 0;
    std::uint32_t rxDroppedBytes = 0;
    std::int32_t uptime = 0;       // seconds
    std::int32_t timeLimit = 0;    // seconds
    char interfaceText[256] = {};  // NAS-Port-Id from here on, when not empty
};

// The counted traffic of one session; the library's to keep.
struct librad_radius_sta_traffic {
    librad_radius_sta_stats last;  // what the driver said last
    std::uint64_t rxBytes = 0;     // since the Start
    std::uint64_t txBytes = 0;
    std::uint32_t rxPackets = 0;
    std::uint32_t txPackets = 0;
    std::int64_t startedAt = 0;  // monotonic seconds
};

// One station's accounting record. The owner's lock guards it.
struct librad_radius_sta_info {
    // "%08X-%08X" of the two words is the Acct-Session-Id. The high word is drawn once a process,
    // the low one is renewed when a Stop has been built; neither is ever 0. Read only.
    std::uint32_t acctSessionIdHigh = 0;
    std::uint32_t acctSessionIdLow = 0;
    // The station's address. Read only: set it with librad_radius_sta_set_mac().
    std::array<std::uint8_t, 6> mac{};

    // The owner's to fill.
    std::string userName;
    std::string interfaceText;                // NAS-Port-Id
    std::uint32_t vapIndex = 0;               // NAS-Port
    std::array<std::uint8_t, 6> calledMac{};  // Called-Station-Id
    std::string ssid;                         // appended to it as ":SSID" when not empty
    std::int64_t lastAccountingTime = 0;      // seconds; the owner's alone
    std::uint32_t terminateCause = 0;         // Acct-Terminate-Cause of the Stop (RFC 2866 5.10)
    // Class of the Access-Accept that opened the session, sent back as it is. Replace it at every
    // Access-Accept, also by nothing.
    std::vector<std::string> classes;

    // Set while a session runs: a Start needs it clear, an update or Stop set. Read only.
    bool started = false;
    librad_radius_sta_traffic traffic;
};

// A new record with session words of its own, found by them from then on. It lives until
// librad_free_radius_sta(), which takes null as well.
[[nodiscard]] librad_radius_sta_info* librad_allocate_radius_sta();
void librad_free_radius_sta(librad_radius_sta_info* sta);

// Sets the station's address (6 bytes).
void librad_radius_sta_set_mac(librad_radius_sta_info* sta, const unsigned char* mac);

// Finds the record with these session words, whoever owns it, and copies its station's address to
// the 6 bytes of `mac`. It hands out no record, as its owner may be freeing it. False when there is
// none.
[[nodiscard]] bool librad_find_radius_sta_by_acct_id(std::uint32_t high, std::uint32_t low,
                                                     unsigned char* mac);

// Takes note of the driver's counters. Called with every report of the driver it makes the figures
// exact: a Start counts from the last counters noted, and counters that fall (an association or a
// driver that began anew; the uptime tells as well) count from zero, so that no figure ever falls.
// A record without bytes and packets says nothing and is passed over. An owner that calls it with
// every report has no need to hand the builders below any counters, least of all older ones, which
// would look like a beginning anew.
void librad_radius_sta_set_counters(librad_radius_sta_info* sta,
                                    const librad_radius_sta_stats* stats);

// Appends Acct-Session-Id "%08X-%08X" made from the process's high word and `id`, which is a
// record's low word. False for an `id` of 0 and as for an attribute.
[[nodiscard]] bool librad_add_acct_session_id_attr(librad_radius_msg* msg,
                                                   const librad_radius_client_config* config,
                                                   std::uint32_t id);

// Each builds one Accounting-Request (RFC 2866 section 5) from the record, with Event-Timestamp
// (RFC 2869 section 5.3) and Acct-Delay-Time; the identifier and the authenticator come with the
// send. NAS-IP-Address, NAS-Identifier and Framed-IP-Address are the owner's to add. `stats` is
// noted as by librad_radius_sta_set_counters(); null means what was noted last. Null when the
// configuration has no accounting server, `started` is not as it must be, or something does not
// fit. The start sets `started`; the stop clears it and renews the session's low word.
[[nodiscard]] librad_radius_msg* librad_create_accounting_sta_start(
    const librad_radius_client_config* config, librad_radius_sta_info* sta);
[[nodiscard]] librad_radius_msg* librad_create_accounting_sta_update(
    const librad_radius_client_config* config, librad_radius_sta_info* sta,
    const librad_radius_sta_stats* stats);
[[nodiscard]] librad_radius_msg* librad_create_accounting_sta_stop(
    const librad_radius_client_config* config, librad_radius_sta_info* sta,
    const librad_radius_sta_stats* stats);

// ---- Dynamic authorisation (RFC 5176) ----------------------------------------------------------

// By what a request names its session. Pointers are null when the attribute is absent; they live
// for the call and are not terminated.
struct librad_radius_das_attrs {
    unsigned char mac[6] = {};  // of Calling-Station-Id; zero when absent
    unsigned char* userName = nullptr;
    unsigned int userNameLength = 0;
    unsigned char* acctSessionId = nullptr;
    unsigned int acctSessionIdLength = 0;
};

// What a server of dynamic authorisation asks its owner.
struct librad_radius_das_config {
    // Ends the session that `attrs` names. 0: done (Disconnect-ACK); anything else, 3 as a rule: no
    // such session (Disconnect-NAK, Error-Cause 503).
    int (*disconnect)(void* context, librad_radius_das_attrs* attrs) = nullptr;
    // The secret that a request for that session must be signed with, and its length. Null or
    // empty: the request is dropped. It is read before the call for the next request, no later.
    unsigned char* (*getSharedKey)(void* context, unsigned int* length,
                                   librad_radius_das_attrs* attrs) = nullptr;
};

struct librad_radius_das;

// Listens for Disconnect-Requests on UDP `port` (0: any that is free) of `bindAddress` (IPv4; null:
// every address). An Event-Timestamp more than `timeWindowSeconds` off (0: 300) has a request
// dropped, except while the wall clock stands before the day this library was built;
// `requireEventTimestamp`, when not 0, drops one without. Null, with errno set and reported, when
// the address can't be listened on.
//
// A request that is malformed or wrongly signed is dropped. One that repeats an earlier one
// (source, identifier, authenticator) within 300 s gets the same answer again, without effect. A
// Disconnect-Request is refused with Error-Cause 403 when it names another NAS, 402 when it names
// no session, 407 when its Calling-Station-Id is no address; a CoA-Request with 406.
[[nodiscard]] librad_radius_das* librad_radius_das_init2(std::uint16_t port, int timeWindowSeconds,
                                                         int requireEventTimestamp, void* context,
                                                         librad_radius_das_config config,
                                                         const char* bindAddress);

// Tells what the NAS is called, for the comparison with the NAS attributes of a request: the IPv4
// address (4 bytes, or null) and the identifier ("" when there is none). What has not been told is
// not compared. Call it again when the address changes.
void librad_radius_das_set_nas(librad_radius_das* das, const unsigned char* ipAddress,
                               std::string_view identifier);

// The port that is listened on.
[[nodiscard]] std::uint16_t librad_radius_das_get_port(const librad_radius_das* das);

struct librad_radius_das_counters {
    std::uint64_t malformed = 0;
    std::uint64_t dropped = 0;     // no secret, wrongly signed, out of the time window, wrong code
    std::uint64_t duplicates = 0;  // answered again
    std::uint64_t acks = 0;
    std::uint64_t naks = 0;
};
[[nodiscard]] librad_radius_das_counters librad_radius_das_get_counters(librad_radius_das* das);

// Stops listening; waits as librad_radius_client_deinit() does. Null does nothing.
void librad_radius_das_deinit(librad_radius_das* das);

// ---- Event loop --------------------------------------------------------------------------------

// Runs the loop of all clients and servers of the process on the calling thread until
// librad_eloop_stop(). It needs none of them to be there; those made later join it. A second call
// while one runs returns at once.
void librad_eloop_run();

// Ends the run that is under way, or the next one when none is.
void librad_eloop_stop();

// Makes the loop look at the clock again, for who has moved it.
void librad_eloop_wake();

// Does what there is to do at this moment, on the calling thread, and returns: for a program
// without a thread for librad_eloop_run(), and for tests. Does nothing while the loop runs
// elsewhere.
void librad_eloop_step();
