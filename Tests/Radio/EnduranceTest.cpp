#include "Client.hpp"
#include "RadioTest.hpp"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace tarnel::radio {
namespace {

namespace fs = std::filesystem;

long entriesOf(const char* folder) {
    return std::distance(fs::directory_iterator(folder), {});
}

/// What this process holds of the machine.
struct Holdings {
    long files = entriesOf("/proc/self/fd");
    long threads = entriesOf("/proc/self/task");
    long names = countNames();   ///< on the system bus, of all programs
    long kilobytes = resident(); ///< of memory of its own

    static long countNames() {
        const auto connection = sdbus::createSystemBusConnection();
        std::vector<std::string> names;
        sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus")
            ->callMethod("ListNames")
            .onInterface("org.freedesktop.DBus")
            .storeResultsTo(names);
        return static_cast<long>(names.size());
    }
    static long resident() {
        std::ifstream status("/proc/self/status");
        for (std::string word; status >> word;) {
            if (word == "RssAnon:") {
                long kilobytes = 0;
                status >> kilobytes;
                return kilobytes;
            }
        }
        return 0;
    }
};

class Endurance : public RadioTest {};

TEST_F(Endurance, ofReconnectionsLeavesNothingBehind) {
    const bool isLong = std::getenv("RADIO_LONG") != nullptr;
    const int rounds = isLong ? 1000 : 25;
    const int settled = rounds / 5;
    ASSERT_NO_FATAL_FAILURE(start());
    Client client;
    ASSERT_TRUE(client.find());
    std::optional<Holdings> before;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        if (round == settled) {
            before.emplace();
        }
        ASSERT_TRUE(client.connect());
        ASSERT_TRUE(client.open());
        ASSERT_TRUE(client.write({Bytes(20, 1), Bytes(200, 2)}));
        // In turn the program and the glasses end it.
        if (round % 2 == 0) {
            ASSERT_TRUE(client.disconnect());
        } else {
            pair().tell("drop");
            ASSERT_TRUE(client.await("disconnected", round + 1));
        }
        ASSERT_TRUE(eventually([&] { return !pair().describe().isConnected; }));
    }
    const Holdings after;
    std::printf("after %d and %d connections: files %ld, %ld; threads %ld, %ld; names on the bus %ld, %ld; memory %ld, "
                "%ld kB\n",
                settled, rounds, before->files, after.files, before->threads, after.threads, before->names, after.names,
                before->kilobytes, after.kilobytes);
    EXPECT_EQ(after.files, before->files);
    EXPECT_EQ(after.threads, before->threads);
    EXPECT_EQ(after.names, before->names);
    constexpr long slack = 512;
    EXPECT_LE(after.kilobytes, before->kilobytes + slack);
}

} // namespace
} // namespace tarnel::radio
