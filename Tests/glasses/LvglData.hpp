#pragma once

#include <TarnelGlasses/LvglFont.hpp>
#include <TarnelSDK/images/ImageFile.hpp>

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

/// What LVGL itself made of fonts, labels and images: the files of Tests/Data/lvgl.
namespace tarnel::glasses::test {

inline std::string lvglPath(const std::string& name) {
    return std::string(TARNEL_TEST_DATA) + "/lvgl/" + name;
}

inline Bytes lvglBytes(const std::string& name) {
    std::ifstream file(lvglPath(name), std::ios::binary);
    if (!file) {
        std::cerr << "missing test data: " << name << '\n';
        std::abort();
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

inline nlohmann::json lvglJSON(const std::string& name) {
    return nlohmann::json::parse(lvglBytes(name));
}

inline Image lvglPicture(const std::string& name) {
    return std::get<Image>(readImage(lvglPath(name)));
}

inline std::shared_ptr<const LvglFont> lvglFont(const std::string& name, LvglVersion version = LvglVersion::v8_3_11) {
    auto font = LvglFont::load(lvglBytes(name), version);
    return std::make_shared<const LvglFont>(std::get<LvglFont>(std::move(font)));
}

/// The names of the fonts, without suffix.
inline const std::vector<std::string>& lvglFontNames() {
    static const std::vector<std::string> names = {"cjk28",   "clock96", "cyrgreek20", "emoji48", "latin14",
                                                   "latin28", "latin8",  "mixed20",    "single48"};
    return names;
}

} // namespace tarnel::glasses::test
