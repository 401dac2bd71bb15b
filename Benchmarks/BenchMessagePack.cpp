#include <TarnelSDK/foundation/Data+Extensions.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>

#include <benchmark/benchmark.h>
#include <msgpack.hpp>

#include <cstdint>

namespace tarnel {
namespace {

constexpr std::size_t bandBytes = 9000;

MessagePackValue bandMessage() {
    return MessagePackValue::map(
        {{"cnvs_bg", MessagePackValue::map(
                         {{"x", 0}, {"y", 120}, {"width", 640}, {"height", 60}, {"data", Bytes(bandBytes, 0x5A)}})}});
}

MessagePackValue labelMessage() {
    return MessagePackValue::map({{"cnvs_lbl", MessagePackValue::map({{"id", 3},
                                                                      {"text", "Grüße aus Zürich"},
                                                                      {"x", -12},
                                                                      {"y", 240},
                                                                      {"width", 400},
                                                                      {"align", 2},
                                                                      {"color", 15},
                                                                      {"visible", true},
                                                                      {"font", Bytes(700, 7)}})}});
}

void countBytes(benchmark::State& state, std::size_t size) {
    state.SetBytesProcessed(static_cast<std::int64_t>(size) * state.iterations());
}

void packOurs(benchmark::State& state, const MessagePackValue& value) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(pack(value));
    }
    countBytes(state, pack(value).size());
}

void packOther(benchmark::State& state, const MessagePackValue& value) {
    const Bytes bytes = pack(value);
    const auto handle = msgpack::unpack(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    for (auto _ : state) {
        msgpack::sbuffer buffer;
        msgpack::pack(buffer, handle.get());
        benchmark::DoNotOptimize(buffer.data());
    }
    countBytes(state, bytes.size());
}

void unpackOurs(benchmark::State& state, const MessagePackValue& value) {
    const Bytes bytes = pack(value);
    for (auto _ : state) {
        benchmark::DoNotOptimize(unpackFirst(bytes));
    }
    countBytes(state, bytes.size());
}

void unpackOther(benchmark::State& state, const MessagePackValue& value) {
    const Bytes bytes = pack(value);
    for (auto _ : state) {
        benchmark::DoNotOptimize(msgpack::unpack(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    countBytes(state, bytes.size());
}

BENCHMARK_CAPTURE(packOurs, band, bandMessage());
BENCHMARK_CAPTURE(packOther, band, bandMessage());
BENCHMARK_CAPTURE(packOurs, label, labelMessage());
BENCHMARK_CAPTURE(packOther, label, labelMessage());
BENCHMARK_CAPTURE(unpackOurs, band, bandMessage());
BENCHMARK_CAPTURE(unpackOther, band, bandMessage());
BENCHMARK_CAPTURE(unpackOurs, label, labelMessage());
BENCHMARK_CAPTURE(unpackOther, label, labelMessage());

/// A band of 640 x 60 pixels of a byte each, as many equal ones at a time as the argument says.
void compressBand(benchmark::State& state) {
    const auto run = static_cast<std::size_t>(state.range(0));
    Bytes band(640 * 60);
    for (std::size_t i = 0; i < band.size(); ++i) {
        band[i] = static_cast<std::uint8_t>(i / run * 85);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(compressWithRLE(band));
    }
    countBytes(state, band.size());
}
BENCHMARK(compressBand)->Arg(1)->Arg(4)->Arg(64)->Arg(640 * 60);

} // namespace
} // namespace tarnel

BENCHMARK_MAIN();
