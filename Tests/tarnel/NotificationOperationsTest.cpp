#include "PlayFixture.hpp"

namespace tarnel::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class NotificationOperations : public PlayFixture {
protected:
    static json send(const std::string& title, bool isSoftwareUpdate = false) {
        json operation{{"op", "sendNotification"}, {"title", title}, {"message", "Message"}};
        if (isSoftwareUpdate) {
            operation["isSoftwareUpdate"] = true;
        }
        return operation;
    }
    static json respond(const std::string& action) { return {{"op", "notifications.respond"}, {"action", action}}; }
    static json authorize() { return {{"op", "bluetooth.setAncsAuthorized"}, {"authorized", true}}; }
    static std::vector<std::string> titles(const json& answer) {
        std::vector<std::string> found;
        for (const auto& notification : answer["result"]) {
            found.push_back(notification["title"]);
        }
        return found;
    }

    const json shown{{"op", "notifications.shown"}};
    const json read{{"op", "glasses.notifications"}};
};

TEST_F(NotificationOperations, ShowANotificationOnTheHostQuietlyThreeTenthsOfASecondLater) {
    const auto answers = play({send("Grüße"), wait(0.2), shown, wait(0.2), shown});
    EXPECT_THAT(answers[2]["result"], IsEmpty());
    ASSERT_THAT(answers[4]["result"], SizeIs(1));
    const auto& notification = answers[4]["result"][0];
    EXPECT_EQ(notification["title"], "Grüße");
    EXPECT_EQ(notification["message"], "Message");
    EXPECT_EQ(notification["isQuiet"], true) << "the application is in front";
}

TEST_F(NotificationOperations, ShowABannerWhileTheApplicationIsInTheBackground) {
    const auto answers = play({{{"op", "application.setState"}, {"state", "background"}}, send("a"), wait(1), shown});
    EXPECT_EQ(answers[3]["result"][0]["isQuiet"], false);
}

TEST_F(NotificationOperations, TellTheVersionWhenASoftwareUpdateIsAnswered) {
    play({send("a", true), wait(1), respond("default"), wait(1), send("b", true), wait(1), respond("dismiss"), wait(1),
          send("c", true), wait(1), respond("other"), wait(1), send("d"), wait(1), respond("default"), wait(1)});
    EXPECT_THAT(events("property", 2, 4), SizeIs(1));
    EXPECT_THAT(events("property", 6, 8), SizeIs(1));
    EXPECT_THAT(events("property", 8), IsEmpty());
}

TEST_F(NotificationOperations, ThatAnswerWhatIsNotShownFail) {
    const auto answers = play({respond("default"),
                               send("a"),
                               wait(1),
                               {{"op", "notifications.respond"}, {"action", "dismiss"}, {"identifier", "another"}}});
    EXPECT_EQ(answers[0]["error"], "no notification is shown");
    EXPECT_NE(answers[3].value("error", "").find("no notification with this identifier"), std::string::npos);
}

TEST_F(NotificationOperations, ShareNotificationsWithTheGlassesOnceTheUserAllowsIt) {
    const auto answers = play({send("a"),
                               wait(1),
                               read,
                               authorize(),
                               wait(1),
                               send("b"),
                               wait(1),
                               read,
                               {{"op", "glasses.clearNotification"}, {"uid", 1}},
                               wait(1),
                               read,
                               shown,
                               {{"op", "glasses.openNotification"}, {"uid", 2}},
                               wait(1),
                               read,
                               shown});
    EXPECT_THAT(titles(answers[2]), IsEmpty());
    EXPECT_THAT(titles(answers[7]), ElementsAre("a", "b"));
    EXPECT_THAT(titles(answers[10]), ElementsAre("b"));
    EXPECT_THAT(titles(answers[11]), ElementsAre("b"));
    EXPECT_THAT(titles(answers[14]), IsEmpty());
    EXPECT_THAT(titles(answers[15]), IsEmpty());
}

} // namespace
} // namespace tarnel::test
