#include "DeviceFixture.hpp"

namespace tarnel {
namespace {

using test::valuesOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ChannelTest : public test::DeviceFixture {
protected:
    void ready() {
        report([this](auto& delegate) { delegate.isReadyToSendWriteWithoutResponse(peripheral); });
    }
};

TEST_F(ChannelTest, CutsAMessageIntoChunksWithTheirHeaders) {
    peripheral->maximumWithoutResponse = 20;
    startSession();
    Bytes message(45);
    for (std::size_t i = 0; i < message.size(); ++i) {
        message[i] = static_cast<std::uint8_t>(i);
    }
    device->sendData(message, ItemType::data);
    platform.run();
    const auto sent = chunks();
    ASSERT_THAT(sent, SizeIs(3));
    EXPECT_EQ(sent[0].size(), 20u);
    EXPECT_EQ(sent[1].size(), 20u);
    EXPECT_EQ(sent[2].size(), 8u);
    EXPECT_EQ(sent[0][0], 0x80);
    EXPECT_EQ(sent[1][0], 0x80);
    EXPECT_EQ(sent[2][0], 0x00);
    Bytes joined;
    for (const auto& chunk : sent) {
        joined.insert(joined.end(), chunk.begin() + 1, chunk.end());
    }
    EXPECT_EQ(joined, message);
}

TEST_F(ChannelTest, EndsAMessageOfWholeChunksWithItsLastFullOne) {
    peripheral->maximumWithoutResponse = 20;
    startSession();
    device->sendData(Bytes(38, 1), ItemType::data);
    platform.run();
    const auto sent = chunks();
    ASSERT_THAT(sent, SizeIs(2));
    EXPECT_EQ(sent[1].size(), 20u);
    EXPECT_EQ(sent[1][0], 0x00);
}

TEST_F(ChannelTest, SendsAMessageWithoutHeadersAsItIs) {
    peripheral->maximumWithoutResponse = 20;
    startSession();
    device->sendData(Bytes(45, 9), ItemType::noHeader);
    platform.run();
    EXPECT_THAT(chunks(), ElementsAre(Bytes(20, 9), Bytes(20, 9), Bytes(5, 9)));
}

TEST_F(ChannelTest, WritesUntilTheBufferIsFullAndGoesOnWhenThereIsRoom) {
    startSession();
    observeLog();
    peripheral->room = 2;
    for (int i = 0; i < 5; ++i) {
        device->sendData(Bytes(10, 1), ItemType::data);
    }
    platform.run();
    EXPECT_THAT(peripheral->writes, SizeIs(2));
    EXPECT_THAT(logLines, Contains("peripheral write buffer full"));
    peripheral->room = 2;
    ready();
    EXPECT_THAT(peripheral->writes, SizeIs(4));
    EXPECT_THAT(logLines, Contains("peripheral is Ready.. writting more"));
    peripheral->room = 2;
    ready();
    EXPECT_THAT(peripheral->writes, SizeIs(5));
    EXPECT_FALSE(device->hasDataInOutgoingQueue());
}

TEST_F(ChannelTest, TakesRoomThatComesInTheMiddleOfAWriteForNoSecondWrite) {
    startSession();
    peripheral->room = 1;
    peripheral->whenAskedForRoom = [this] {
        if (peripheral->room == 0) {
            return;
        }
        hosts->queue()->async([this] { peripheral->delegate.lock()->isReadyToSendWriteWithoutResponse(peripheral); });
    };
    for (int i = 0; i < 20; ++i) {
        device->sendData(Bytes(10, 1), ItemType::data);
    }
    platform.run();
    for (std::size_t written = 1; written < 20; ++written) {
        EXPECT_THAT(peripheral->writes, SizeIs(written));
        peripheral->room = 1;
        ready();
    }
    EXPECT_EQ(peripheral->lostWrites, 0);
}

TEST_F(ChannelTest, WritesManyChunksInARowAndLetsTheOtherBlocksOfTheQueueInBetween) {
    peripheral->maximumWithoutResponse = 20;
    startSession();
    std::vector<std::size_t> written;
    std::function<void()> look = [&] {
        written.push_back(peripheral->writes.size());
        if (written.back() < 100) {
            hosts->queue()->async(look);
        }
    };
    peripheral->whenAskedForRoom = [&] {
        peripheral->whenAskedForRoom = nullptr;
        hosts->queue()->async(look);
    };
    device->sendData(Bytes(1900, 1), ItemType::data);
    platform.run();
    ASSERT_THAT(peripheral->writes, SizeIs(100));
    EXPECT_THAT(written, Contains(::testing::AllOf(::testing::Gt(1u), ::testing::Lt(100u))));
    EXPECT_LT(written.size(), 20u);
}

TEST_F(ChannelTest, NeverWritesIntoAFullBuffer) {
    startSession();
    peripheral->room = 1;
    for (int i = 0; i < 20; ++i) {
        device->sendData(Bytes(10, 1), ItemType::data);
    }
    for (std::size_t written = 1; written <= 20; ++written) {
        platform.run();
        EXPECT_THAT(peripheral->writes, SizeIs(written));
        peripheral->room = 1;
        ready();
    }
}

TEST_F(ChannelTest, WritesOneChunkAConfirmationInTheFirstProtocol) {
    peripheral->maximumWithResponse = 20;
    startSession(1);
    for (int i = 0; i < 4; ++i) {
        device->sendData(Bytes(15, 1), ItemType::data);
    }
    platform.run();
    for (std::size_t written = 1; written <= 4; ++written) {
        EXPECT_THAT(peripheral->writes, SizeIs(written));
        confirmWrite();
    }
    EXPECT_FALSE(device->hasDataInOutgoingQueue());
    device->sendData(Bytes(15, 2), ItemType::data);
    platform.run();
    EXPECT_THAT(peripheral->writes, SizeIs(5)) << "the channel was idle again";
}

TEST_F(ChannelTest, StaysWritingAfterAWriteErrorAndQueuesWhatComes) {
    startSession(1);
    observeLog();
    device->sendData(Bytes(15, 1), ItemType::data);
    platform.run();
    confirmWrite(platform::BluetoothError{platform::BluetoothError::Domain::attribute, 14, "unlikely"});
    EXPECT_THAT(logLines, Contains("TODO: error with writting: unlikely"));
    device->sendData(Bytes(15, 2), ItemType::data);
    platform.run();
    EXPECT_THAT(peripheral->writes, SizeIs(1));
    EXPECT_TRUE(device->hasDataInOutgoingQueue());
}

TEST_F(ChannelTest, StartsAnewAfterAWriteErrorInTheNextSession) {
    startSession(1);
    device->sendData(Bytes(15, 1), ItemType::data);
    platform.run();
    confirmWrite(platform::BluetoothError{platform::BluetoothError::Domain::attribute, 14, "unlikely"});
    device->setIsAuthenticated(false);
    startSession(1);
    device->sendData(Bytes(15, 2), ItemType::data);
    platform.run();
    EXPECT_THAT(peripheral->writes, SizeIs(1));
}

TEST_F(ChannelTest, WritesNothingWhileThePeripheralIsNotConnected) {
    startSession();
    peripheral->currentState = platform::PeripheralState::disconnecting;
    device->screenOff();
    platform.run();
    EXPECT_THAT(peripheral->writes, IsEmpty());
}

TEST_F(ChannelTest, LosesNoMessageWhicheverWayTheQueuesInterleave) {
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        startSession();
        peripheral->room = 3;
        for (int i = 0; i < 30; ++i) {
            device->sendData(pack(MessagePackValue::map({{"n", i}})),
                             i % 3 == 0 ? ItemType::longwrite : ItemType::data);
            if ((static_cast<std::uint64_t>(i) * seed) % 4 == 0) {
                platform.run();
            }
            if ((static_cast<std::uint64_t>(i) * seed) % 5 == 0) {
                peripheral->room = 3;
                ready();
            }
        }
        while (device->hasDataInOutgoingQueue()) {
            peripheral->room = 3;
            ready();
        }
        EXPECT_THAT(valuesOf(messages(), "n"), SizeIs(30));
    }
}

TEST_F(ChannelTest, KeepsAChunkOfAnEndedSessionFromTheNextOne) {
    startSession();
    peripheral->whenAskedForRoom = [this] {
        peripheral->whenAskedForRoom = nullptr;
        hosts->queue()->async([this] { device->setIsAuthenticated(false); });
    };
    device->sendData(Bytes(10, 1), ItemType::data);
    platform.run();
    EXPECT_FALSE(device->isAuthenticated());
    EXPECT_THAT(peripheral->writes, IsEmpty());
    device->setIsAuthenticated(true);
    device->screenOff();
    platform.run();
    EXPECT_THAT(valuesOf(messages(), "screen_off"), SizeIs(1)) << "the channel is not stuck";
}

TEST_F(ChannelTest, CountsTheBytesThatWait) {
    startSession();
    peripheral->room = 0;
    device->sendData(Bytes(100, 1), ItemType::data);
    device->sendData(Bytes(900, 1), ItemType::longwrite);
    platform.run();
    EXPECT_EQ(device->pendingByteCount(), 1000u);
    peripheral->room = 100;
    ready();
    EXPECT_EQ(device->pendingByteCount(), 0u);
}

} // namespace
} // namespace tarnel
