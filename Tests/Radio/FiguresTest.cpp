#include "BareWriter.hpp"
#include "Drawing.hpp"
#include "RadioTest.hpp"

#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <algorithm>
#include <any>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <numeric>
#include <string>
#include <vector>

namespace tarnel::radio {
namespace {

using Clock = std::chrono::steady_clock;

double seconds(Clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

/// The lengths of the values that the SDK writes while this lives, as its log tells them.
class WrittenLengths {
public:
    WrittenLengths() { setLogEnabled(true); }
    ~WrittenLengths() { setLogEnabled(false); }
    WrittenLengths(const WrittenLengths&) = delete;
    WrittenLengths& operator=(const WrittenLengths&) = delete;

    std::vector<std::size_t> lengths() {
        const std::lock_guard lock(mutex_);
        return lengths_;
    }

private:
    void note(const std::string& line) {
        static const std::string words = "to the device: ";
        if (const auto at = line.find(words); at != std::string::npos) {
            const std::lock_guard lock(mutex_);
            lengths_.push_back(std::stoul(line.substr(at + words.size())));
        }
    }

    std::mutex mutex_;
    std::vector<std::size_t> lengths_;
    const platform::Observation observation_ = platform::Platform::current().notificationCenter().observe(
        "log", [this](const auto& line) { note(std::any_cast<std::string>(line.userInfo.at("msg"))); });
};

/// The figures of the link, each with what it is to be compared with. Emulated processors are slow and differ: what
/// counts is the ratio of numbers from the same run, and none of them is a reason to fail.
class Figures : public RadioTest {
protected:
    /// Kilobytes a second between the first and the last value that arrived.
    double rate() {
        const auto description = pair().describe();
        return static_cast<double>(description.bytes) / 1000 / seconds(description.last - description.first);
    }
    static double median(std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    }
};

/// The parameter is the pace of the radio, bytes a second.
class Photograph : public Figures, public ::testing::WithParamInterface<int> {};

TEST_P(Photograph, goesOutAlmostAsFastAsFromABareWriter) {
    constexpr int rounds = 5;
    ASSERT_NO_FATAL_FAILURE(startLinked({}, {.pace = GetParam()}));
    host->device()->setLayout(Layout::canvas, 0, true);
    ASSERT_TRUE(host->await([&] { return pair().describe().layout == 4; }));
    const auto messages = [&] { return pair().describe().messages; };
    // What comes with a connection is over when nothing has come for a while; so is a photograph.
    const auto settled = [&] {
        auto last = messages();
        for (host->run(2s); last != messages(); host->run(2s)) {
            last = messages();
        }
        return last;
    };
    const auto start = settled();
    std::vector<std::size_t> lengths;
    std::uint64_t each = 0;
    {
        WrittenLengths written;
        drawPhotograph(*host->device());
        ASSERT_TRUE(host->await([&] { return pair().describe().isLit && !host->device()->hasDataInOutgoingQueue(); }));
        each = settled() - start;
        lengths = written.lengths();
    }
    const auto bytes = std::accumulate(lengths.begin(), lengths.end(), std::uint64_t{0});
    std::vector<double> sdk;
    for (int round = 0; round < rounds; ++round) {
        pair().tell("forget");
        const auto before = messages();
        drawPhotograph(*host->device());
        // The glasses are asked only when all has left, as questions take their time from them.
        ASSERT_TRUE(host->await([&] { return !host->device()->hasDataInOutgoingQueue(); }));
        ASSERT_TRUE(eventually([&] { return messages() >= before + each; }));
        ASSERT_EQ(pair().describe().bytes, bytes);
        sdk.push_back(rate());
    }
    host.reset();
    ASSERT_TRUE(eventually([&] { return !pair().describe().isConnected; }));

    pair().tell("plain on");
    std::vector<double> bare;
    BareWriter writer(stack->adapter());
    ASSERT_TRUE(writer.connect());
    for (int round = 0; round < rounds; ++round) {
        pair().tell("forget");
        ASSERT_TRUE(writer.write(lengths));
        ASSERT_TRUE(eventually([&] { return pair().describe().bytes >= bytes; }));
        bare.push_back(rate());
    }
    const auto radio = GetParam() > 0 ? "a radio of " + std::to_string(GetParam() / 1000) + " kB/s" : "no radio's pace";
    std::printf("a photograph of %llu bytes in %zu values, %s: %.0f kB/s through the SDK, %.0f kB/s from a bare "
                "writer: %.0f %%\n",
                static_cast<unsigned long long>(bytes), lengths.size(), radio.c_str(), median(sdk), median(bare),
                100 * median(sdk) / median(bare));
}

/// LE radios of 1 and 2 Mbit/s with data length extension, and one that takes all that the processor has.
INSTANTIATE_TEST_SUITE_P(OnRadiosOf, Photograph, ::testing::Values(100'000, 178'000, 0));

TEST_F(Figures, timesToReadyAndToTheFirstByte) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    std::vector<double> returns;
    std::vector<double> firstBytes;
    host->device()->setLayout(Layout::textBottomLeftAlign, 0, true);
    for (int round = 0; round < 5; ++round) {
        host->run(500ms);
        pair().tell("forget");
        const auto sent = Clock::now();
        host->device()->sendText("Text " + std::to_string(round));
        ASSERT_TRUE(host->await([&] { return pair().describe().values > 0; }));
        firstBytes.push_back(seconds(pair().describe().first - sent));

        pair().tell("vanish");
        ASSERT_TRUE(host->awaitDrop());
        host->run(3s);
        pair().tell("advertise normal");
        const auto advertised = pair().describe().advertised;
        ASSERT_TRUE(host->awaitConnection());
        returns.push_back(seconds(Clock::now() - advertised));
        host->device()->setLayout(Layout::textBottomLeftAlign, 0, true);
    }
    std::printf("first advertisement to ready to draw: %.2f s (median of %zu)\n", median(returns), returns.size());
    std::printf("sendText to the first byte at the glasses: %.1f ms (median of %zu)\n", 1000 * median(firstBytes),
                firstBytes.size());
}

TEST_F(Figures, timesFromTheReturnOfTheService) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    std::vector<double> ready;
    std::vector<double> connected;
    for (int round = 0; round < 3; ++round) {
        stack->killDaemon();
        ASSERT_TRUE(host->awaitDrop());
        ASSERT_TRUE(host->await([&] { return !host->manager().isReady.value(); }));
        pair().tell("vanish");
        pair().tell("advertise normal");
        stack->startDaemon();
        // The service is back when its adapter is switched on.
        ASSERT_TRUE(stack->awaitAdapter("hci0"));
        const auto back = Clock::now();
        ASSERT_TRUE(host->await([&] { return host->manager().isReady.value(); }));
        ready.push_back(seconds(Clock::now() - back));
        ASSERT_TRUE(host->awaitConnection());
        connected.push_back(seconds(Clock::now() - back));
    }
    std::printf("return of the service to connecting again: %.2f s, to ready to draw: %.2f s (medians of %zu)\n",
                median(ready), median(connected), ready.size());
}

} // namespace
} // namespace tarnel::radio
