// Who may connect: the accepted-address and the banned-address list.

#include "admission/address_list.h"
#include "installation.h"

namespace
{

constexpr char LET_IN[] = "220 ";
constexpr char NOT_VALID[] = "503  Connection not recognized as a valid sender, "
                             "connection has been terminated by this SMTP server\r\n";
constexpr char UNWANTED[] = "503  Connection recognized as an unwanted spam or similar "
                            "sender, connection terminated by this SMTP server\r\n";
constexpr char FOLLOWING[] = "0.0.0.0-9.9.9.999";
constexpr char NOTHING[] = "nothing";
constexpr char BROKEN_OFF[] = "broken off";

// The entry that means 5.6.7.140, as the log shows it, or why there is none.
std::string found_in(AddressList list, const std::string &text)
{
    const std::vector<char> content(text.begin(), text.end()); // nothing is read after it
    AddressTable table;
    AddressEntry entry;
    EXPECT_TRUE(build_table(&table, list, content.data(), content.size()));
    if (!find_entry(table, content.data(), {5, 6, 7, 140}, &entry)) {
        return table.ending == SCAN_AT_MALFORMED ? BROKEN_OFF : NOTHING;
    }
    char line[ENTRY_TEXT_SIZE];
    entry_text(entry, line);
    return line;
}

// What is found in either list of one of the entries and FOLLOWING; "": that entry.
void expect(const std::string &accepted, const std::string &banned, const Lines &entries)
{
    for (const std::string &line : entries) {
        const std::string content = line + "\r\n" + FOLLOWING + "\r\n";
        const std::string shown = line.substr(0, line.find('\r'));
        EXPECT_EQ(accepted.empty() ? shown : accepted, found_in(ACCEPTED_LIST, content));
        EXPECT_EQ(banned.empty() ? shown : banned, found_in(BANNED_LIST, content))
            << line;
    }
}

} // namespace

TEST(AddressLists, EntriesMeanWhoTheyMeanInEachList)
{
    const std::string blanks(300, ' ');
    expect("", "",
           {"5.6.7.140", "5.6.7.140\r", "5.6.7.140-5.6.7.140", "1.1.1.10-9.9.9.140",
            " 05.+6.7x.140-5.6.007.140", "x.-1..-9.9.9.999", "*.6.7.140", "5.*.7.140",
            "5.6.*.140", "5.6.7.*"});
    expect(FOLLOWING, FOLLOWING,
           {"5.06.7.140", "5.6.7.140 ", ";5.6.7.140", "1.1.1.10-9.9.9.139",
            "1.1.1.141-9.9.9.200", "5.6.6.250-5.6.8.5", "5.6.7.150-5.6.7.130",
            "5.6.7.100 - 5.6.7.150", "5.6.7.140-5.6.7.+150", "0005.6.7.1-5.6.7.200",
            "5.6.7.1-0005.6.7.200", "5.6.7.140" + blanks, "-" + blanks,
            "5.6.7.1-" + blanks + "5.6.7.200", "5.6.7.396", "5.262.7.140-5.262.7.140"});
    expect(BROKEN_OFF, BROKEN_OFF,
           {"5.6-5.6.7.140", "5.6.7.1-5.6.7. ", "*.6.7", "5.6.7*", "free - text"});
    // Asterisks that go together; octets compared as numbers, or not compared.
    expect("", FOLLOWING,
           {"*.*.*.*", "*.*.7.140", "5.*.*.*", "*.*.*.140", "5.06.*.140",
            "5.6.7.*-5.6.7.5", "5.6.5.*-5.6.9.*", "5.6.*.130-5.6.*.140",
            "9.9.9.9-5.6.7.*", "5.6.*.*-5.6.*.*", "*.9.9.9-*.1.1.1"});
    // The first asterisk ends the accepted list.
    expect(NOTHING, FOLLOWING,
           {"5.6.8.*", "*.6.7.141", "5.6.7.**", "5.6.7.* ", "5.*.7.*", "*.6.*.140",
            "5.*.*.140", "*.6.*.*", "5.6.3.*-5.6.6.*", "5.6.8.* - 5.6.9.*",
            "5.6.*.141-5.6.*.150", "5.7.*.*-5.8.*.*", "5.1.*.*-5.5.*.*",
            "9.9.9.9-5.6.6.*", "5.6.7.*" + blanks});
    expect(BROKEN_OFF, FOLLOWING, {"5.6.7.*-5.6.7", "1.*.3.*-"});
    expect(FOLLOWING, BROKEN_OFF, {"; free - text"});
    for (const AddressList list : {ACCEPTED_LIST, BANNED_LIST}) {
        for (const std::string content : {"1.1.1.1\r\n5.6.7.140", "5.6.7.140\r"}) {
            EXPECT_EQ("5.6.7.140", found_in(list, content));
        }
        for (const char *content : {"\r\n5.6.7.140\r\n", "5.6.7.140\n", "\r", ""}) {
            EXPECT_EQ(NOTHING, found_in(list, content));
        }
        // A line has 255 characters at most, in the banned list with its ending.
        const size_t most = list == ACCEPTED_LIST ? 255 : 253;
        for (const size_t length : {most, most + 1}) {
            const std::string line =
                "5.6.7.1-" + std::string(length - 17, ' ') + "5.6.7.200";
            EXPECT_EQ(length == most ? "5.6.7.1-5.6.7.200" : NOTHING,
                      found_in(list, line + "\r\n"));
        }
    }
    // One byte is no last line of the accepted list, and a NUL ends it; of the banned
    // list a NUL ends one line.
    EXPECT_EQ(NOTHING, found_in(ACCEPTED_LIST, "1.1.1.1\r\n*"));
    EXPECT_EQ(BROKEN_OFF, found_in(BANNED_LIST, "1.1.1.1\r\n*"));
    EXPECT_EQ(NOTHING, found_in(ACCEPTED_LIST, "1.1.1.1\r\n\0x\r\n5.6.7.140"s));
    EXPECT_EQ("5.6.7.140", found_in(BANNED_LIST, "1.1.1.1\0x\r\n5.6.7.140\0x\r\n"s));
    // The first of many is found, wherever it stands.
    for (int place = 0; place < 200; place++) {
        std::string list;
        for (int i = 0; i < 200; i++) {
            list += i == place ? "5.6.7.9-5.6.8.150\r\n"
                               : std::to_string(i * 37 % 256) + ".6.7.141\r\n";
        }
        EXPECT_EQ("5.6.7.9-5.6.8.150", found_in(BANNED_LIST, list + "5.6.7.140\r\n"));
    }
}

class Admission : public Installation
{
  protected:
    // The log between the connection and its end, after this answer.
    Lines log_of(const std::string &address, const std::string &answer)
    {
        forget_log();
        Client client = connect_from(address);
        EXPECT_EQ(answer, client.hears().substr(0, answer.size())) << address;
        EXPECT_TRUE(answer == LET_IN || client.is_closed()) << address;
        client.leaves();
        all_closed();
        const Lines lines = log_lines();
        const std::string last = "SMTP: [" + address + "] disconnected";
        return {lines.begin() + 3, std::find(lines.begin() + 3, lines.end(), last)};
    }
};

TEST_F(Admission, TheLogNamesTheAcceptedEntryOrTheRefusal)
{
    const std::string to = "SMTP : Validating [127.0.0.5]";
    const std::string due = "SMTP : Connection accepted from [127.0.0.5] due to ";
    const Lines refusal = {
        to, "SMTP : Connection refused from [127.0.0.5] - no matching validation entry",
        "SMTP: [127.0.0.5] This IP address NOT identified in the valid IP ranges file...",
        "SMTP: Mail REFUSED from unvalidated address of [127.0.0.5]..."};
    const std::pair<const char *, Lines> lists[] = {
        {"127.0.0.5", {to, due + "full matching entry [127.0.0.5]"}},
        {"127.0.0.1 -  127.0.0.9 ",
         {to, due + "matching full range entry [127.0.0.1 -127.0.0.9]"}},
        {"127.0.0.*", {to, due + "wildcard entry [127.0.0.*]"}},
        {"127.0.0.* -  127.0.1.* ",
         {to, due + "matching wildcard range entry [127.0.0.* -127.0.1.*]"}},
        {"127.0.0.6", refusal},
        {"127.0.1-127.0.0.9\r\n127.0.0.5", {to, refusal[2], refusal[3]}},
    };
    settings("ACCEPTVALIDADDRESSONLY=1\r\n");
    for (const auto &[list, log] : lists) {
        put(ACCEPTED, list);
        start();
        EXPECT_EQ(log, log_of("127.0.0.5", log.size() > 2 ? NOT_VALID : LET_IN));
        EXPECT_EQ(0, stop());
    }

    // The list is loaded once, and a load that has failed is tried again.
    fs::remove(ACCEPTED);
    start();
    const std::string warning = "***WARNING*** - IP Address validation ";
    const Lines lines = log_of("127.0.0.5", NOT_VALID);
    EXPECT_EQ(warning + "file cannot be found", lines.at(0));
    EXPECT_EQ(warning + "cannot be performed...", lines.at(1));
    fs::create_directory(ACCEPTED);
    EXPECT_EQ(warning + "- Unable to open file", log_of("127.0.0.5", NOT_VALID).at(0));
    fs::remove(ACCEPTED);
    put(ACCEPTED, "127.0.0.7\r\n");
    log_of("127.0.0.7", LET_IN);
    put(ACCEPTED, "127.0.0.5\r\n");
    log_of("127.0.0.5", NOT_VALID);
    settings("");
    log_of("127.0.0.5", LET_IN);
}

TEST_F(Admission, AChangeOfTheBannedListCountsAtTheNextConnection)
{
    const char attempt[] = "SMTP: Unvalidated connection from [127.0.0.7] accepted...";
    settings("SMTPIPBLOCK=1\r\n");
    start();
    EXPECT_EQ(Lines{attempt}, log_of("127.0.0.7", LET_IN));
    const size_t descriptors = open_descriptors();
    const char *const entries[][2] = {
        {"127.0.0.7", "full match entry [127.0.0.7]"},
        {"127.0.0.1 - 127.0.0.9 ", "range entry [127.0.0.1 -127.0.0.9]"},
        {"127.0.*.7", "asterisk entry [127.0.*.7]"},
    };
    for (const auto &[entry, name] : entries) {
        put(BANNED, entry);
        const Lines expected = {
            attempt, "SMTP DEBUG: connection broken by " + std::string(name),
            "SMTP: [127.0.0.7] Senders IP address identified on banned list...",
            "SMTP: Connection broken by invalidated IP identification..."};
        EXPECT_EQ(expected, log_of("127.0.0.7", UNWANTED));
        log_of("127.0.1.8", LET_IN);
    }
    EXPECT_EQ(descriptors, open_descriptors());
    fs::remove(BANNED);
    fs::create_directory(BANNED); // nothing that can be opened bans nobody
    EXPECT_EQ(Lines{attempt}, log_of("127.0.0.7", LET_IN));
}
