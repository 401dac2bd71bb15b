#include "support/RLEDecoder.hpp"

#include <TarnelSDK/foundation/Data+Extensions.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <cstddef>
#include <cstdint>

namespace {

/// The input as pairs of a count and a byte, so that long runs are reached from short inputs.
tarnel::Bytes stretched(tarnel::ByteView input) {
    constexpr std::size_t longest = 200'000;
    tarnel::Bytes bytes;
    for (std::size_t i = 0; i + 1 < input.size() && bytes.size() < longest; i += 2) {
        const std::size_t count = input[i] < 0xF0 ? input[i] : 65536 + input[i] - 0xF8;
        bytes.insert(bytes.end(), count, input[i + 1]);
    }
    return bytes;
}

void roundTrip(tarnel::ByteView input) {
    if (!input.empty()) {
        const auto decoded = tarnel::test::decodeRLE(tarnel::compressWithRLE(input));
        tarnel::precondition(decoded == tarnel::Bytes(input.begin(), input.end()), "decoding gives the input");
    }
}

} // namespace

/// What is compressed decodes to itself.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const tarnel::ByteView input(data, size);
    roundTrip(input);
    roundTrip(stretched(input));
    return 0;
}
