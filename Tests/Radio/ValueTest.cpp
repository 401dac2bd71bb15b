#include "Client.hpp"
#include "RadioTest.hpp"

#include <algorithm>
#include <cstdint>
#include <string>

namespace tarnel::radio {
namespace {

/// Begins with its number, least byte first.
Bytes numbered(std::uint32_t number, std::size_t size) {
    Bytes value(size, static_cast<std::uint8_t>(number));
    for (std::size_t i = 0; i < sizeof number; ++i) {
        value[i] = static_cast<std::uint8_t>(number >> (8 * i));
    }
    return value;
}

class Values : public RadioTest {
protected:
    void TearDown() override {
        client.reset();
        RadioTest::TearDown();
    }

    void startClient(const std::vector<std::string>& arguments) {
        ASSERT_NO_FATAL_FAILURE(start({arguments}));
        pair().tell("plain on");
        client.emplace();
        ASSERT_TRUE(client->find());
        ASSERT_TRUE(client->connect());
        ASSERT_TRUE(client->open());
    }

    std::size_t longest() { return client->peripheral().maximumWriteValueLength(platform::WriteType::withoutResponse); }

    std::optional<Client> client;
};

TEST_F(Values, ofEveryLengthArriveWholeAndInOrder) {
    ASSERT_NO_FATAL_FAILURE(startClient({}));
    ASSERT_EQ(longest(), 495u);
    constexpr std::size_t least = 4;
    std::vector<Bytes> values;
    std::uint64_t bytes = 0;
    for (std::size_t size = least; size <= longest(); ++size) {
        values.push_back(numbered(static_cast<std::uint32_t>(values.size()), size));
        bytes += size;
    }
    ASSERT_TRUE(client->write(values));
    EXPECT_TRUE(eventually([&] { return pair().describe().values == values.size(); }));
    EXPECT_EQ(pair().describe().bytes, bytes);
    EXPECT_EQ(pair().describe().longest, 495u);
    EXPECT_EQ(pair().describe().misplaced, 0u);
    EXPECT_TRUE(stack->isDaemonRunning());
}

TEST_F(Values, areAsLongAsTheMtuOfTheGlassesAllows) {
    for (const std::size_t mtu : {23U, 24U, 100U, 247U, 498U, 499U}) {
        SCOPED_TRACE(mtu);
        ASSERT_NO_FATAL_FAILURE(startClient({"--mtu", std::to_string(mtu)}));
        const std::size_t expected = std::min<std::size_t>(mtu - 3, 495);
        EXPECT_EQ(longest(), expected);
        EXPECT_EQ(pair().describe().valueLength, mtu - 3);
        ASSERT_TRUE(client->write({numbered(1, expected), numbered(2, expected), numbered(3, 4)}));
        EXPECT_TRUE(eventually([&] { return pair().describe().bytes == 2 * expected + 4; }));
        client.reset();
        glasses.clear();
        stack.reset();
    }
}

TEST_F(Values, areNotLostWhenTheGlassesAreSlowerThanTheProgram) {
    ASSERT_NO_FATAL_FAILURE(startClient({}));
    constexpr std::uint32_t count = 2000;
    std::vector<Bytes> values;
    for (std::uint32_t i = 0; i < count; ++i) {
        values.push_back(numbered(i, longest()));
    }
    ASSERT_TRUE(client->write(values));
    EXPECT_TRUE(eventually([&] { return pair().describe().values == count; }));
    EXPECT_EQ(pair().describe().misplaced, 0u);
    EXPECT_EQ(client->count("disconnected"), 0);
}

} // namespace
} // namespace tarnel::radio
