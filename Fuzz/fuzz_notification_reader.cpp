#include <TarnelGlasses/NotificationReader.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// The input is a row of values: a byte whose last two bits say where the value comes from and whose rest is its
/// length, then the value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using tarnel::glasses::NotificationReader;
    NotificationReader reader({.subscribe = [] {},
                               .write = [](const tarnel::Bytes&) {},
                               .after = [](tarnel::platform::Duration, const tarnel::platform::Block&) {},
                               .changed = [] {}});
    reader.begin();
    tarnel::ByteView rest(data, size);
    while (!rest.empty()) {
        const unsigned head = rest.front();
        rest = rest.subspan(1);
        const auto value = rest.first(std::min<std::size_t>(head >> 2, rest.size()));
        rest = rest.subspan(value.size());
        switch (head & 3) {
        case 0:
            reader.receiveEvent(value);
            break;
        case 1:
            reader.receiveData(value);
            break;
        case 2:
            reader.written(value.empty());
            break;
        default:
            value.empty() ? reader.end() : reader.open(value.front());
        }
        if (reader.notifications().size() > NotificationReader::mostKept) {
            std::abort();
        }
    }
    return 0;
}
