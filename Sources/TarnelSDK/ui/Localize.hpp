#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tarnel {

/// The texts of the SDK's screens. Tables are files `LANGUAGE.lproj/Localizable.strings` in the folder of a bundle;
/// each is read once for each installed platform. Any thread.
///
/// A text comes from the first of these tables that has it: the user's language, script and region ("zh-Hans-CN"),
/// language and script, language and region, language, then English.
class Localize {
public:
    Localize() = delete;

    /// The text, UTF-8; the key itself where no table has it. A table that cannot be read is logged and counts as
    /// empty.
    static std::string string(const std::string& key);

    /// The folder "TarnelSDK_TarnelFonts.bundle" in the application's resources, else "TarnelSDK_TarnelSDK.bundle" in
    /// the SDK's own. Where there is neither, texts come from the application's resources themselves.
    static std::optional<std::filesystem::path> findResourceBundle();
};

} // namespace tarnel
