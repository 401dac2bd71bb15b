#include <TarnelGlasses/NotificationReader.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::glasses {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::uint8_t silent = 1;
constexpr std::uint8_t openAndClear = 8 | 16;

Bytes event(std::uint8_t id, std::uint8_t uid, std::uint8_t flags = openAndClear, std::uint8_t category = 0) {
    return {id, flags, category, 1, uid, 0, 0, 0};
}

Bytes request(std::uint8_t uid) {
    return {0, uid, 0, 0, 0, 0, 1, 128, 0, 3, 0, 4};
}

void put(Bytes& bytes, std::uint8_t attribute, std::string_view text) {
    bytes.insert(bytes.end(),
                 {attribute, static_cast<std::uint8_t>(text.size()), static_cast<std::uint8_t>(text.size() >> 8)});
    bytes.insert(bytes.end(), text.begin(), text.end());
}

Bytes response(std::uint8_t uid, std::string_view title = "Title", std::string_view message = "Message",
               std::string_view application = "org.example") {
    Bytes bytes{0, uid, 0, 0, 0};
    put(bytes, 0, application);
    put(bytes, 1, title);
    put(bytes, 3, message);
    return bytes;
}

class NotificationReaderTest : public ::testing::Test {
protected:
    void receive(const Bytes& value) { reader.receiveData(value); }
    /// The host takes the request under way, and answers it.
    void answer(const Bytes& value) {
        reader.written(true);
        receive(value);
    }
    std::vector<std::string> titles() const {
        std::vector<std::string> found;
        for (const auto& notification : reader.notifications()) {
            found.push_back(notification.title);
        }
        return found;
    }

    int subscriptions = 0;
    int changes = 0;
    std::vector<Bytes> written;
    std::vector<platform::Block> alarms;
    NotificationReader reader{
        {.subscribe = [this] { ++subscriptions; },
         .write = [this](Bytes value) { written.push_back(std::move(value)); },
         .after = [this](platform::Duration, platform::Block block) { alarms.push_back(std::move(block)); },
         .changed = [this] { ++changes; }}};
};

TEST_F(NotificationReaderTest, SubscribesOnceTheHostHasTheService) {
    EXPECT_EQ(subscriptions, 0);
    reader.begin();
    EXPECT_EQ(subscriptions, 1);
}

TEST_F(NotificationReaderTest, AsksForTheTextsOfEachNotificationOneAfterTheOther) {
    reader.begin();
    reader.receiveEvent(event(0, 1, silent, 6));
    reader.receiveEvent(event(0, 2));
    EXPECT_THAT(written, ElementsAre(request(1)));
    answer(response(1, "Grüße", "aus Köln"));
    EXPECT_THAT(written, ElementsAre(request(1), request(2)));
    answer(response(2));
    EXPECT_THAT(reader.notifications(), ElementsAre(HostNotification{.uid = 1,
                                                                     .application = "org.example",
                                                                     .title = "Grüße",
                                                                     .message = "aus Köln",
                                                                     .category = 6,
                                                                     .isSilent = true},
                                                    HostNotification{.uid = 2,
                                                                     .application = "org.example",
                                                                     .title = "Title",
                                                                     .message = "Message",
                                                                     .canBeOpened = true,
                                                                     .canBeCleared = true}));
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(reader.errorCount(), 0U);
}

TEST_F(NotificationReaderTest, JoinsAResponseThatIsCutAnywhere) {
    const auto whole = response(1);
    for (std::size_t cut = 1; cut < whole.size(); ++cut) {
        reader.begin();
        reader.receiveEvent(event(0, 1));
        const auto middle = whole.begin() + static_cast<std::ptrdiff_t>(cut);
        answer(Bytes(whole.begin(), middle));
        EXPECT_THAT(reader.notifications(), IsEmpty());
        receive(Bytes(middle, whole.end()));
        EXPECT_THAT(titles(), ElementsAre("Title")) << cut;
    }
    EXPECT_EQ(reader.errorCount(), 0U);
}

TEST_F(NotificationReaderTest, WaitsForTheAnswerToItsWriteAlsoWhenTheResponseCameFirst) {
    reader.begin();
    reader.receiveEvent(event(0, 1));
    reader.receiveEvent(event(0, 2));
    receive(response(1));
    EXPECT_THAT(written, SizeIs(1));
    reader.written(true);
    EXPECT_THAT(written, SizeIs(2));
    EXPECT_THAT(titles(), ElementsAre("Title"));
}

TEST_F(NotificationReaderTest, ReadsAgainWhatIsModified) {
    reader.begin();
    reader.receiveEvent(event(0, 1));
    answer(response(1, "old"));
    reader.receiveEvent(event(1, 1));
    answer(response(1, "new"));
    EXPECT_THAT(titles(), ElementsAre("new"));
}

TEST_F(NotificationReaderTest, ForgetsWhatIsRemovedEvenWhileItIsRead) {
    reader.begin();
    reader.receiveEvent(event(0, 1));
    answer(response(1));
    reader.receiveEvent(event(2, 1));
    EXPECT_THAT(titles(), IsEmpty());
    for (std::uint8_t uid = 2; uid <= 4; ++uid) {
        reader.receiveEvent(event(0, uid));
    }
    reader.receiveEvent(event(2, 2));
    reader.receiveEvent(event(2, 3));
    answer(response(2, "two"));
    EXPECT_EQ(written.back(), request(4)) << "what is removed before it is asked about is not asked about";
    answer(response(4, "four"));
    EXPECT_THAT(titles(), ElementsAre("four"));
    EXPECT_EQ(reader.errorCount(), 0U);
}

TEST_F(NotificationReaderTest, GoesOnAfterARequestThatIsRefused) {
    reader.begin();
    reader.receiveEvent(event(0, 1));
    reader.receiveEvent(event(0, 2));
    reader.written(false);
    answer(response(2));
    EXPECT_THAT(reader.notifications(), ElementsAre(Field(&HostNotification::uid, 2)));
    EXPECT_EQ(reader.errorCount(), 1U);
}

TEST_F(NotificationReaderTest, GivesUpAResponseThatDoesNotCome) {
    reader.begin();
    reader.receiveEvent(event(0, 1));
    reader.receiveEvent(event(0, 2));
    reader.written(true);
    ASSERT_THAT(alarms, SizeIs(1));
    alarms[0]();
    EXPECT_THAT(written, SizeIs(2));
    alarms[0]();
    EXPECT_THAT(written, SizeIs(2)) << "an alarm is of its own request";
    answer(response(2));
    alarms[1]();
    EXPECT_THAT(titles(), SizeIs(1));
    EXPECT_EQ(reader.errorCount(), 1U);
}

TEST_F(NotificationReaderTest, DropsResponsesThatAreNotWhatWasAskedFor) {
    Bytes otherCommand = response(1);
    otherCommand[0] = 1;
    Bytes otherAttribute = response(1);
    otherAttribute[5] = 7;
    Bytes more = response(1);
    more.push_back(0);
    for (const auto& wrong : {otherCommand, response(2), otherAttribute, response(1, std::string(129, 'x')),
                              response(1, "", std::string(1'025, 'x')), more}) {
        reader.begin();
        const auto before = reader.errorCount();
        reader.receiveEvent(event(0, 1));
        answer(wrong);
        EXPECT_THAT(reader.notifications(), IsEmpty());
        EXPECT_EQ(reader.errorCount(), before + 1);
    }
}

TEST_F(NotificationReaderTest, CountsEventsOfAnotherShapeAndDataThatNobodyAskedFor) {
    reader.receiveEvent({});
    reader.receiveData(response(1));
    EXPECT_EQ(reader.errorCount(), 0U) << "nothing is expected yet";
    reader.begin();
    reader.receiveEvent({});
    reader.receiveEvent(Bytes(9));
    reader.receiveEvent(event(3, 1));
    reader.receiveData(response(1));
    EXPECT_EQ(reader.errorCount(), 4U);
    EXPECT_THAT(written, IsEmpty());
}

TEST_F(NotificationReaderTest, OpensAndClearsWhatCanBe) {
    reader.begin();
    reader.receiveEvent(event(0, 1));
    answer(response(1));
    reader.receiveEvent(event(0, 2, 0));
    answer(response(2));
    written.clear();
    reader.open(1);
    reader.written(true);
    reader.clear(1);
    reader.written(true);
    reader.open(2);
    reader.clear(2);
    reader.clear(9);
    EXPECT_THAT(written, ElementsAre(Bytes{2, 1, 0, 0, 0, 0}, Bytes{2, 1, 0, 0, 0, 1}));
}

TEST_F(NotificationReaderTest, KeepsTheNewestOfVeryManyAndAsksForABoundedNumberAtATime) {
    reader.begin();
    for (int uid = 0; uid < 256; ++uid) {
        reader.receiveEvent(event(0, static_cast<std::uint8_t>(uid)));
    }
    EXPECT_EQ(reader.errorCount(), 192U);
    for (int uid = 0; uid < 64; ++uid) {
        answer(response(static_cast<std::uint8_t>(uid), std::to_string(uid)));
    }
    EXPECT_THAT(titles(), SizeIs(NotificationReader::mostKept));
    EXPECT_EQ(titles().back(), "63");
}

TEST_F(NotificationReaderTest, ForgetsEverythingAtTheEnd) {
    reader.begin();
    reader.receiveEvent(event(0, 1));
    answer(response(1));
    reader.receiveEvent(event(0, 2));
    reader.end();
    EXPECT_THAT(titles(), IsEmpty());
    EXPECT_EQ(changes, 2);
    answer(response(2));
    alarms.back()();
    EXPECT_THAT(titles(), IsEmpty());
}

TEST_F(NotificationReaderTest, TakesAnyBytes) {
    std::mt19937 random(7);
    reader.begin();
    for (int round = 0; round < 20'000; ++round) {
        auto bytes = random() % 2 == 0 ? response(static_cast<std::uint8_t>(random() % 3)) : Bytes(random() % 12);
        for (std::size_t i = 0; i < random() % 3 && !bytes.empty(); ++i) {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random() % 9);
        }
        switch (random() % 4) {
        case 0:
            reader.receiveEvent(bytes);
            break;
        case 1:
            reader.receiveEvent(
                event(static_cast<std::uint8_t>(random() % 3), static_cast<std::uint8_t>(random() % 3)));
            break;
        case 2:
            reader.receiveData(bytes);
            break;
        default:
            reader.written(random() % 4 != 0);
        }
        ASSERT_LE(reader.notifications().size(), NotificationReader::mostKept);
    }
    EXPECT_GT(changes, 10);
    EXPECT_GT(reader.errorCount(), 10U);
}

} // namespace
} // namespace tarnel::glasses
