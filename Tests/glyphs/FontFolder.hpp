#pragma once

#include "support/Command.hpp"
#include "support/Fonts.hpp"
#include "support/TestPlatform.hpp"

#include <filesystem>
#include <string>

namespace tarnel::test {

/// A platform whose application brings a bundle of font files of its own.
class FontFolder {
public:
    FontFolder() { platform.application->setResourceDirectory(folder.path()); }

    void add(const std::string& name, const std::filesystem::path& file,
             const std::string& bundle = "TarnelSDK_TarnelFonts.bundle") const {
        std::filesystem::create_directory(folder.path() / bundle);
        std::filesystem::create_symlink(file, folder.path() / bundle / name);
    }
    /// All that the chain looks for.
    void addAll() const {
        add("NotoSans-Regular.ttf", notoSans);
        add("NotoEmoji-Regular.ttf", emoji);
        add("NotoSansCJK-Regular.ttc", notoSansCJK);
    }

    TemporaryFolder folder;
    TestPlatform platform;
};

} // namespace tarnel::test
