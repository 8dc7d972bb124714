// Conversations with the command engine: bytes in, bytes out, log lines.

#include "installation.h"

class Dialogue : public Installation
{
};

TEST_F(Dialogue, AWholeMessageIsSpooledWithItsEnvelope)
{
    start();
    Client client = with_recipient();
    EXPECT_EQ("354 Start mail input; end with <CRLF>.<CRLF>\r\n", client.asks("DATA"));
    EXPECT_EQ("250 OK\r\n", client.asks("Subject: x\r\n\r\nbare\n..dot\r\n."));
    EXPECT_EQ("221 Quillon email-to-fax SMTP service closing\r\n", client.asks("QUIT"));
    EXPECT_TRUE(client.is_closed());

    EXPECT_EQ("MAIL FROM: <anna@firm.example>\r\nRCPT TO: <fax@firm.example>\r\n",
              spooled(".env"));
    EXPECT_EQ("Subject: x\r\n\r\nbare\r\n..dot\r\n", text_of(spooled(".txt")));
    EXPECT_EQ(2U, files().size());
    all_closed();
}
