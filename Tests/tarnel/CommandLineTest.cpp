#include "Tarnel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace tarnel::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

TEST(CommandLine, HasHelpForTheProgramAndEveryCommand) {
    const std::vector<std::vector<std::string>> commands{{},          {"show"},
                                                         {"text"},    {"play"},
                                                         {"image"},   {"font"},
                                                         {"message"}, {"message", "encode"},
                                                         {"help"},    {"message", "decode"},
                                                         {"scan"},    {"link"},
                                                         {"unlink"},  {"status"},
                                                         {"monitor"}, {"doctor"},
                                                         {"glasses"}};
    for (auto words : commands) {
        words.emplace_back("--help");
        const auto result = runTarnel(words);
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.output, HasSubstr("Usage: tarnel"));
        EXPECT_EQ(result.error, "");
    }
}

TEST(CommandLine, HelpOfACommandIsThatOfItsOption) {
    EXPECT_EQ(runTarnel({"help", "message", "encode"}).output, runTarnel({"message", "encode", "--help"}).output);
    EXPECT_EQ(runTarnel({"help"}).output, runTarnel({"--help"}).output);
    EXPECT_EQ(runTarnel({"help", "fly"}).status, 2);
}

TEST(CommandLine, TellsItsVersionAndWhatWasLeftOut) {
#if defined(TARNEL_HAS_BLUETOOTH) && defined(TARNEL_HAS_WINDOWS)
    const std::string leftOut;
#elif defined(TARNEL_HAS_BLUETOOTH)
    const std::string leftOut = "without windows";
#elif defined(TARNEL_HAS_WINDOWS)
    const std::string leftOut = "without Bluetooth";
#else
    const std::string leftOut = "without Bluetooth, without windows";
#endif
    const auto result = runTarnel({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, testing::MatchesRegex("tarnel [0-9.]+( .*)?\n"));
    EXPECT_EQ(result.output.find('(') == std::string::npos, leftOut.empty());
    EXPECT_THAT(result.output, HasSubstr(leftOut));
    EXPECT_THAT(runTarnel({"--help"}).output, HasSubstr(leftOut));
}

#ifndef TARNEL_HAS_BLUETOOTH
TEST(CommandLine, WithoutBluetoothItsCommandsSaySo) {
    for (const auto& call : std::vector<std::vector<std::string>>{{"scan"},
                                                                  {"link"},
                                                                  {"unlink"},
                                                                  {"status"},
                                                                  {"monitor"},
                                                                  {"doctor"},
                                                                  {"doctor", "--adapter", "hci0", "--json"},
                                                                  {"glasses", "--air", "--battery", "5"}}) {
        const auto result = runTarnel(call);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, StartsWith("tarnel: this tarnel was built without Bluetooth"));
        EXPECT_THAT(result.error, Not(HasSubstr("--simulated")));
    }
    EXPECT_THAT(runTarnel({"doctor", "--json"}).output, HasSubstr(R"({"ok":false,"checks":[{"check":"build")"));
    for (const std::string command : {"demo", "play"}) {
        const auto result = runTarnel({command});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, HasSubstr("simulated glasses are used with --simulated"));
    }
}
#endif

TEST(CommandLine, AWrongCallEndsWithStatus2AndOneLine) {
    const std::vector<std::vector<std::string>> calls{
        {},
        {"fly"},
        {"message"},
        {"message", "encode", "1", "2"},
        {"image", "a.png"},
        {"image", "a.png", "--bpp", "3", "-o", "a.bin"},
        {"font"},
        {"font", "a"},
        {"font", "-o", "a.bin"},
        {"font", "a", "--size", "7", "-o", "a.bin"},
        {"font", "a", "--size", "97", "-o", "a.bin"},
        {"font", "a", "--dump", "a.bin"},
        {"font", "--dump", "a.bin", "-o", "b.bin"},
        {"show"},
        {"show", "a.png", "--at", "here", "--simulated", "--frame", "b.png"},
        {"show", "a.png", "--at", "-1,0", "--simulated", "--frame", "b.png"},
        {"show", "a.png", "--at", "640,0", "--simulated", "--frame", "b.png"},
        {"show", "a.png", "--at", "0,480", "--simulated", "--frame", "b.png"},
        {"show", "a.png", "--at", "0x10,2", "--simulated", "--frame", "b.png"},
        {"show", "a.png", "--at", "1,", "--simulated", "--frame", "b.png"},
        {"show", "a.png", "--simulated", "--frame", "b.png", "--trace", "b.png"},
        {"play", "--simulated", "--frame", "b.png", "--trace", "b.png"},
        {"show", "a.png", "--simulated"},
        {"show", "a.png", "--simulated", "--frame", "b.png", "--mtu", "22"},
        {"show", "a.png", "--simulated", "--frame", "b.png", "--protocol", "3"},
        {"show", "a.png", "--simulated", "--frame", "b.png", "--seed", "-1"},
        {"show", "a.png", "--simulated", "--frame", "b.png", "--dither", "perhaps"},
        {"text", "--simulated", "--frame", "b.png"},
        {"text", "a", "--simulated"},
        {"text", "a", "--simulated", "--frame", "-", "--json"},
        {"text", "a", "--simulated", "--frame", "b.png", "--size", "7"},
        {"text", "a", "--simulated", "--frame", "b.png", "--size", "large"},
        {"text", "a", "--simulated", "--frame", "b.png", "--anchor", "middle"},
        {"text", "a", "--simulated", "--frame", "b.png", "--at", "1"},
        {"text", "a", "--simulated", "--frame", "b.png", "--at", "40000,1"},
        {"text", "a", "--simulated", "--frame", "b.png", "--width", "-2"},
        {"text", "a", "--simulated", "--frame", "b.png", "--layout", "left", "--color", "dim"},
        {"play", "--simulated", "--frame", "-"},
        {"play", "--simulated", "--battery", "101"},
    };
    for (const auto& call : calls) {
        const auto result = runTarnel(call);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(call);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.error, StartsWith("tarnel: "));
        EXPECT_THAT(lines(result.error), SizeIs(1));
    }
}

TEST(CommandLine, AWrongCallNamesTheHelpOfItsCommand) {
    EXPECT_THAT(runTarnel({}).error, EndsWith("; see tarnel --help\n"));
    EXPECT_THAT(runTarnel({"fly"}).error, EndsWith("; see tarnel --help\n"));
    EXPECT_THAT(runTarnel({"message"}).error, EndsWith("; see tarnel message --help\n"));
    EXPECT_THAT(runTarnel({"message", "decode", "--fly"}).error, EndsWith("; see tarnel message decode --help\n"));
    EXPECT_THAT(runTarnel({"show", "a.png", "--simulated"}).error, EndsWith("; see tarnel show --help\n"));
}

TEST(CommandLine, WhatIsUnknownIsNamed) {
    EXPECT_THAT(runTarnel({"fly"}).error, StartsWith("tarnel: there is no command \"fly\""));
    EXPECT_THAT(runTarnel({"message", "fly"}).error, StartsWith("tarnel: there is no command \"fly\""));
    EXPECT_THAT(runTarnel({"fly", "--high"}).error, StartsWith("tarnel: there is no command \"fly\""));
    EXPECT_THAT(runTarnel({"show", "--frob"}).error, StartsWith("tarnel: there is no option \"--frob\""));
    EXPECT_THAT(runTarnel({"scan", "--frob"}).error, StartsWith("tarnel: there is no option \"--frob\""));
    EXPECT_THAT(runTarnel({"show"}).error, StartsWith("tarnel: PICTURE is required"));
}

TEST(CommandLine, OptionsOfSimulatedGlassesAndOfThoseOnTheAirDoNotMix) {
    EXPECT_THAT(runTarnel({"text", "a", "--mtu", "23"}).error, HasSubstr("--mtu requires --simulated"));
    EXPECT_THAT(runTarnel({"play", "--pairing"}).error, HasSubstr("--pairing requires --simulated"));
    EXPECT_THAT(runTarnel({"text", "a", "--simulated", "--timeout", "3"}).error, HasSubstr("excludes"));
    EXPECT_THAT(runTarnel({"demo", "--simulated", "--adapter", "hci0"}).error, HasSubstr("excludes"));
}

TEST(CommandLine, AFrameIsOfSimulatedGlassesOnly) {
    for (const std::string command : {"show", "text", "demo", "play"}) {
        const auto result = runTarnel({command, "a", "--frame", "a.png"});
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.error, HasSubstr("--frame is for --simulated: what real glasses show cannot be read back"));
    }
}

TEST(CommandLine, TwoOutputsAreTwoFilesHoweverTheyAreSpelt) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("there", folder / "link");
    std::filesystem::create_symlink(folder.path(), folder / "folder");
    const auto relative = std::filesystem::relative(folder.path()).string();
    const auto run = [&](std::vector<std::string> arguments, const std::string& frame, const std::string& trace) {
        arguments.insert(arguments.end(), {"--frame", frame, "--trace", trace});
        return runTarnel(arguments);
    };
    for (const auto& [frame, trace] : std::vector<std::pair<std::string, std::string>>{
             {folder / "there", folder / "there"},
             {folder / "there", folder / "./there"},
             {folder / "there", relative + "/there"},
             {folder / "there", folder / "link"},
             {folder / "there", folder / "folder/link"},
             {"made-nowhere.png", "./made-nowhere.png"},
         }) {
        for (const auto& command : std::vector<std::vector<std::string>>{
                 {"play", "--simulated"}, {"text", "a", "--simulated"}, {"demo", "--simulated"}}) {
            const auto result = run(command, frame, trace);
            EXPECT_EQ(result.status, 2) << frame << " " << trace;
            EXPECT_THAT(result.error, HasSubstr("--frame and --trace take different files"));
        }
#ifdef TARNEL_HAS_BLUETOOTH
        EXPECT_THAT(run({"glasses", "--air"}, frame, trace).error, HasSubstr("take different files"));
#endif
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "there"));
    EXPECT_EQ(run({"play", "--simulated"}, folder / "one", folder / "other").status, 0);
    EXPECT_THAT(runTarnel({"play", folder / "one", "--simulated", "--trace", folder / "./one"}).error,
                HasSubstr("SCENE and --trace take different files"));
    EXPECT_FALSE(readText(folder / "one").empty());
}

TEST(CommandLine, AFileHasThePermissionsOfTheOneThatItReplacesOrOfANewOne) {
    using std::filesystem::perms;
    const TemporaryFolder folder;
    const auto store = [&](const std::string& mask) {
        const auto result = runCommand({"/bin/sh", "-c", "umask " + mask + "; exec \"$0\" message encode 1 -o \"$1\"",
                                        TARNEL_COMMAND, folder / "file"});
        EXPECT_EQ(result.status, 0) << result.error;
        return std::filesystem::status(folder / "file").permissions();
    };
    EXPECT_EQ(store("027"), perms(0640));
    EXPECT_EQ(store("022"), perms(0640));
    std::filesystem::permissions(folder / "file", perms(0606));
    EXPECT_EQ(store("077"), perms(0606));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST(CommandLine, AFolderIsNoOutput) {
    const TemporaryFolder folder;
    for (const auto& path : {std::string("/"), folder / "", folder / "."}) {
        const auto result = runTarnel({"text", "a", "--simulated", "--frame", path});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, HasSubstr("Is a directory")) << path;
    }
}

TEST(CommandLine, OutputsThatMeetOnStandardOutputAreNamed) {
    EXPECT_THAT(runTarnel({"demo", "--simulated", "--json", "--animation", "-"}).error,
                HasSubstr("standard output takes one of --animation - and --json"));
    EXPECT_THAT(runTarnel({"text", "a", "--simulated", "--trace", "-", "--frame", "-"}).error,
                HasSubstr("standard output takes one of --frame - and --trace -"));
}

TEST(CommandLine, AReaderThatHasSeenEnoughEndsItWithoutAWord) {
    Process process({TARNEL_COMMAND, "play", "--help"});
    process.output().closeReading();
    EXPECT_EQ(process.wait(), 128 + SIGPIPE);
}

TEST(CommandLine, AFullDiskIsAFailure) {
    for (const std::string arguments : {"message decode --hex c0", "--help", "--version", "show --help", "help show"}) {
        const auto result = runCommand({"/bin/sh", "-c", "\"$0\" " + arguments + " > /dev/full", TARNEL_COMMAND});
        EXPECT_EQ(result.status, 1) << arguments;
        EXPECT_THAT(result.error, StartsWith("tarnel: cannot write standard output")) << arguments;
    }
}

} // namespace
} // namespace tarnel::test
