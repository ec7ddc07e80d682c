// Messages between two processes: whole, in order, and nothing that is none.
#include "host/net/message_socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace {

using host::MessageSocket;
using host::SocketMessage;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Sockets : public ::testing::Test {
  protected:
    // Bytes as they come, written by hand.
    void write_raw(const std::string& bytes) const {
        ASSERT_EQ(::write(raw_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    Sockets() : ends_(MessageSocket::open_pair()), raw_(ends_.second), ours_(ends_.first) {}

    const std::pair<int, int> ends_;
    const int raw_;
    MessageSocket ours_;
};

TEST_F(Sockets, CarryTextsAndBytesInOrder) {
    MessageSocket theirs(raw_);
    EXPECT_TRUE(ours_.send({"one", {}}));
    EXPECT_TRUE(ours_.send({"", {1, 0, 255}}));
    EXPECT_TRUE(theirs.send({"back", {7}}));
    const auto messages = theirs.receive();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].text, "one");
    EXPECT_EQ(messages[1].bytes, (std::vector<std::uint8_t>{1, 0, 255}));
    EXPECT_EQ(ours_.receive().at(0).text, "back");
    EXPECT_THAT(ours_.receive(), IsEmpty());
}

TEST_F(Sockets, WaitForTheRestOfAMessage) {
    const std::string message = std::string("vca\1\2\0\0\0\1\0\0\0", 12) + "ab" + "x";
    for (std::size_t i = 0; i + 1 < message.size(); ++i) {
        write_raw(message.substr(i, 1));
        EXPECT_THAT(ours_.receive(), IsEmpty());
    }
    write_raw(message.substr(message.size() - 1));
    EXPECT_EQ(ours_.receive().at(0).text, "ab");
    ::close(raw_);
}

TEST_F(Sockets, CarryLargeMessagesAsFarAsTheyAreTaken) {
    MessageSocket theirs(raw_);
    const std::vector<std::uint8_t> picture(MessageSocket::kMostBytes, 9);
    EXPECT_TRUE(ours_.send({"picture", picture}));
    // Nobody has taken the one before.
    EXPECT_FALSE(ours_.send({"picture", picture}));
    std::vector<SocketMessage> messages;
    while (messages.empty()) {
        messages = theirs.receive();
        ours_.flush();
    }
    EXPECT_EQ(messages[0].bytes, picture);
    EXPECT_TRUE(ours_.send({"small", {}}));
    EXPECT_EQ(theirs.receive().at(0).text, "small");
}

TEST_F(Sockets, RefuseWhatIsTooLarge) {
    EXPECT_FALSE(ours_.send({std::string(MessageSocket::kMostText + 1, 'x'), {}}));
    EXPECT_FALSE(ours_.is_closed());
    ::close(raw_);
}

TEST_F(Sockets, CloseAfterWhatIsNoMessage) {
    for (const std::string& header :
         {std::string("vca\2\2\0\0\0\1\0\0\0", 12), std::string("vca\1\1\0\x10\0\0\0\0\0", 12),
          std::string("vca\1\0\0\0\0\1\0\0\1", 12), std::string("GET / HTTP/1.1\r\n")}) {
        const auto [left, right] = MessageSocket::open_pair();
        MessageSocket socket(left);
        ASSERT_EQ(::write(right, header.data(), header.size()),
                  static_cast<ssize_t>(header.size()));
        EXPECT_THAT(socket.receive(), IsEmpty());
        EXPECT_TRUE(socket.is_closed());
        EXPECT_THAT(socket.why_closed(), HasSubstr("no message of this version"));
        EXPECT_FALSE(socket.send({"more", {}}));
        ::close(right);
    }
    ::close(raw_);
}

TEST_F(Sockets, GiveWhatCameBeforeTheOtherSideWent) {
    {
        MessageSocket theirs(raw_);
        theirs.send({"last words", {}});
    }
    EXPECT_EQ(ours_.receive().at(0).text, "last words");
    EXPECT_TRUE(ours_.is_closed());
    EXPECT_EQ(ours_.file(), -1);
    EXPECT_THAT(ours_.receive(), IsEmpty());
}

}  // namespace
