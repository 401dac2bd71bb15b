#include "DeviceFixture.hpp"

#include <random>

namespace tarnel {
namespace {

using test::valuesOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class DispatchTest : public test::DeviceFixture {
protected:
    DispatchTest() {
        startSession();
        device->setLayout(Layout::canvas, 180, false);
        platform.run();
        peripheral->writes.clear();
    }

    std::vector<bool> connectionsSeenDuring(const std::function<void()>& step) {
        std::vector<bool> seen;
        const auto listener = std::make_shared<BondListener<bool>>([&](bool value) { seen.push_back(value); });
        device->isConnected.bind(listener, false);
        step();
        platform.run();
        device->isConnected.unbind(listener);
        return seen;
    }

    Value infoOf(std::size_t n, const std::string& key) const {
        return std::any_cast<Value>(notifications.at(n).userInfo.at(key));
    }
};

TEST_F(DispatchTest, ChangesNothingWhenTheHostItselfHasControl) {
    const auto seen = connectionsSeenDuring([&] {
        recieve(MessagePackValue::map({{"control", test::TestPlatform::bundleIdentifier}}));
    });
    EXPECT_THAT(seen, IsEmpty());
    EXPECT_TRUE(device->hasControl());
}

TEST_F(DispatchTest, LosesControlToAnotherApplicationAndLetsListenersReevaluate) {
    const auto seen = connectionsSeenDuring([&] { recieve(MessagePackValue::map({{"control", "other.app"}})); });
    EXPECT_THAT(seen, ElementsAre(false, true));
    EXPECT_FALSE(device->hasControl());
    EXPECT_TRUE(device->isConnected.value());
}

TEST_F(DispatchTest, TakesAnyOtherTypeAndAnyIdentifierOfAHostWithoutOneForAnotherApplication) {
    recieve(MessagePackValue::map({{"control", 5}}));
    EXPECT_FALSE(device->hasControl());
    device->setLayout(Layout::canvas, 180, false);
    platform.application->setBundleIdentifier(std::nullopt);
    recieve(MessagePackValue::map({{"control", test::TestPlatform::bundleIdentifier}}));
    EXPECT_FALSE(device->hasControl());
}

TEST_F(DispatchTest, StaysDisconnectedWhenTheConnectionEndsWhileControlIsLost) {
    const auto seen = connectionsSeenDuring([&] {
        Bytes message = pack(MessagePackValue::map({{"control", "other.app"}}));
        message.insert(message.begin(), 0);
        hosts->queue()->async([this, message] {
            peripheral->delegate.lock()->didUpdateValue(peripheral, in, message, {});
            device->setIsAuthenticated(false);
        });
    });
    EXPECT_FALSE(device->isConnected.value());
    EXPECT_THAT(seen, ::testing::Each(false));
}

TEST_F(DispatchTest, PostsButtonsOnlyWhileItHasControl) {
    observe("tap");
    observe("power_btn");
    recieve(MessagePackValue::map({{"control", "other.app"}}));
    recieve(MessagePackValue::map({{"tap", 1}}));
    recieve(MessagePackValue::map({{"power_btn", 1}}));
    EXPECT_THAT(notifications, IsEmpty());
    device->setLayout(Layout::canvas, 180, false);
    recieve(MessagePackValue::map({{"tap", 2}}));
    recieve(MessagePackValue::map({{"power_btn", 3}}));
    ASSERT_THAT(notifications, SizeIs(2));
    EXPECT_EQ(notifications[0].object, device);
    EXPECT_EQ(infoOf(0, "tap"), Value(2));
    EXPECT_EQ(infoOf(1, "power_btn"), Value(3));
    EXPECT_EQ(device->data().count("tap"), 0u);
}

TEST_F(DispatchTest, AnswersARequestForTheTime) {
    recieve(MessagePackValue::map({{"time_req", nullptr}}));
    EXPECT_THAT(valuesOf(messages(), "set_time"), ElementsAre(MessagePackValue("20260101T120000")));
}

TEST_F(DispatchTest, StoresAndPostsAnyOtherKeyAsAProperty) {
    observe("brightness");
    observeLog();
    recieve(MessagePackValue::map({{"brightness", 5}, {"second", 6}}));
    ASSERT_THAT(notifications, SizeIs(1));
    EXPECT_EQ(infoOf(0, "brightness"), Value(5));
    EXPECT_EQ(device->data().at("brightness"), Value(5));
    EXPECT_EQ(device->data().count("second"), 0u) << "only the first entry counts";
    EXPECT_THAT(logLines, Contains(">>>GOT data for property: brightness:  with value: 5"));
}

TEST_F(DispatchTest, StoresNoMoreKeysThanGlassesCanHave) {
    observe("key 999");
    for (int i = 0; i < 1000; ++i) {
        recieve(MessagePackValue::map({{"key " + std::to_string(i), i}}));
    }
    EXPECT_EQ(device->data().size(), 256u);
    EXPECT_THAT(notifications, SizeIs(1)) << "what is not stored is still told";
    recieve(MessagePackValue::map({{"key 0", "new"}}));
    EXPECT_EQ(device->data().at("key 0"), Value("new"));
    device->setIntProperty(Property::fontSize, 20);
    EXPECT_EQ(device->getIntProperty(Property::fontSize), 20) << "a setting of the application is kept all the same";
}

TEST_F(DispatchTest, TakesABinaryKeyAsText) {
    recieve(MessagePackValue::map({{Bytes{'l', 'e', 'd'}, 7}}));
    EXPECT_EQ(device->getIntProperty(Property::brightness), 7);
}

TEST_F(DispatchTest, StoresTheFirmwareVersionForTheApplicationToo) {
    observe("app_ver");
    recieve(MessagePackValue::map({{"app_ver", 42}}));
    EXPECT_EQ(platform.userDefaults->object("app_ver"), Value(42));
    EXPECT_EQ(device->getIntProperty(Property::version), 42);
    EXPECT_THAT(notifications, SizeIs(1));
}

TEST_F(DispatchTest, TakesNoActionOnWhatNeedsNone) {
    for (const char* key : {"ancs", "ancs_rm", "notif_done"}) {
        observe(key);
        recieve(MessagePackValue::map({{key, 1}}));
        EXPECT_EQ(device->data().count(key), 0u);
    }
    EXPECT_THAT(notifications, IsEmpty());
}

TEST_F(DispatchTest, PrintsThatAFontDidNotWork) {
    ::testing::internal::CaptureStdout();
    recieve(MessagePackValue::map({{"font", 1}}));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              ">>>>>>>>>>>>>>>>>>FONT ISSUE >>>>>>>>>>>>>>>>>>>\nfont didn't work\n");
}

TEST_F(DispatchTest, ReportsFirmwareErrorsByTheirCode) {
    observeLog();
    recieve(MessagePackValue::map({{"cmp_err", MessagePackValue::array({2, "too large"})}}));
    EXPECT_EQ(device->firmwareError.value(), FirmwareError::CODE_FAILED_COMMAND("too large"));
    EXPECT_THAT(logLines, Contains("FIRMWARE ERROR: [2, \"too large\"]"));
    recieve(MessagePackValue::map({{"cmp_err", MessagePackValue::array({1, "what?"})}}));
    EXPECT_EQ(device->firmwareError.value(), FirmwareError::CODE_UNKNOWN_COMMAND("what?"));
    recieve(MessagePackValue::map({{"cmp_err", MessagePackValue::map({{"text", "no"}, {"code", 2}})}}));
    EXPECT_EQ(device->firmwareError.value(), FirmwareError::CODE_FAILED_COMMAND("no"));
    recieve(MessagePackValue::map({{"cmp_err", "text alone"}}));
    EXPECT_EQ(device->firmwareError.value(), FirmwareError::CODE_UNKNOWN_COMMAND("text alone"));
}

TEST_F(DispatchTest, ReportsNoFirmwareErrorWithoutTextOrInTheDefaultLayout) {
    recieve(MessagePackValue::map({{"cmp_err", MessagePackValue::array({2})}}));
    EXPECT_EQ(device->firmwareError.value(), std::nullopt);
    device->setLayout(Layout::default_, 0, false);
    recieve(MessagePackValue::map({{"cmp_err", MessagePackValue::array({2, "text"})}}));
    EXPECT_EQ(device->firmwareError.value(), std::nullopt);
}

TEST_F(DispatchTest, DropsWhatIsNoMessageAndGoesOn) {
    observeLog();
    recieveBytes({0xC1});
    EXPECT_THAT(logLines, Contains(HasSubstr("UnPack error!:")));
    recieveBytes({0xD9});
    recieve(MessagePackValue::array({1, 2}));
    recieve(MessagePackValue(MessagePackValue::Map()));
    recieve(MessagePackValue::map({{5, 6}}));
    recieve(MessagePackValue::map({{Bytes{0xFF}, 6}}));
    recieve(MessagePackValue::map({{"led", 1}}));
    EXPECT_EQ(device->data().size(), 1u);
}

TEST_F(DispatchTest, SurvivesAHundredThousandRandomAndMutatedMessages) {
    std::mt19937 random(7);
    const std::vector<Bytes> seeds{
        pack(MessagePackValue::map({{"control", "other.app"}})),
        pack(MessagePackValue::map({{"cmp_err", MessagePackValue::array({2, "text"})}})),
        pack(MessagePackValue::map({{"led", MessagePackValue::map({{"nested", MessagePackValue::array({1, 2})}})}})),
        pack(MessagePackValue::map({{"tap", -1}})),
    };
    for (int i = 0; i < 100'000; ++i) {
        Bytes message;
        if (i % 2 == 0) {
            message.resize(random() % 40);
            std::generate(message.begin(), message.end(), [&] { return static_cast<std::uint8_t>(random()); });
        } else {
            message = seeds[random() % seeds.size()];
            message[random() % message.size()] = static_cast<std::uint8_t>(random());
            if (random() % 4 == 0) {
                message.resize(random() % message.size());
            }
        }
        message.insert(message.begin(), static_cast<std::uint8_t>(random() % 128));
        hosts->queue()->async(
            [this, message] { peripheral->delegate.lock()->didUpdateValue(peripheral, in, message, {}); });
        if (i % 100 == 0) {
            platform.run();
        }
    }
    platform.run();
    observe("still");
    recieve(MessagePackValue::map({{"still", "alive"}}));
    EXPECT_THAT(notifications, SizeIs(1));
    EXPECT_LE(device->data().size(), 256u);
}

} // namespace
} // namespace tarnel
