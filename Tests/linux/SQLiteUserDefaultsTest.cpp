#include <TarnelLinux/SQLiteFile.hpp>
#include <TarnelLinux/SQLiteUserDefaults.hpp>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <support/Command.hpp>
#include <sys/file.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tarnel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Optional;

constexpr const char* identifier = "org.example.shared";

/// Makes the superuser's thread, and those that it starts, an ordinary user to the file system, who owns this folder.
class OrdinaryUser {
public:
    explicit OrdinaryUser(const fs::path& folder) {
        if (::geteuid() == 0) {
            constexpr uid_t nobody = 65534;
            EXPECT_EQ(::chown(folder.c_str(), nobody, nobody), 0);
            ::setfsuid(nobody);
        }
    }
    ~OrdinaryUser() { ::setfsuid(::geteuid()); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
};

/// The settings of an application, opened again and again, and what the user was told.
class SQLiteUserDefaultsTest : public ::testing::Test {
protected:
    std::unique_ptr<SQLiteUserDefaults> open(const std::string& name = identifier) {
        return std::make_unique<SQLiteUserDefaults>(configuration, name, [this](const std::string& message) {
            const std::lock_guard lock(mutex_);
            reports_.push_back(message);
        });
    }
    std::vector<std::string> reports() {
        const std::lock_guard lock(mutex_);
        return reports_;
    }
    fs::path file() const { return *configuration / identifier / "settings.sqlite"; }

    std::vector<fs::path> damagedFiles() const {
        std::vector<fs::path> found;
        for (const auto& entry : fs::directory_iterator(file().parent_path())) {
            if (entry.path().filename().string().find(".damaged-") != std::string::npos) {
                found.push_back(entry.path());
            }
        }
        return found;
    }

    test::TemporaryFolder folder_;
    std::optional<fs::path> configuration = folder_.path() / "config";

private:
    std::mutex mutex_;
    std::vector<std::string> reports_;
};

TEST_F(SQLiteUserDefaultsTest, giveWhatWasSetLastAtOnceAndAfterARestart) {
    const Value devices = Bytes{0, 1, 2, 0xff};
    {
        const auto defaults = open();
        EXPECT_TRUE(defaults->object("devices").isNull());
        defaults->set("devices", Bytes{1});
        defaults->set("devices", devices);
        defaults->set("number", 1.5);
        defaults->set("gone", "soon");
        defaults->remove("gone");
        EXPECT_EQ(defaults->object("devices"), devices);
        EXPECT_TRUE(defaults->object("gone").isNull());
        defaults->synchronize();
        EXPECT_EQ(defaults->object("devices"), devices);
        EXPECT_TRUE(defaults->object("gone").isNull());
    }
    const auto defaults = open();
    EXPECT_EQ(defaults->object("devices"), devices);
    EXPECT_EQ(defaults->object("number"), Value(1.5));
    EXPECT_TRUE(defaults->object("gone").isNull());
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(SQLiteUserDefaultsTest, takeAnyKeyAndAnyValue) {
    const std::string key("\0k'\"\xff", 5);
    const Value value = Value::Dictionary{{"", Value::Array{Value(), std::uint64_t{1} << 63}}, {key, Bytes{}}};
    open()->set(key, value);
    EXPECT_EQ(open()->object(key), value);
    open()->set(key, Value());
    EXPECT_TRUE(open()->object(key).isNull());
}

TEST_F(SQLiteUserDefaultsTest, refuseAValueThatIsNestedTooDeeplyAndKeepTheRest) {
    Value deep = 1;
    for (int i = 0; i < 100; ++i) {
        deep = Value::Array{std::move(deep)};
    }
    {
        const auto defaults = open();
        defaults->set("deep", deep);
        defaults->set("flat", 1);
    }
    EXPECT_EQ(open()->object("flat"), Value(1));
    EXPECT_THAT(reports(), ElementsAre(HasSubstr("\"deep\"")));
}

TEST_F(SQLiteUserDefaultsTest, eraseTheWholeDomainOfTheApplication) {
    {
        const auto defaults = open();
        defaults->set("old", 1);
        defaults->synchronize();
        defaults->set("late", 2);
        defaults->removePersistentDomain(identifier);
        EXPECT_TRUE(defaults->object("old").isNull());
        EXPECT_TRUE(defaults->object("late").isNull());
        defaults->set("new", 3);
        EXPECT_EQ(defaults->object("new"), Value(3));
        EXPECT_TRUE(defaults->object("old").isNull());
    }
    const auto defaults = open();
    EXPECT_TRUE(defaults->object("old").isNull());
    EXPECT_TRUE(defaults->object("late").isNull());
    EXPECT_EQ(defaults->object("new"), Value(3));
}

TEST_F(SQLiteUserDefaultsTest, keepTheDomainsOfApplicationsApart) {
    open("org.example.other")->set("key", "other");
    open()->set("key", "mine");
    EXPECT_EQ(open("org.example.other")->object("key"), Value("other"));
    open()->removePersistentDomain("org.example.unknown");
    EXPECT_FALSE(fs::exists(*configuration / "org.example.unknown"));
    open()->removePersistentDomain("../config/" + std::string(identifier));
    EXPECT_EQ(open()->object("key"), Value("mine"));
    open()->removePersistentDomain("org.example.other");
    EXPECT_EQ(open()->object("key"), Value("mine"));
    EXPECT_TRUE(open("org.example.other")->object("key").isNull());
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(SQLiteUserDefaultsTest, tellWhichNamesCanBeDomains) {
    EXPECT_TRUE(SQLiteUserDefaults::isDomainName("org.example.Größe-1"));
    for (const std::string name : {"", ".", "..", ".hidden", "a/b"}) {
        EXPECT_FALSE(SQLiteUserDefaults::isDomainName(name)) << name;
    }
    EXPECT_FALSE(SQLiteUserDefaults::isDomainName(std::string("a\0b", 3)));
    EXPECT_FALSE(SQLiteUserDefaults::isDomainName(std::string(256, 'a')));
}

TEST_F(SQLiteUserDefaultsTest, areTheUsersAlone) {
    open()->set("secret", 1);
    const auto others = fs::perms::group_all | fs::perms::others_all;
    EXPECT_EQ(fs::status(file().parent_path()).permissions() & others, fs::perms::none);
}

TEST_F(SQLiteUserDefaultsTest, showWhatAnotherProcessStored) {
    const auto mine = open();
    EXPECT_TRUE(mine->object("a").isNull());
    EXPECT_EQ(test::runCommand({TARNEL_SETTINGS_WRITER, configuration->string(), "a", "3"}).output, "1\n2\n3\n");
    EXPECT_EQ(mine->object("a"), Value(3));
    mine->set("a", 10);
    mine->synchronize();
    EXPECT_EQ(test::runCommand({TARNEL_SETTINGS_WRITER, configuration->string(), "a", "1"}).output, "11\n");
    EXPECT_EQ(mine->object("a.twin"), Value(11));
}

TEST_F(SQLiteUserDefaultsTest, loseNoChangeOfTwoProcessesAtOnce) {
    constexpr int changes = 40;
    std::vector<std::unique_ptr<test::Process>> writers;
    for (const char* key : {"a", "b"}) {
        writers.push_back(std::make_unique<test::Process>(
            std::vector<std::string>{TARNEL_SETTINGS_WRITER, configuration->string(), key, std::to_string(changes)}));
    }
    const auto mine = open();
    for (int i = 1; i <= changes; ++i) {
        mine->set("c", i);
        mine->synchronize();
    }
    for (const auto& writer : writers) {
        EXPECT_EQ(writer->wait(), 0);
    }
    for (const char* key : {"a", "b", "a.twin", "b.twin", "c"}) {
        EXPECT_EQ(mine->object(key), Value(changes)) << key;
    }
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(SQLiteUserDefaultsTest, keepWhatWasStoredWhenTheProcessIsKilled) {
    std::int64_t told = 0;
    for (int round = 0; round < 20; ++round) {
        test::Process writer({TARNEL_SETTINGS_WRITER, configuration->string(), "a", "0"});
        for (int line = 0; line <= round % 5; ++line) {
            const auto number = writer.readLine();
            ASSERT_TRUE(number) << "round " << round;
            told = std::stoll(*number);
        }
        writer.kill();
        while (const auto number = writer.readLine()) {
            told = std::stoll(*number);
        }
        const auto defaults = open();
        const auto stored = defaults->object("a").integer().value_or(-1);
        EXPECT_GE(stored, told) << "round " << round;
        EXPECT_LE(stored, told + 1) << "round " << round;
        const auto twin = defaults->object("a.twin").integer().value_or(-1);
        EXPECT_GE(twin, told);
        EXPECT_LE(twin, stored);
    }
    EXPECT_THAT(reports(), IsEmpty());
    EXPECT_THAT(damagedFiles(), IsEmpty());
}

TEST_F(SQLiteUserDefaultsTest, setADamagedFileAsideWithAMessage) {
    open()->set("a", 1);
    const std::string nonsense(20'000, 'x');
    test::writeText(file().string(), nonsense);
    {
        const auto defaults = open();
        EXPECT_TRUE(defaults->object("a").isNull());
        defaults->set("a", 2);
    }
    EXPECT_EQ(open()->object("a"), Value(2));
    const auto damaged = damagedFiles();
    ASSERT_EQ(damaged.size(), 1U);
    EXPECT_EQ(test::readText(damaged[0].string()), nonsense);
    EXPECT_THAT(reports(), ElementsAre(HasSubstr(damaged[0].string())));

    test::writeText(file().string(), nonsense);
    EXPECT_TRUE(open()->object("a").isNull());
    EXPECT_EQ(damagedFiles().size(), 2U) << "the first one is kept";
}

TEST_F(SQLiteUserDefaultsTest, noticeDamageWhileTheyAreOpen) {
    const auto defaults = open();
    defaults->set("a", 1);
    defaults->synchronize();
    EXPECT_EQ(defaults->object("a"), Value(1));
    {
        std::fstream stored(file(), std::ios::in | std::ios::out | std::ios::binary);
        stored.write(std::string(8192, '\xff').data(), 8192);
    }
    defaults->set("b", 2);
    defaults->synchronize();
    EXPECT_EQ(defaults->object("b"), Value(2));
    EXPECT_EQ(open()->object("b"), Value(2));
    EXPECT_EQ(damagedFiles().size(), 1U);
    EXPECT_EQ(reports().size(), 1U);
}

TEST_F(SQLiteUserDefaultsTest, startAnewWhenTheirFolderIsDeleted) {
    const auto defaults = open();
    defaults->set("a", 1);
    defaults->synchronize();
    fs::remove_all(file().parent_path());
    EXPECT_TRUE(defaults->object("a").isNull());
    defaults->set("b", 2);
    defaults->synchronize();
    EXPECT_EQ(open()->object("b"), Value(2));
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(SQLiteUserDefaultsTest, leaveTheFileOfALaterProgramAlone) {
    open()->set("a", 1);
    std::string later = test::readText(file().string());
    constexpr std::size_t userVersion = 60; // big-endian, after https://sqlite.org/fileformat2.html
    later[userVersion + 3] = 2;
    test::writeText(file().string(), later);
    {
        const auto defaults = open();
        EXPECT_TRUE(defaults->object("a").isNull());
        defaults->set("a", 5);
        defaults->synchronize();
        EXPECT_EQ(defaults->object("a"), Value(5));
    }
    EXPECT_EQ(test::readText(file().string()), later);
    EXPECT_THAT(reports(), ElementsAre(HasSubstr("later version")));
}

TEST_F(SQLiteUserDefaultsTest, sayWhyTheyCannotBeRead) {
    EXPECT_EQ(open()->failure(), std::nullopt) << "there is nothing to read";
    open()->set("a", 1);
    EXPECT_EQ(open()->failure(), std::nullopt);
    SQLiteFile(file(), 1s).run("PRAGMA user_version = 99");
    EXPECT_THAT(open()->failure(), Optional(HasSubstr("later version")));
    EXPECT_THAT(reports(), ElementsAre(HasSubstr("cannot be read")));
    SQLiteFile(file(), 1s).run("PRAGMA user_version = 1");
    EXPECT_EQ(open()->failure(), std::nullopt);
}

TEST_F(SQLiteUserDefaultsTest, doNotWaitForeverForAProcessThatIsStoppedWhileItOpensThem) {
    open()->set("a", 1);
    const int folder = ::open(file().parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(folder, LOCK_EX), 0);
    {
        const auto defaults = open();
        EXPECT_TRUE(defaults->object("a").isNull());
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(defaults->object("a").isNull());
        EXPECT_THAT(defaults->failure(), Optional(HasSubstr("another process")));
        EXPECT_LT(std::chrono::steady_clock::now() - start, 4s) << "it has been waited for in vain once";
        ::close(folder);
        EXPECT_EQ(defaults->object("a"), Value(1));
        EXPECT_EQ(defaults->failure(), std::nullopt);
    }
    EXPECT_THAT(reports(), ElementsAre(HasSubstr("cannot be read")));
}

TEST_F(SQLiteUserDefaultsTest, giveWhatWasReadBeforeWhileAnotherProcessHoldsTheFile) {
    const auto defaults = open();
    defaults->set("a", 1);
    defaults->synchronize();
    EXPECT_EQ(defaults->object("a"), Value(1));
    {
        SQLiteFile other(file(), 1s);
        other.run("BEGIN EXCLUSIVE");
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(defaults->object("a"), Value(1));
        EXPECT_EQ(defaults->failure(), std::nullopt);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
    }
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(SQLiteUserDefaultsTest, workInMemoryWhenNothingCanBeStoredAndSayItOnce) {
    test::writeText(folder_ / "config", "a file where the folder should be");
    const auto defaults = open();
    for (int i = 0; i < 3; ++i) {
        defaults->set("a", i);
        defaults->synchronize();
        EXPECT_EQ(defaults->object("a"), Value(i));
        EXPECT_TRUE(defaults->object("b").isNull());
    }
    defaults->removePersistentDomain(identifier);
    defaults->synchronize();
    EXPECT_TRUE(defaults->object("a").isNull());
    ASSERT_EQ(reports().size(), 1U);
    EXPECT_THAT(reports()[0], HasSubstr("cannot be stored"));
    EXPECT_THAT(reports()[0], HasSubstr(file().string()));
}

TEST_F(SQLiteUserDefaultsTest, storeWhatWasKeptOnceTheyCanBeStored) {
    test::writeText(folder_ / "config", "a file where the folder should be");
    {
        const auto defaults = open();
        defaults->set("a", 1);
        defaults->set("b", 1);
        defaults->synchronize();
        fs::remove(folder_.path() / "config");
        defaults->set("b", 2);
    }
    EXPECT_EQ(open()->object("a"), Value(1));
    EXPECT_EQ(open()->object("b"), Value(2));
}

TEST_F(SQLiteUserDefaultsTest, areReadFromAFolderThatCannotBeWritten) {
    const OrdinaryUser user(folder_.path());
    open()->set("a", 1);
    fs::permissions(file(), fs::perms::owner_read);
    fs::permissions(file().parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
    {
        const auto defaults = open();
        EXPECT_EQ(defaults->object("a"), Value(1));
        defaults->set("a", 2);
        defaults->synchronize();
        EXPECT_EQ(defaults->object("a"), Value(2));
        EXPECT_EQ(reports().size(), 1U);
    }
    fs::permissions(file().parent_path(), fs::perms::owner_all);
}

TEST_F(SQLiteUserDefaultsTest, workInMemoryWithoutAHome) {
    configuration.reset();
    const auto defaults = open();
    defaults->set("a", 1);
    defaults->synchronize();
    EXPECT_EQ(defaults->object("a"), Value(1));
    defaults->removePersistentDomain("org.example.other");
    EXPECT_THAT(reports(), ElementsAre(HasSubstr("no home folder")));
}

TEST_F(SQLiteUserDefaultsTest, serveManyThreads) {
    const auto defaults = open();
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&defaults, key = std::to_string(number)] {
            for (int i = 0; i < 50; ++i) {
                defaults->set(key, i);
                EXPECT_EQ(defaults->object(key), Value(i));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    defaults->synchronize();
    for (int number = 0; number < 4; ++number) {
        EXPECT_EQ(open()->object(std::to_string(number)), Value(49));
    }
}

} // namespace
} // namespace tarnel
