#include "Process.hpp"
#include "RadioTest.hpp"

#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/device/NotificationNames.hpp>

#include <string>

namespace tarnel::radio {
namespace {

/// The glasses of `tarnel glasses --air`, on hci1 of the same service.
class Command : public RadioTest {
protected:
    void TearDown() override {
        host.reset();
        command_.reset();
        RadioTest::TearDown();
    }

    void startCommand(const std::vector<std::string>& options = {}) {
        stack = std::make_unique<Stack>(Stack::Options{});
        stack->startDaemon();
        ASSERT_TRUE(stack->awaitAdapter("hci0"));
        ASSERT_TRUE(stack->awaitAdapter("hci1"));
        std::vector<std::string> words{RADIO_TARNEL, "glasses", "--air", "--adapter", "hci1", "--json"};
        words.insert(words.end(), options.begin(), options.end());
        command_ = std::make_unique<Process>(
            words, Process::Options{.log = Stack::folder() + "/glasses.log", .isConversing = true});
        ASSERT_TRUE(tells("\"isAdvertising\":true"));
    }

    /// Lets the application run until the command has written a line with all of these words, in their order.
    bool tells(const std::string& first, const std::string& second = "") {
        const auto isThere = [&] {
            while (const auto line = command_->readLine(1ms)) {
                const auto at = line->find(first);
                if (at != std::string::npos && line->find(second, at) != std::string::npos) {
                    return true;
                }
            }
            return false;
        };
        return host ? host->await(isThere) : eventually(isThere);
    }
    void type(const std::string& line) { ASSERT_TRUE(command_->tell(line)); }

private:
    std::unique_ptr<Process> command_;
};

TEST_F(Command, isDrawnOnAndHeard) {
    ASSERT_NO_FATAL_FAILURE(startCommand());
    host.emplace();
    host->observe(NotificationName::tap);
    ASSERT_TRUE(host->link());
    host->device()->setLayout(Layout::textBottomLeftAlign, 0, true);
    host->device()->sendText("Grüße");
    EXPECT_TRUE(tells("\"event\":\"message\"", "Grüße"));
    type("tap 2");
    EXPECT_TRUE(host->await([&] { return host->count(NotificationName::tap) == 1; }));
    type("drop");
    EXPECT_TRUE(host->awaitDrop());
    EXPECT_TRUE(host->awaitConnection());
}

TEST_F(Command, readsTheNotificationsThatTheHostShares) {
    ASSERT_NO_FATAL_FAILURE(startCommand({"--pairing", "--notifications"}));
    host.emplace();
    auto& notifications = host->shareNotifications();
    ASSERT_TRUE(host->link());
    notifications.add("1", {.appName = "Mail", .title = "Anna", .message = "See you at eight."});
    EXPECT_TRUE(tells("\"event\":\"notification\"", "See you at eight."));
    type("drop");
    EXPECT_TRUE(host->awaitDrop());
    EXPECT_TRUE(host->awaitConnection());
    EXPECT_TRUE(tells("\"event\":\"notification\"", "See you at eight.")) << "by glasses that have returned";
    notifications.remove("1");
    EXPECT_TRUE(tells("\"event\":\"notificationGone\""));
    EXPECT_TRUE(stack->isDaemonRunning());
}

} // namespace
} // namespace tarnel::radio
