#include "support/TestPlatform.hpp"

#include <TarnelSDK/link/IncomingManager.hpp>
#include <TarnelSDK/link/OutgoingManager.hpp>
#include <TarnelSDK/link/SlotManager.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace tarnel {
namespace {

using ::testing::Each;
using ::testing::Le;

/// A platform on real threads.
class LinkThreadsTest : public ::testing::Test {
protected:
    LinkThreadsTest() {
        platform::Platform::install(
            {scheduler, std::make_shared<SimulatedClock>(std::make_shared<SimulatedScheduler>(1)),
             std::make_shared<SimulatedRandom>(1), std::make_shared<SettableApplication>(std::nullopt),
             std::make_shared<MemoryUserDefaults>("com.example.test"), std::make_shared<test::NoBluetooth>()});
    }
    ~LinkThreadsTest() override { platform::Platform::tearDown(); }

    /// Runs the function on several threads at once, with the number of each, until all have ended.
    template <typename Function>
    static void onThreads(int count, Function function) {
        std::vector<std::thread> threads;
        for (int number = 0; number < count; ++number) {
            threads.emplace_back(function, number);
        }
        for (auto& thread : threads) {
            thread.join();
        }
    }

    const std::shared_ptr<ThreadScheduler> scheduler = std::make_shared<ThreadScheduler>(2);
};

constexpr int producers = 3;
constexpr int messagesOfEach = 150;
constexpr int messageCount = producers * messagesOfEach;

ItemType typeOf(int message) {
    constexpr std::array types{ItemType::data, ItemType::noHeader, ItemType::control, ItemType::longwrite,
                               ItemType::replaceable};
    return types.at(static_cast<std::size_t>(message) % types.size());
}

/// Begins with the number of the message and is 3 to 42 bytes long.
Bytes bytesOf(int message) {
    Bytes bytes(static_cast<std::size_t>(3 + message % 40), static_cast<std::uint8_t>(message));
    bytes[0] = static_cast<std::uint8_t>(message / 256);
    return bytes;
}

/// Sends all that is queued chunk by chunk as a device does, and counts what arrives. Used on one queue.
class Sender {
public:
    explicit Sender(OutgoingManager& outgoing) : outgoing_(outgoing) {}

    void sendAll() {
        while (const auto item = outgoing_.next()) {
            incoming_.append(item->id(), item->getNextChunk().value());
            if (item->hasMoreChunks()) {
                continue;
            }
            const Bytes joined = incoming_.finish(item->id()).value();
            const int message = joined.at(0) * 256 + joined.at(1);
            EXPECT_EQ(joined, bytesOf(message));
            ++arrivals.at(static_cast<std::size_t>(message));
            EXPECT_EQ(outgoing_.getCurrentItem(), item);
            outgoing_.remove(outgoing_.getCurrentItem());
        }
    }

    std::vector<int> arrivals = std::vector<int>(messageCount);

private:
    OutgoingManager& outgoing_;
    IncomingManager incoming_;
};

TEST_F(LinkThreadsTest, EveryMessageAddedOnAnyThreadArrivesOnce) {
    for (const auto slots : {SlotRange{0, 1}, SlotRange{0, 7}}) {
        OutgoingManager outgoing(scheduler->makeSerialQueue("com.brenlo.bluetooth"), slots);
        const auto writing = scheduler->makeSerialQueue("com.brenlo.tarnel.write");
        Sender sender(outgoing);
        OutgoingManager::setMaximumWriteValueLength(20);

        onThreads(producers + 1, [&](int thread) {
            for (int i = 0; i < messagesOfEach; ++i) {
                if (thread == producers) {
                    OutgoingManager::setMaximumWriteValueLength(i % 2 == 0 ? 20 : 8);
                    outgoing.hasItems();
                    outgoing.getCurrentItem();
                    outgoing.pendingByteCount();
                } else {
                    const int message = thread * messagesOfEach + i;
                    outgoing.add(bytesOf(message), message % 7 == 0, typeOf(message));
                    writing->async([&] { sender.sendAll(); });
                }
            }
        });
        writing->sync([] {});

        EXPECT_EQ(outgoing.pendingByteCount(), 0U);
        EXPECT_THAT(sender.arrivals, Each(Le(1)));
        for (int message = 0; message < messageCount; ++message) {
            if (typeOf(message) != ItemType::replaceable) {
                EXPECT_EQ(sender.arrivals.at(static_cast<std::size_t>(message)), 1) << "message " << message;
            }
        }
    }
}

TEST_F(LinkThreadsTest, ASlotIsHeldByOneAtATime) {
    constexpr int slotCount = 3;
    const auto manager = SlotManager::make({0, slotCount});
    std::array<std::atomic<int>, slotCount> holders{};
    std::mutex requesting;

    onThreads(4, [&](int) {
        for (int round = 0; round < 200; ++round) {
            std::unique_lock lock(requesting);
            const auto slot = manager->request();
            lock.unlock();
            if (slot) {
                auto& holder = holders.at(static_cast<std::size_t>(*slot));
                EXPECT_EQ(++holder, 1);
                --holder;
                manager->return_(*slot);
            }
        }
    });
    for (int left = slotCount; left > 0; --left) {
        EXPECT_TRUE(manager->request());
    }
    EXPECT_FALSE(manager->request());
}

TEST_F(LinkThreadsTest, ASlotReturnedWhileItIsRetiredDoesNotComeBack) {
    for (int round = 0; round < 50; ++round) {
        const auto manager = SlotManager::make({0, 1});
        EXPECT_TRUE(manager->request());
        onThreads(2, [&](int thread) {
            if (thread == 0) {
                manager->return_(0);
            } else {
                manager->removeSlots({0, 1});
            }
        });
        EXPECT_FALSE(manager->hasSlots());
    }
}

} // namespace
} // namespace tarnel
