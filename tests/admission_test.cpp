// Who may connect: the accepted-address and the banned-address list.

#include "admission/address_list.h"
#include "installation.h"

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

namespace
{

constexpr char ACCEPTED_FILE[] = "DATA/RAW/VALIDIPADDRESSES.TXT";
constexpr char BANNED_FILE[] = "DATA/RAW/BADSMTPIPADDRESS.TXT";

constexpr char NOT_VALID[] =
    "503  Connection not recognized as a valid sender, connection "
    "has been terminated by this SMTP server\r\n";
constexpr char UNWANTED[] = "503  Connection recognized as an unwanted spam or similar "
                            "sender, connection terminated by this SMTP server\r\n";

// The entry that means the client, as the log shows it; "-" when none does, "!" when a
// malformed entry has broken the check off.
std::string entry_for(AddressList list, const std::string &text, const char *address)
{
    std::vector<char> content(text.begin(), text.end()); // nothing may be read behind it
    Octets client;
    AddressTable table;
    AddressEntry entry;
    EXPECT_TRUE(read_address(address, &client));
    EXPECT_TRUE(build_table(&table, list, content.data(), content.size()));
    if (!find_entry(table, content.data(), client, &entry))
        return table.ending == SCAN_AT_MALFORMED ? "!" : "-";
    char line[ENTRY_TEXT_SIZE];
    entry_text(entry, line);
    return line;
}

struct Case {
    const char *content, *client, *entry;
};

} // namespace

TEST(AddressLists, AcceptedEntriesMeanWhoTheyMean)
{
    const Case cases[] = {
        // full matching entries
        {"192.168.1.5\r\n", "192.168.1.5", "192.168.1.5"},
        {"192.168.001.005\r\n", "192.168.1.5", "-"},
        {"192.168.1.5 \r\n", "192.168.1.5", "-"},
        {";192.168.1.5\r\n", "192.168.1.5", "-"},
        {"\r\n192.168.1.5\r\n", "192.168.1.5", "-"},
        {"10.0.0.1\r\n192.168.1.5", "192.168.1.5", "192.168.1.5"},
        {"192.168.1.5\r", "192.168.1.5", "192.168.1.5"},
        {"192.168.1.5\n", "192.168.1.5", "-"},
        {"", "192.168.1.5", "-"},
        {"*", "192.168.1.5", "-"},
        // full range entries: boxes of octets
        {"1.1.1.10-9.9.9.20\r\n", "1.9.5.20", "1.1.1.10-9.9.9.20"},
        {"1.1.1.10-9.9.9.20\r\n", "1.9.5.21", "-"},
        {"1.1.1.10-9.9.9.20\r\n", "1.9.5.9", "-"},
        {"192.168.1.250-192.168.2.5\r\n", "192.168.2.1", "-"},
        {"1.1.1.10 -  1.1.1.20 \r\n", "1.1.1.15", "1.1.1.10 -1.1.1.20"},
        {"1.1.1.100 - 1.1.1.120\r\n", "1.1.1.110", "-"}, // a fourth octet of 4 characters
        {" 01.1.1.010-1.1.1.+20x\r\n", "1.1.1.15", "-"},
        {" 01.1.1.010-1.1.1.+20\r\n", "1.1.1.15", " 01.1.1.010-1.1.1.+20"},
        {"x.1.1.-1.1.1.20\r\n", "0.1.1.15", "x.1.1.-1.1.1.20"},
        {"1.1.1.1-999.999.999.999\r\n", "255.255.255.255", "1.1.1.1-999.999.999.999"},
        {"1.1.1.9-1.1.1.5\r\n10.0.0.5\r\n", "10.0.0.5", "10.0.0.5"},
        {"1.1.1-1.1.1.5\r\n10.0.0.5\r\n", "10.0.0.5", "!"},
        {"1-1.1.1.5\r\n10.0.0.5\r\n", "10.0.0.5", "!"},
        {"1.1.1.1-1.1.1. \r\n10.0.0.5\r\n", "10.0.0.5", "!"},
        {"10.0.0.5\r\nfree - text\r\n", "10.0.0.5", "10.0.0.5"},
        // wildcard entries
        {"192.168.1.*\r\n", "192.168.1.200", "192.168.1.*"},
        {"192.168.1.*\r\n", "192.168.2.1", "-"},
        {"192.168.01.*", "192.168.1.200", "192.168.01.*"},
        {"192.168.1.* \r\n", "192.168.1.200", "-"},
        {"192.168.1.**\r\n", "192.168.1.200", "-"},
        {"*.*.*.*\r\n", "9.8.7.6", "*.*.*.*"},
        {"*.*.7.6\r\n", "9.8.7.6", "*.*.7.6"},
        {"*.*.*.6\r\n", "9.8.7.6", "*.*.*.6"},
        {"9.*.*.*\r\n", "9.8.7.6", "9.*.*.*"},
        {"9.8.*.*\r\n", "9.8.7.6", "9.8.*.*"},
        {"9.*.7.6\r\n", "9.8.7.6", "9.*.7.6"},
        {"9.*.7.*\r\n", "9.8.7.6", "-"},
        {"*.8.*.6\r\n", "9.8.7.6", "-"},
        {"*.8.7.*\r\n", "9.8.7.6", "-"},
        {"9.*.*.6\r\n", "9.8.7.6", "-"},
        {"*.8.*.*\r\n", "9.8.7.6", "-"},
        {"*.*.7.*\r\n", "9.8.7.6", "-"},
        {"192.168.1.*\r\n10.0.0.5\r\n", "10.0.0.5", "-"},
        {"*.1.1\r\n10.0.0.5\r\n", "10.0.0.5", "!"},
        // wildcard range entries
        {"1.1.1.*-1.1.1.5\r\n", "1.1.1.99", "1.1.1.*-1.1.1.5"},
        {"192.168.1.*-192.168.5.*\r\n", "192.168.5.255", "192.168.1.*-192.168.5.*"},
        {"192.168.1.* - 192.168.5.* \r\n", "192.168.1.0", "192.168.1.* -192.168.5.*"},
        {"192.168.1.*-192.168.5.*\r\n", "192.168.6.0", "-"},
        {"192.168.1.* - 192.168.5.*\r\n", "192.168.0.9", "-"},
        {"9.9.9.9-1.2.3.*\r\n", "1.2.4.0", "-"},
        {"192.168.*.10-192.168.*.20\r\n", "192.168.77.20", "192.168.*.10-192.168.*.20"},
        {"192.168.*.10-192.168.*.20\r\n", "192.168.77.9", "-"},
        {"1.2.*.*-1.4.*.*\r\n", "1.3.0.255", "1.2.*.*-1.4.*.*"},
        {"1.2.*.*-1.4.*.*\r\n", "1.5.0.0", "-"},
        {"9.9.9.9-1.2.3.*\r\n", "1.2.3.200", "9.9.9.9-1.2.3.*"}, // compares above alone
        {"*.9.9.9-*.1.1.1\r\n", "4.4.4.4", "*.9.9.9-*.1.1.1"},   // compares nothing
        {"1.1.1.*-1.1.2.*\r\n10.0.0.5\r\n", "10.0.0.5", "-"},
        {"1.1.*.1\r\n10.0.0.5\r\n", "10.0.0.5", "-"},
        {"1.1.1.*-1.1.2\r\n10.0.0.5\r\n", "10.0.0.5", "!"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(c.entry, entry_for(ACCEPTED_LIST, c.content, c.client))
            << c.content << " " << c.client;
}

TEST(AddressLists, BannedEntriesMeanWhoTheyMean)
{
    const Case cases[] = {
        {"10.0.0.7\r\n", "10.0.0.7", "10.0.0.7"},
        {"10.0.0.07\r\n", "10.0.0.7", "-"},
        {"10.0.0.7\n", "10.0.0.7", "-"},
        {"10.0.0.7\r\r\n", "10.0.0.7", "10.0.0.7"},
        {"; spam\r\n10.0.0.7", "10.0.0.7", "10.0.0.7"},
        {"1.1.1.1\r\n\r\n10.0.0.7", "10.0.0.7", "-"},
        {"10.0.0.*\r\n", "10.0.0.7", "10.0.0.*"},
        {"*.0.0.7\r\n", "99.0.0.7", "*.0.0.7"},
        {"10.0.*.07\r\n", "10.0.5.7", "-"},
        {"10.0.*.*\r\n10.*.5.7\r\n", "10.0.5.7", "10.*.5.7"},
        {"10.0.0.* \r\n10.0.0.1-10.0.0.9\r\n", "10.0.0.7", "10.0.0.1-10.0.0.9"},
        {"10.0.0.*-10.0.0.9\r\n10.0.0.7", "10.0.0.7", "10.0.0.7"},
        {"10.0.0*\r\n10.0.0.7\r\n", "10.0.0.7", "!"},
        {"10.0.0.1 - 10.0.0.20\r\n", "10.0.0.20", "10.0.0.1 -10.0.0.20"},
        {"10.0.0.1 - 10.0.0.20\r\n", "10.0.0.21", "-"},
        {"10.0.0.250-10.0.1.5\r\n", "10.0.1.1", "-"},
        {"; free - text\r\n10.0.0.7\r\n", "10.0.0.7", "!"},
        {"10.0.0.1-10.0.0.9\r\n10.0.0.7\r\n", "10.0.0.7", "10.0.0.1-10.0.0.9"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(c.entry, entry_for(BANNED_LIST, c.content, c.client))
            << c.content << " " << c.client;
}

TEST(AddressLists, EntriesBeyondTheLimitsMatchNobodyAndKeepTheirKind)
{
    const std::string blanks(300, ' ');
    auto found_behind = [](AddressList list, const std::string &entry) {
        return entry_for(list, entry + "\r\n10.0.0.5\r\n", "10.0.0.5");
    };
    for (AddressList list : {ACCEPTED_LIST, BANNED_LIST}) {
        for (const std::string &entry :
             {"10.0.0.1-" + blanks + "10.0.0.9", "10.0.0.5" + blanks, "-" + blanks,
              std::string("0010.0.0.1-10.0.0.9"), std::string("10.0.0.1-0010.0.0.9")})
            EXPECT_EQ("10.0.0.5", found_behind(list, entry)) << entry;
        EXPECT_EQ(list == ACCEPTED_LIST ? "-" : "10.0.0.5",
                  found_behind(list, "10.0.0.*" + blanks));
    }
    EXPECT_EQ("10.0.0.5", found_behind(ACCEPTED_LIST, ";" + blanks));

    const char nul[] = "10.0.0.1\r\n\0\r\n10.0.0.5\r\n";
    EXPECT_EQ("-", entry_for(ACCEPTED_LIST, {nul, sizeof nul - 1}, "10.0.0.5"));
    EXPECT_EQ("-", entry_for(BANNED_LIST, {nul, sizeof nul - 1}, "10.0.0.5"));
}

class Admission : public Installation
{
  protected:
    // The whole of a refusal: the one line, then the end.
    void is_refused(const std::string &address, const char *line)
    {
        Client client = connect_from(address);
        EXPECT_EQ(line, client.hears()) << address;
        EXPECT_TRUE(client.is_closed()) << address;
        all_closed();
    }
    void is_let_in(const std::string &address)
    {
        EXPECT_EQ("220 ", connect_from(address).hears().substr(0, 4)) << address;
        all_closed();
    }
    // The lines from the one about the attempt to the one before the client's end.
    Lines admission_lines(const std::string &address)
    {
        Lines lines = log_lines();
        forget_log();
        auto first =
            std::find(lines.begin(), lines.end(),
                      "SMTP: Connection attempt received from [" + address + "]...");
        auto last = std::find(first, lines.end(), "SMTP: [" + address + "] disconnected");
        return first == lines.end() ? lines : Lines(first + 1, last);
    }
    Lines refusal_of(const std::string &address, Lines before)
    {
        before.push_back(
            "SMTP: [" + address +
            "] This IP address NOT identified in the valid IP ranges file...");
        before.push_back("SMTP: Mail REFUSED from unvalidated address of [" + address +
                         "]...");
        return before;
    }
};

TEST_F(Admission, EachKindOfAcceptedEntryIsNamedInTheLog)
{
    put(ACCEPTED_FILE, "127.0.0.5\r\n127.0.1.1 - 127.0.1.9\r\n127.0.2.*\r\n");
    settings("ACCEPTVALIDADDRESSONLY=1\r\n");
    start();

    const char *matches[][2] = {
        {"127.0.0.5", "full matching entry [127.0.0.5]"},
        {"127.0.1.9", "matching full range entry [127.0.1.1 -127.0.1.9]"},
        {"127.0.2.77", "wildcard entry [127.0.2.*]"},
    };
    for (const auto &[client, entry] : matches) {
        is_let_in(client);
        const Lines expected = {"SMTP : Validating [" + std::string(client) + "]",
                                "SMTP : Connection accepted from [" +
                                    std::string(client) + "] due to " + entry};
        EXPECT_EQ(expected, admission_lines(client));
    }
    is_refused("127.0.3.1", NOT_VALID);
    EXPECT_EQ(refusal_of("127.0.3.1",
                         {"SMTP : Validating [127.0.3.1]",
                          "SMTP : Connection refused from [127.0.3.1] - no matching "
                          "validation entry"}),
              admission_lines("127.0.3.1"));
}

TEST_F(Admission, AMalformedEntryBreaksTheCheckOffWithoutAWord)
{
    put(ACCEPTED_FILE, "127.0.1-127.0.0.9\r\n127.0.0.5\r\n");
    settings("ACCEPTVALIDADDRESSONLY=1\r\n");
    start();
    is_refused("127.0.0.5", NOT_VALID);
    EXPECT_EQ(refusal_of("127.0.0.5", {"SMTP : Validating [127.0.0.5]"}),
              admission_lines("127.0.0.5"));
}

TEST_F(Admission, TheAcceptedListIsLoadedOnceAndAFailedLoadIsTriedAgain)
{
    const std::string warning = "***WARNING*** - IP Address validation ";
    settings("ACCEPTVALIDADDRESSONLY=1\r\n");
    start();
    is_refused("127.0.0.5", NOT_VALID);
    EXPECT_EQ(refusal_of("127.0.0.5", {warning + "file cannot be found",
                                       warning + "cannot be performed..."}),
              admission_lines("127.0.0.5"));

    fs::create_directory(path(ACCEPTED_FILE));
    is_refused("127.0.0.5", NOT_VALID);
    EXPECT_EQ(refusal_of("127.0.0.5", {warning + "- Unable to open file"}),
              admission_lines("127.0.0.5"));

    fs::remove(path(ACCEPTED_FILE));
    put(ACCEPTED_FILE, "127.0.2.*-127.0.3.*\r\n");
    is_let_in("127.0.3.9");
    EXPECT_EQ(
        "SMTP : Connection accepted from [127.0.3.9] due to matching wildcard range "
        "entry [127.0.2.*-127.0.3.*]",
        admission_lines("127.0.3.9").back());

    put(ACCEPTED_FILE, "127.0.0.5\r\n");
    is_refused("127.0.0.5", NOT_VALID);
    is_let_in("127.0.3.9");
    settings("");
    is_let_in("127.0.0.5");
    EXPECT_TRUE(logs("SMTP: Unvalidated connection from [127.0.0.5] accepted..."));
}

TEST_F(Admission, AChangeOfTheBannedListCountsAtTheNextConnection)
{
    settings("SMTPIPBLOCK=1\r\n");
    start();
    is_let_in("127.0.0.7");
    EXPECT_EQ(Lines{"SMTP: Unvalidated connection from [127.0.0.7] accepted..."},
              admission_lines("127.0.0.7"));

    const char *kinds[][2] = {
        {"127.0.0.7", "full match entry [127.0.0.7]"},
        {"127.0.0.1 - 127.0.0.9 ", "range entry [127.0.0.1 -127.0.0.9]"},
        {"127.0.*.7", "asterisk entry [127.0.*.7]"},
    };
    for (const auto &[line, entry] : kinds) {
        put(BANNED_FILE, std::string(line) + "\r\n");
        is_refused("127.0.0.7", UNWANTED);
        const Lines expected = {
            "SMTP: Unvalidated connection from [127.0.0.7] accepted...",
            std::string("SMTP DEBUG: connection broken by ") + entry,
            "SMTP: [127.0.0.7] Senders IP address identified on banned list...",
            "SMTP: Connection broken by invalidated IP identification..."};
        EXPECT_EQ(expected, admission_lines("127.0.0.7"));
        is_let_in("127.0.1.8");
        forget_log();
    }
    fs::remove(path(BANNED_FILE));
    is_let_in("127.0.0.7");
    forget_log();
    fs::create_directory(path(BANNED_FILE));
    is_let_in("127.0.0.7");
    fs::remove(path(BANNED_FILE));
}

TEST_F(Admission, ARefusedClientThatKeepsConnectingUsesNothingUp)
{
    put(BANNED_FILE, "127.0.0.*\r\n");
    settings("SMTPIPBLOCK=1\r\n");
    start();
    auto open_files = [&] {
        auto all = fs::directory_iterator("/proc/" + std::to_string(process()) + "/fd");
        return std::distance(begin(all), end(all));
    };
    is_refused("127.0.0.7", UNWANTED);
    const auto before = open_files();
    for (int i = 0; i < 300; i++) {
        Client client = connect_from("127.0.0.7");
        client.says("HELO spam\r\nMAIL FROM:<a@b>\r\n");
        EXPECT_EQ(UNWANTED, client.hears());
        EXPECT_TRUE(client.is_closed());
    }
    forget_log();
    is_refused("127.0.0.7", UNWANTED);
    EXPECT_TRUE(logs("SMTP: [1] connection active"));
    EXPECT_EQ(before, open_files());
}
