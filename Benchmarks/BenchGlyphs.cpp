#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

namespace tarnel {
namespace {

std::string latinLabel() {
    return "Next meeting at 14:30, room 2";
}

std::string sevenLabels() {
    return "Grüße aus Zürich, 会議は午後, Встреча в три, Συνάντηση, 회의실, 3 новых \U0001F4E7, Battery 80 % "
           "\U0001F50B";
}

std::string twoHundredHan() {
    std::u32string text;
    for (char32_t codePoint = 0x4E00; text.size() < 200; codePoint += 7) {
        text.push_back(codePoint);
    }
    return encodeUTF8(text);
}

/// With the glyphs drawn before, as when a label changes.
void again(benchmark::State& state, const std::string& text) {
    const glasses::SimulatedWorld world;
    Glypher glypher;
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = glypher.toBinFont(text, "ja").value().size();
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

/// With every glyph drawn anew: no two sizes share glyphs, and the files are open already.
void anew(benchmark::State& state, const std::string& text) {
    const glasses::SimulatedWorld world;
    Glypher glypher;
    constexpr double step = 1.0 / 1024;
    double size = Glypher::defaultFontSize;
    std::size_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        size = size < Glypher::defaultFontSize + 1 ? size + step : Glypher::defaultFontSize;
        glypher.setFontSize(size);
        state.ResumeTiming();
        bytes = glypher.toBinFont(text, "ja").value().size();
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

BENCHMARK_CAPTURE(anew, latin_label, latinLabel())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(again, latin_label, latinLabel())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(anew, seven_labels, sevenLabels())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(again, seven_labels, sevenLabels())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(anew, two_hundred_han, twoHundredHan())->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(again, two_hundred_han, twoHundredHan())->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace tarnel

BENCHMARK_MAIN();
