#include <TarnelLinux/BlueZBluetooth.hpp>
#include <TarnelLinux/LinuxPlatform.hpp>
#include <TarnelSDK/images/ImageFile.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>

#include <benchmark/benchmark.h>
#include <linux/FakeBlueZ.hpp>
#include <linux/PrivateBus.hpp>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <variant>
#include <vector>

/// The way of a photograph from the canvas onto the air, beside that of bare writes of the same values into the same
/// kind of socket. The daemon is played, and so is its radio. The argument is the radio's pace in bytes a second; 0 for
/// one that takes all that comes, where what counts is the processor.
namespace tarnel {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto connectionInterval = std::chrono::milliseconds(30);

/// The daemon's end of the socket, which takes a value out each time that it is woken, and the radio behind it, which
/// the values wait for.
class Drain {
public:
    Drain(int socket, std::int64_t pace)
        : socket_(socket), pace_(static_cast<double>(pace)), thread_([this] { run(); }) {}
    ~Drain() {
        isEnding_ = true;
        thread_.join();
    }
    Drain(const Drain&) = delete;
    Drain& operator=(const Drain&) = delete;

    void forget() {
        const std::lock_guard lock(mutex_);
        sizes_.clear();
        bytes_ = 0;
    }
    std::size_t bytes() const { return bytes_; }
    std::vector<std::size_t> sizes() const {
        const std::lock_guard lock(mutex_);
        return sizes_;
    }
    void await(std::size_t bytes) {
        std::unique_lock lock(mutex_);
        awaited_ = bytes;
        if (!changed_.wait_for(lock, std::chrono::seconds(30), [&] { return bytes_ >= bytes; })) {
            throw std::runtime_error("values are lost");
        }
    }
    /// How long the radio is busy with what has come.
    Clock::duration busy() const {
        const std::lock_guard lock(mutex_);
        return std::max(last_ - Clock::now(), Clock::duration::zero());
    }
    /// Between the arrivals of the first value and of the last.
    double seconds() const {
        const std::lock_guard lock(mutex_);
        return std::chrono::duration<double>(last_ - first_).count();
    }

private:
    void run() {
        constexpr int patience = 50;
        std::array<char, 1024> value{};
        pollfd descriptor{socket_, POLLIN, 0};
        while (!isEnding_) {
            const auto size = ::poll(&descriptor, 1, patience) > 0 ? ::recv(socket_, value.data(), value.size(), 0) : 0;
            if (size <= 0) {
                continue;
            }
            const std::lock_guard lock(mutex_);
            const std::chrono::duration<double> onAir(pace_ > 0 ? static_cast<double>(size) / pace_ : 0);
            last_ = std::max(last_, Clock::now()) + std::chrono::duration_cast<Clock::duration>(onAir);
            first_ = sizes_.empty() ? last_ : first_;
            sizes_.push_back(static_cast<std::size_t>(size));
            bytes_ += static_cast<std::size_t>(size);
            if (bytes_ >= awaited_) {
                changed_.notify_all();
            }
        }
    }

    const int socket_;
    const double pace_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t awaited_ = 0;
    std::vector<std::size_t> sizes_;
    Clock::time_point first_;
    Clock::time_point last_;
    std::atomic<std::size_t> bytes_ = 0;
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};

test::FakeDevice glasses() {
    return {
        .address = test::glassesAddress,
        .services = {test::dataService},
        .manufacturer = {{0x1234, {7, 2}}},
        .gatt = {{test::dataService,
                  {{.uuid = test::outCharacteristic, .flags = {"read", "write", "write-without-response"}},
                   {.uuid = test::inCharacteristic, .flags = {"notify"}}}},
                 {test::batteryService, {{.uuid = test::batteryLevel, .flags = {"read", "notify"}, .value = {80}}}}}};
}

/// An application of the SDK with glasses linked.
class Application {
public:
    explicit Application(std::int64_t pace = 0) : bluez_(bus_.address()) {
        ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
        bluez_.addAdapter("hci0");
        bluez_.addDevice(glasses());
        bluez_.start();
        platform_ = std::make_unique<LinuxPlatform>(LinuxPlatformOptions{
            .identifier = "org.tarnel.bench",
            .bluetooth = std::make_shared<BlueZBluetooth>(BlueZOptions{.busAddress = bus_.address()})});
        auto& manager = TarnelManager::shared();
        await([&] { return manager.isReady.value(); });
        manager.startScan([&](const auto& peripheral) { manager.link(peripheral, [](const auto&) {}); });
        await([&] { return manager.currentDevice() && manager.currentDevice()->isConnected.value(); });
        device().setLayout(Layout::canvas, 0, true);
        drain =
            std::make_unique<Drain>(bluez_.characteristic(test::glassesAddress, test::outCharacteristic).socket, pace);
        settle();
        if (pace > 0) {
            // Requests wait for the commands before them, and then for their turn and the answer.
            setReadingTakes([this] { return drain->busy() + connectionInterval; });
        }
    }
    ~Application() {
        platform_.reset();
        setReadingTakes(nullptr);
        drain.reset();
    }
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    static Tarnel& device() { return *TarnelManager::shared().currentDevice(); }

    /// Waits until all has left and nothing has come for a while.
    void settle() {
        std::size_t before = 0;
        do {
            before = drain->bytes();
            await([] { return !device().hasDataInOutgoingQueue(); });
            const auto end = Clock::now() + drain->busy() + 3 * connectionInterval;
            await([&] { return Clock::now() > end; });
        } while (drain->bytes() != before);
    }

    template <typename Condition>
    void await(Condition condition) {
        while (!condition()) {
            platform_->scheduler().drainMain();
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }

private:
    void setReadingTakes(const std::function<Clock::duration()>& readingTakes) {
        bluez_.change(test::glassesAddress,
                      [&](auto& device) { device.gatt[1].characteristics[0].readingTakes = readingTakes; });
    }

    test::TemporaryFolder folder_;
    test::PrivateBus bus_;
    test::FakeBlueZ bluez_;
    std::unique_ptr<LinuxPlatform> platform_;

public:
    std::unique_ptr<Drain> drain;
};

Image photograph() {
    auto result = readImage(BENCH_PICTURES "/photograph.jpg");
    if (!std::holds_alternative<Image>(result)) {
        throw std::runtime_error("the photograph cannot be read");
    }
    return std::get<Image>(std::move(result));
}

void note(benchmark::State& state, const Drain& drain) {
    state.counters["values"] = static_cast<double>(drain.sizes().size());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(drain.bytes()));
}

/// Bytes that come when it is drawn, and nothing else.
std::size_t bytesOf(Application& application, const std::function<void()>& draw) {
    std::size_t before = 0;
    std::size_t bytes = 1;
    while (bytes != before) {
        before = bytes;
        application.drain->forget();
        draw();
        application.settle();
        bytes = application.drain->bytes();
    }
    return bytes;
}

void measure(benchmark::State& state, Application& application, const std::function<void()>& draw) {
    Drain& drain = *application.drain;
    const auto bytes = bytesOf(application, draw);
    for (auto _ : state) {
        std::this_thread::sleep_for(drain.busy());
        drain.forget();
        draw();
        drain.await(bytes);
        state.SetIterationTime(drain.seconds());
    }
    note(state, drain);
}

/// Goodput between the first value and the last, as it is drawn.
void sdk_photograph(benchmark::State& state) {
    Application application(state.range(0));
    const Image picture = photograph();
    measure(state, application, [&] { Application::device().canvas.drawBackground(picture, 0, 0, true); });
}

/// Of messages that are as long, and there before the first can leave.
void sdk_messages(benchmark::State& state) {
    Application application(state.range(0));
    const std::vector<Bytes> messages(7, Bytes(8800, 0x55));
    measure(state, application, [&] {
        for (const auto& message : messages) {
            Application::device().sendData(message, ItemType::longwrite);
        }
    });
}

/// What the canvas does before the first message is queued and between them.
void sdk_drawing_alone(benchmark::State& state) {
    Application application;
    const Image picture = photograph();
    for (auto _ : state) {
        Application::device().canvas.drawBackground(picture, 0, 0, true);
        state.PauseTiming();
        application.settle();
        state.ResumeTiming();
    }
}

/// The sizes of the values of a photograph.
std::vector<std::size_t> valuesOfPhotograph() {
    Application application;
    bytesOf(application, [] { Application::device().canvas.drawBackground(photograph(), 0, 0, true); });
    return application.drain->sizes();
}

/// Waits for nothing but the socket.
void bare_writer(benchmark::State& state) {
    const auto sizes = valuesOfPhotograph();
    const auto bytes = std::accumulate(sizes.begin(), sizes.end(), std::size_t{0});
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
        throw std::runtime_error("no socket");
    }
    {
        Drain drain(ends[0], state.range(0));
        const std::vector<char> value(1024);
        for (auto _ : state) {
            std::this_thread::sleep_for(drain.busy());
            drain.forget();
            for (const auto size : sizes) {
                while (::send(ends[1], value.data(), size, 0) < 0) {
                    pollfd descriptor{ends[1], POLLOUT, 0};
                    ::poll(&descriptor, 1, -1);
                }
            }
            drain.await(bytes);
            state.SetIterationTime(drain.seconds());
        }
        note(state, drain);
    }
    ::close(ends[0]);
    ::close(ends[1]);
}

/// As fast as the processor, and as LE radios of 1 and 2 Mbit/s with data length extension.
void paces(benchmark::internal::Benchmark* bench) {
    bench->ArgName("pace")->Arg(0)->Arg(100'000)->Arg(178'000);
    bench->UseManualTime()->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(bare_writer)->Apply(paces);
BENCHMARK(sdk_messages)->Apply(paces);
BENCHMARK(sdk_photograph)->Apply(paces);
BENCHMARK(sdk_drawing_alone)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace tarnel

BENCHMARK_MAIN();
