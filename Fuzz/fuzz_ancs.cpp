#include <TarnelSDK/ancs/NotificationProvider.hpp>
#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// The first byte is the length of a value on the connection, the rest is written to the control point. A response
/// begins like the command that it answers.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarnel::ancs;
    if (size == 0) {
        return 0;
    }
    constexpr std::size_t leastValueLength = 20;
    static tarnel::SimulatedScheduler scheduler(1);
    static const auto provider = [] {
        auto made = NotificationProvider::make(scheduler.makeSerialQueue("radio"));
        made->add("a", {.appIdentifier = "org",
                        .appName = "Name",
                        .title = "Grüße",
                        .message = std::string(300, 'x'),
                        .positiveLabel = "Open",
                        .perform = [](Action) {}});
        scheduler.run();
        return made;
    }();
    const tarnel::ByteView command(data + 1, size - 1);
    const std::size_t length = leastValueLength + data[0];
    const auto answer = provider->write(command, length);
    if (answer.error && !answer.data.empty()) {
        std::abort();
    }
    for (const auto& part : answer.data) {
        if (part.empty() || part.size() > length) {
            std::abort();
        }
    }
    if (!answer.data.empty() && answer.data.front().front() != command.front()) {
        std::abort();
    }
    return 0;
}
