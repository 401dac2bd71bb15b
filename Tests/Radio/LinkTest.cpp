#include "Drawing.hpp"
#include "RadioTest.hpp"

namespace tarnel::radio {
namespace {

using Link = RadioTest;

TEST_F(Link, showsTheFrameOfTheRunInOneProcess) {
    const Drawn expected = drawInProcess(drawScene);
    ASSERT_GT(expected.messages, 5u);
    ASSERT_NO_FATAL_FAILURE(startLinked());
    host->device()->setLayout(Layout::canvas, 0, true);
    ASSERT_TRUE(host->await([&] { return pair().describe().layout == 4; }));
    drawScene(*host->device());
    EXPECT_TRUE(host->await([&] { return pair().describe().messages >= expected.messages; }));
    EXPECT_EQ(pair().describe().errors, 0u);
    EXPECT_EQ(pair().describe().messages, expected.messages);
    EXPECT_TRUE(pair().frame() == expected.frame);
}

} // namespace
} // namespace tarnel::radio
