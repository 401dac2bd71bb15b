#include "images/Pictures.hpp"

#include <TarnelSDK/images/Geometry.hpp>
#include <TarnelSDK/images/ImageFile.hpp>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace tarnel {
namespace {

namespace fs = std::filesystem;

class ImageFile : public testing::Test {
protected:
    ImageFile() {
        std::string pattern = (fs::temp_directory_path() / "tarnel-images-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
    }
    ~ImageFile() override { fs::remove_all(folder_); }

    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    std::string write(const std::string& name, const Bytes& bytes) const {
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path(name);
    }

private:
    fs::path folder_;
};

TEST_F(ImageFile, WhatIsWrittenIsReadAgain) {
    for (const Size& size : {Size{1, 1}, Size{640, 480}}) {
        const Image image = makeGray(size.width, size.height, [](int x, int y) { return (x + y) % 256; });
        ASSERT_FALSE(writePNG(path("a.png"), image));
        EXPECT_EQ(pixelsOf(imageOf(readImage(path("a.png")))), pixelsOf(image));
    }
}

TEST_F(ImageFile, IsKnownByItsContentAndNotByItsName) {
    ASSERT_FALSE(writePNG(path("a.jpg"), flatGray(3, 2, 7)));
    EXPECT_EQ(imageOf(readImage(path("a.jpg"))).width(), 3);
}

TEST_F(ImageFile, SaysThatAFileIsMissing) {
    EXPECT_EQ(messageOf(readImage(path("none.png"))), "there is no file " + path("none.png") + "; check the path");
    EXPECT_EQ(messageOf(readImage("")), "there is no file ; check the path");
}

TEST_F(ImageFile, SaysThatAFileIsEmpty) {
    EXPECT_EQ(messageOf(readImage(write("a.png", {}))), path("a.png") + " is empty");
}

TEST_F(ImageFile, SaysThatAPathIsAFolder) {
    EXPECT_EQ(messageOf(readImage(path(""))), path("") + " is a folder; name a PNG or JPEG file in it");
}

TEST_F(ImageFile, DoesNotWaitForAPipeToBeWritten) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(messageOf(readImage(path("pipe"))), path("pipe") + " is not a regular file; name a PNG or JPEG file");
}

TEST_F(ImageFile, SaysThatAFileIsNotAPicture) {
    EXPECT_EQ(messageOf(readImage(write("notes.txt", {'h', 'e', 'l', 'l', 'o'}))),
              path("notes.txt") + " is not a PNG or JPEG file");
    EXPECT_EQ(messageOf(readImage(write("a.gif", {'G', 'I', 'F', '8', '9', 'a', 0, 0, 0, 0, 0, 0, 0}))),
              path("a.gif") + " is not a PNG or JPEG file");
}

TEST_F(ImageFile, SaysThatAFileIsCutOff) {
    EXPECT_EQ(messageOf(readImage(write("a.png", {0x89, 'P', 'N'}))),
              path("a.png") + " ends early: the PNG file is cut off. Copy it again from its source");
    EXPECT_EQ(messageOf(readImage(write("a.jpg", {0xFF, 0xD8}))),
              path("a.jpg") + " ends early: the JPEG file is cut off. Copy it again from its source");
}

TEST_F(ImageFile, SaysThatItMayNotReadAFile) {
    const std::string file = write("a.png", {1, 2, 3});
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    // In a process of its own, which may lose the privileges to read everything.
    EXPECT_EXIT(
        {
            constexpr uid_t nobody = 65'534;
            if (geteuid() == 0 && (chmod(path("").c_str(), 0755) != 0 || seteuid(nobody) != 0)) {
                std::_Exit(2);
            }
            std::fputs(messageOf(readImage(file)).c_str(), stderr);
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "a.png cannot be read: Permission denied");
}

TEST_F(ImageFile, SaysThatAFileIsTooLong) {
    const std::string file = write("a.png", {0x89});
    fs::resize_file(file, maximumImageFileSize + 1);
    EXPECT_EQ(messageOf(readImage(file)),
              file + " has 268435457 bytes, more than the 268435456 that are read; save it smaller");
}

TEST_F(ImageFile, ObeysTheCallersLimits) {
    ASSERT_FALSE(writePNG(path("a.png"), flatGray(10, 4, 7)));
    EXPECT_TRUE(messageOf(readImage(path("a.png"), {.side = 10, .pixels = 40})).empty());
    EXPECT_FALSE(messageOf(readImage(path("a.png"), {.side = 9, .pixels = 40})).empty());
    EXPECT_FALSE(messageOf(readImage(path("a.png"), {.side = 10, .pixels = 39})).empty());
}

TEST_F(ImageFile, SaysThatAFileCannotBeWritten) {
    const auto error = writePNG(path("none/a.png"), flatGray(1, 1, 0));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message, path("none/a.png") + " cannot be written: No such file or directory");
    EXPECT_TRUE(writePNG(path(""), flatGray(1, 1, 0)));
    EXPECT_TRUE(writePNG(path("a.png"), Image()));
    EXPECT_FALSE(fs::exists(path("a.png")));
}

TEST_F(ImageFile, AFullDiskIsAnError) {
    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "there is no /dev/full here";
    }
    const auto error = writePNG("/dev/full", makeGray(300, 300, [](int x, int y) { return x * y % 251; }));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message, "/dev/full cannot be written: No space left on device");
    EXPECT_TRUE(fs::exists("/dev/full"));
}

} // namespace
} // namespace tarnel
