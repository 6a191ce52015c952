// SPDX-License-Identifier: Apache-2.0
#include "sandbox/scripted_peer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <system_error>

#include "tests/unit/sandbox/client.h"

using sandbox::close;
using sandbox::expectData;
using sandbox::expectLine;
using sandbox::parseDialogue;
using sandbox::readUntil;
using sandbox::reset;
using sandbox::say;
using sandbox::sayOneByOne;
using sandbox::ScriptedPeer;
using sandbox::silence;
using testing::AllOf;
using testing::HasSubstr;
using namespace std::chrono_literals;

namespace {

constexpr auto greetingAndQuit = R"(
    S: 220 hi
    C: QUIT
    S: 221 bye
)";

TEST(ScriptedPeer, playsItsDialogue) {
    ScriptedPeer peer(parseDialogue(greetingAndQuit));
    Client client(peer.port());
    EXPECT_EQ(client.line(), "220 hi\r\n");
    EXPECT_EQ(client.ask("QUIT\r\n"), "221 bye\r\n");
    EXPECT_EQ(client.rest(), "");
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.received(), "QUIT\r\n");
}

TEST(ScriptedPeer, explainsTheFirstDifferenceInALine) {
    ScriptedPeer peer(parseDialogue("S: 220 hi\nC: EHLO localhost\nC: QUIT\n"));
    Client client(peer.port());
    client.send("EHLO localhost\r\nQUIX\r\n");
    EXPECT_EQ(client.line(), "220 hi\r\n");
    EXPECT_EQ(peer.finish(),
              "connection 1\n"
              "expected: QUIT\n"
              "received: QUIX\n"
              "the first difference is at octet 3\n"
              "transcript:\n"
              "connection 1\n"
              "S: 220 hi\\r\\n\n"
              "C: EHLO localhost\\r\\n\n");
}

TEST(ScriptedPeer, seesThatALineIsLongerThanExpected) {
    ScriptedPeer peer(parseDialogue("C: QUIT\n"));
    Client client(peer.port());
    client.send("QUIT \r\n");
    EXPECT_THAT(peer.finish(), AllOf(HasSubstr("received: QUIT \n"), HasSubstr("at octet 4\n")));
}

TEST(ScriptedPeer, takesNoBareLineFeedForALineEnd) {
    ScriptedPeer peer(parseDialogue("C: QUIT\n"));
    Client client(peer.port());
    client.send("QUIT\n");
    client.endSending();
    EXPECT_THAT(peer.finish(), HasSubstr("expected: line QUIT\nreceived: QUIT\\n\n"
                                         "then the end of the connection"));
}

TEST(ScriptedPeer, closesTheConnectionAtTheFirstDifference) {
    ScriptedPeer peer(parseDialogue("C: QUIT\nS: 221 bye\n"));
    Client client(peer.port());
    client.send("NOOP\r\n");
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(peer.finish(), HasSubstr("received: NOOP\n"));
}

TEST(ScriptedPeer, comparesDataOctetByOctet) {
    ScriptedPeer peer({expectData(std::string("a\0b\n", 4)), say("ok\r\n")});
    Client client(peer.port());
    client.send(std::string_view("a\0", 2));
    EXPECT_EQ(client.ask("b\n"), "ok\r\n");
    EXPECT_EQ(peer.finish(), "");
}

TEST(ScriptedPeer, reportsWrongDataBeforeAllOfItIsThere) {
    ScriptedPeer peer({expectData("abcdef")});
    Client client(peer.port());
    client.send("abx");
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(peer.finish(), HasSubstr("received: abx\nthe first difference is at octet 2\n"));
}

TEST(ScriptedPeer, readsUntilGivenOctets) {
    ScriptedPeer peer({readUntil("\r\n.\r\n"), say("250 ok\r\n"), expectLine("QUIT")});
    Client client(peer.port());
    EXPECT_EQ(client.ask("any\r\nthing\r\n.\r\nQUIT\r\n"), "250 ok\r\n");
    EXPECT_EQ(peer.finish(), "");
}

TEST(ScriptedPeer, reportsWhatComesBeyondItsMoves) {
    ScriptedPeer peer({expectLine("QUIT")});
    Client client(peer.port());
    client.send("QUIT\r\nNOOP\r\n");
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(peer.finish(), HasSubstr("expected nothing more\nreceived: NOOP\\r\\n\n"));
}

TEST(ScriptedPeer, limitsTheTimeOfAMove) {
    ScriptedPeer peer({expectLine("QUIT")}, {.timeLimit = 500ms});
    Client client(peer.port());
    client.send("QU");
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(peer.finish(), HasSubstr("received: QU\nthen nothing for 500 ms\n"));
}

TEST(ScriptedPeer, limitsTheTimeInWhichAClientMustCome) {
    ScriptedPeer peer({say("hi")}, {.timeLimit = 50ms});
    EXPECT_THAT(peer.finish(), HasSubstr("no client came for connection 1 within 50 ms"));
}

TEST(ScriptedPeer, closesInOrder) {
    ScriptedPeer peer({say("220 h"), close()});
    Client client(peer.port());
    EXPECT_EQ(client.rest(), "220 h");
    EXPECT_FALSE(client.wasReset());
    EXPECT_EQ(peer.finish(), "");
}

TEST(ScriptedPeer, closesInOrderWithOctetsUnread) {
    ScriptedPeer peer({expectLine("NOOP"), close()});
    Client client(peer.port());
    client.send("NOOP\r\nNOOP\r\n");
    EXPECT_EQ(client.rest(), "");
    EXPECT_FALSE(client.wasReset());
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.received(), "NOOP\r\nNOOP\r\n");
}

TEST(ScriptedPeer, resets) {
    ScriptedPeer peer({expectLine("QUIT"), reset()});
    Client client(peer.port());
    client.send("QUIT\r\n");
    EXPECT_EQ(client.rest(), "");
    EXPECT_TRUE(client.wasReset());
    EXPECT_EQ(peer.finish(), "");
}

TEST(ScriptedPeer, holdsASilentConnectionBeyondItsTimeLimit) {
    ScriptedPeer peer({silence()}, {.timeLimit = 500ms});
    Client client(peer.port());
    EXPECT_TRUE(client.isSilentFor(700));
    client.send("anything");
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.received(), "anything");
    EXPECT_EQ(client.rest(), "");
}

TEST(ScriptedPeer, endsASilenceWhenTheClientCloses) {
    ScriptedPeer peer(std::vector<sandbox::Dialogue>{{silence()}, {say("second\r\n")}});
    { const Client first(peer.port()); }
    Client second(peer.port());
    EXPECT_EQ(second.line(), "second\r\n");
    EXPECT_EQ(peer.finish(), "");
}

TEST(ScriptedPeer, sendsOctetsOneByOne) {
    ScriptedPeer peer({sayOneByOne("250 ok\r\n"), expectLine("QUIT")});
    Client client(peer.port());
    EXPECT_EQ(client.line(), "250 ok\r\n");
    client.send("QUIT\r\n");
    EXPECT_EQ(peer.finish(), "");
}

TEST(ScriptedPeer, playsOneDialogueForEachConnection) {
    ScriptedPeer peer(
        std::vector<sandbox::Dialogue>{{expectLine("one"), close()}, {expectLine("two"), close()}});
    for (const char* line : {"one\r\n", "two\r\n"}) {
        Client client(peer.port());
        client.send(line);
        EXPECT_EQ(client.rest(), "");
    }
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.received(), "one\r\ntwo\r\n");
    EXPECT_EQ(peer.received(1), "one\r\n");
    EXPECT_EQ(peer.received(2), "two\r\n");
    EXPECT_EQ(peer.received(3), "");
}

TEST(ScriptedPeer, namesTheConnectionThatDiffers) {
    ScriptedPeer peer(std::vector<sandbox::Dialogue>{{close()}, {expectLine("two")}});
    EXPECT_EQ(Client(peer.port()).rest(), "");
    Client client(peer.port());
    client.send("three\r\n");
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(peer.finish(), testing::StartsWith("connection 2\nexpected: two\n"));
}

TEST(ScriptedPeer, listensAndTakesNobodyWithoutDialogues) {
    ScriptedPeer peer(std::vector<sandbox::Dialogue>{});
    Client client(peer.port());
    EXPECT_TRUE(client.isSilentFor(50));
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.received(), "");
}

TEST(ScriptedPeer, saysLargeDataToASlowReader) {
    const std::string large(10'000'000, 'x');
    ScriptedPeer peer({say(large), close()});
    Client client(peer.port());
    EXPECT_TRUE(client.rest() == large);
    EXPECT_EQ(peer.finish(), "");
}

// With more work for each octet than for the one before, these would take minutes.
TEST(ScriptedPeer, comparesLargeDataInOnePass) {
    const std::string large(20'000'000, 'x');
    ScriptedPeer peer({expectData(large), say("ok\r\n")});
    Client client(peer.port());
    EXPECT_EQ(client.ask(large), "ok\r\n");
    EXPECT_EQ(peer.finish(), "");
}

TEST(ScriptedPeer, searchesLargeDataInOnePass) {
    const std::string large(20'000'000, '\r');
    ScriptedPeer peer({readUntil("\r\n.\r\n"), say("ok\r\n")});
    Client client(peer.port());
    EXPECT_EQ(client.ask(large + "\n.\r\n"), "ok\r\n");
    EXPECT_EQ(peer.finish(), "");
}

TEST(ScriptedPeer, findsAnEndThatComesInSeveralPieces) {
    ScriptedPeer peer({readUntil("\r\n.\r\n"), say("2\r\n")});
    Client client(peer.port());
    const std::string text = "text\r\n.\r\r\n.\r\n";
    for (const char octet : text) client.send({&octet, 1});
    EXPECT_EQ(client.line(), "2\r\n");
    EXPECT_EQ(peer.finish(), "");
}

TEST(ScriptedPeer, reportsAClientThatDoesNotRead) {
    ScriptedPeer peer({say(std::string(50'000'000, 'x'))}, {.timeLimit = 500ms});
    const Client client(peer.port());
    EXPECT_THAT(peer.finish(), HasSubstr("the client does not read, for 500 ms"));
}

TEST(ScriptedPeer, isDestroyedAtOnceWhateverItWaitsFor) {
    const auto start = std::chrono::steady_clock::now();
    { ScriptedPeer peer({expectLine("QUIT")}); }
    {
        ScriptedPeer peer({expectLine("QUIT")});
        const Client client(peer.port());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(ScriptedPeer, namesAddressAndPortWhereItCannotListen) {
    const ScriptedPeer first({silence()});
    EXPECT_THAT([&] { ScriptedPeer({silence()}, {.port = first.port()}); },
                testing::ThrowsMessage<std::system_error>(AllOf(
                    HasSubstr("127.0.0.1:" + std::to_string(first.port())), HasSubstr("in use"))));
    EXPECT_THROW(ScriptedPeer({silence()}, {.address = "nowhere"}), std::system_error);
}

TEST(ScriptedPeer, refusesMovesBehindTheEndOfAConnection) {
    EXPECT_THROW(ScriptedPeer({close(), say("more")}), std::invalid_argument);
}

}  // namespace
