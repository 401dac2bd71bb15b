#include "Tarnel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel::test {
namespace {

using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

std::string encoded(const std::string& json) {
    const auto result = runTarnel({"message", "encode", "--hex"}, json);
    EXPECT_EQ(result.status, 0) << json << ": " << result.error;
    return result.output.substr(0, result.output.find('\n'));
}

std::string decoded(const std::string& digits) {
    const auto result = runTarnel({"message", "decode", "--hex", digits});
    EXPECT_EQ(result.status, 0) << digits << ": " << result.error;
    return result.output;
}

TEST(MessageCommand, WritesTheFormatsOfThePacker) {
    EXPECT_EQ(encoded("null"), "c0");
    EXPECT_EQ(encoded("[true, false]"), "92c3c2");
    EXPECT_EQ(encoded("5"), "05");
    EXPECT_EQ(encoded("-128"), "d1ff80");
    EXPECT_EQ(encoded("1.5"), "cb3ff8000000000000");
    EXPECT_EQ(encoded(R"("Grüße")"), "a74772c3bcc39f65");
    EXPECT_EQ(encoded(R"({"screen_off": null})"), "81aa73637265656e5f6f6666c0");
    EXPECT_EQ(encoded(R"({"$binary": "AAEC"})"), "c403000102");
    EXPECT_EQ(encoded(R"({"$extended": [-5, "AAEC"]})"), "c703fb000102");
    EXPECT_EQ(encoded(R"({"$float32": 0.5})"), "ca3f000000");
    EXPECT_EQ(encoded(R"({"$float": "-inf"})"), "cbfff0000000000000");
    EXPECT_EQ(encoded(R"({"$map": [[1, 2], [null, 3]]})"), "820102c003");
}

TEST(MessageCommand, KeepsTheOrderOfKeys) {
    EXPECT_EQ(encoded(R"({"b": 1, "a": 2})"), "82a16201a16102");
}

TEST(MessageCommand, KeepsIntegersExactlyOverTheWholeRanges) {
    for (const std::string number : {"18446744073709551615", "9223372036854775808", "9223372036854775807",
                                     "9007199254740993", "0", "-1", "-9007199254740993", "-9223372036854775808"}) {
        EXPECT_EQ(decoded(encoded(number)), number + "\n");
    }
}

TEST(MessageCommand, WhatIsDecodedEncodesToTheSameBytes) {
    for (const std::string json :
         {R"([1.0,-0.0,1e+300,5e-324,0.1])", R"({"$float":"nan"})", R"({"$float":"inf"})", R"({"$float":"-inf"})",
          R"([{"$float32":0.1},{"$float32":3.4028235e+38},{"$float32":"nan"},{"$float32":"-inf"},{"$float32":1e-45}])",
          R"({"$map":[["$binary","AAEC"]]})", R"({"$map":[[{"$map":[[1,2]]},[]],[null,{}]]})",
          R"({"a":{"$binary":""},"b":{"$extended":[127,"AA=="]},"c":"\u0000\"\\ü"})"}) {
        const std::string digits = encoded(json);
        const std::string once = decoded(digits);
        EXPECT_EQ(encoded(once), digits);
        EXPECT_EQ(decoded(encoded(once)), once);
    }
    EXPECT_EQ(decoded("ca3dcccccd"), "{\"$float32\":0.1}\n");
    EXPECT_EQ(decoded("8101a161"), "{\"$map\":[[1,\"a\"]]}\n");
    EXPECT_EQ(decoded("81a72462696e617279a0"), "{\"$map\":[[\"$binary\",\"\"]]}\n");
}

TEST(MessageCommand, SeveralValuesAreALineEach) {
    EXPECT_EQ(decoded("01 02 c0"), "1\n2\nnull\n");
}

TEST(MessageCommand, ReadsAndWritesFilesAndPipes) {
    const TemporaryFolder folder;
    EXPECT_EQ(runTarnel({"message", "encode", "[1,2]", "-o", folder / "m.bin"}).status, 0);
    EXPECT_EQ(readText(folder / "m.bin"), "\x92\x01\x02");
    EXPECT_EQ(runTarnel({"message", "decode", folder / "m.bin"}).output, "[1,2]\n");
    EXPECT_EQ(runTarnel({"message", "decode", "-"}, "\x92\x01\x02").output, "[1,2]\n");
    EXPECT_EQ(runTarnel({"message", "encode", "[1,2]"}).output, "\x92\x01\x02");
    EXPECT_EQ(runTarnel({"message", "encode", "[1,2]", "--json"}).output, "{\"bytes\":3,\"hex\":\"920102\"}\n");
}

TEST(MessageCommand, WhatIsNoMessageIsAFailureOfOneLine) {
    std::string deep;
    for (int i = 0; i < 100'000; ++i) {
        deep += "[";
    }
    for (const std::string& json : std::vector<std::string>{"",
                                                            "nul",
                                                            "[1,2",
                                                            "\"\xff\"",
                                                            R"({"a":1,"a":2})",
                                                            "18446744073709551616",
                                                            "-9223372036854775809",
                                                            "1e999",
                                                            "NaN",
                                                            R"({"$binary": "AAE"})",
                                                            R"({"$binary": "AAE=="})",
                                                            R"({"$binary": 5})",
                                                            R"({"$extended": [128, ""]})",
                                                            R"({"$extended": 5})",
                                                            R"({"$map": [[1]]})",
                                                            R"({"$map": [[1, 2], [1, 3]]})",
                                                            R"({"$float": 1})",
                                                            R"({"$float32": 1e39})",
                                                            R"({"$unknown": 1})",
                                                            R"({"$binary": "AAEC", "a": 1})",
                                                            "[1] [2]",
                                                            deep,
                                                            std::string(65, '[') + std::string(65, ']')}) {
        const auto result = runTarnel({"message", "encode", "--hex"}, json);
        EXPECT_EQ(result.status, 1) << json.substr(0, 80);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.error, StartsWith("tarnel: "));
        EXPECT_THAT(lines(result.error), SizeIs(1));
    }
    EXPECT_EQ(runTarnel({"message", "encode", "--hex"}, std::string(64, '[') + std::string(64, ']')).status, 0);
}

TEST(MessageCommand, BytesThatAreNoMessageAreAFailureThatSaysWhere) {
    for (const std::string digits : {"d9", "c1", "a1ff", "01c1", "93", "zz", "0", ""}) {
        const auto result = runTarnel({"message", "decode", "--hex", digits});
        EXPECT_EQ(result.status, 1) << digits;
        EXPECT_THAT(lines(result.error), SizeIs(1));
    }
    EXPECT_THAT(runTarnel({"message", "decode", "--hex", "0102d9"}).error, HasSubstr("byte 2"));
    EXPECT_THAT(runTarnel({"message", "decode", "/nowhere/m.bin"}).error, HasSubstr("No such file"));
}

} // namespace
} // namespace tarnel::test
