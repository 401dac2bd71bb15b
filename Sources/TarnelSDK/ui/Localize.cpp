#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/glyphs/LanguageTag.hpp>
#include <TarnelSDK/glyphs/ResourceBundle.hpp>
#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/ui/Localize.hpp>
#include <TarnelSDK/ui/StringTable.hpp>
#include <TarnelSDK/ui/TextLookup.hpp>

#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

namespace tarnel {
namespace {

constexpr const char* applicationBundle = "TarnelSDK_TarnelFonts.bundle";
constexpr const char* sdkBundle = "TarnelSDK_TarnelSDK.bundle";
constexpr const char* tableFile = "Localizable.strings";
constexpr const char* lastLanguage = "en";

platform::Application& application() {
    return *platform::Platform::current().services().application;
}

/// The tables that were read on this platform, by file; nothing for a file that is not there.
class StringTables {
public:
    static std::shared_ptr<StringTables> make() { return std::make_shared<StringTables>(); }

    std::optional<std::string> find(const std::filesystem::path& file, const std::string& key) {
        std::unique_lock lock(mutex_);
        auto found = tables_.find(file);
        if (found == tables_.end()) {
            auto read = readStringTable(file).value_or(StringTableResult());
            found = tables_.emplace(file, std::move(read.table)).first;
            if (read.error) {
                // Observers of the log may ask for texts. An entry of the map stays where it is.
                lock.unlock();
                log(file.string() + ":" + std::to_string(read.error->line) + ": " + read.error->description,
                    {"string(_:)", "Localize"});
                lock.lock();
            }
        }
        const auto text = found->second.find(key);
        return text == found->second.end() ? std::nullopt : std::optional(text->second);
    }

private:
    std::mutex mutex_;
    std::map<std::filesystem::path, StringTable> tables_;
};

bool isFolder(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

/// The script of a language that is written in two, where the tag does not say it.
std::string scriptOf(const LanguageTag& tag) {
    if (!tag.script.empty() || tag.language != "zh") {
        return tag.script;
    }
    return hanForms(tag) == HanForms::simplified ? "Hans" : "Hant";
}

/// Names of tables, the best first.
std::vector<std::string> languages(const std::string& locale) {
    const auto tag = languageTag(locale);
    std::vector<std::string> names;
    if (!tag.language.empty()) {
        const auto script = scriptOf(tag);
        if (!script.empty() && !tag.region.empty()) {
            names.push_back(tag.language + "-" + script + "-" + tag.region);
        }
        if (!script.empty()) {
            names.push_back(tag.language + "-" + script);
        }
        if (!tag.region.empty()) {
            names.push_back(tag.language + "-" + tag.region);
        }
        names.push_back(tag.language);
    }
    names.emplace_back(lastLanguage);
    return names;
}

TextPlaces places() {
    return {application().resourceDirectory(), sdkResourceFolders()};
}

} // namespace

std::optional<std::filesystem::path> findTextBundle(const TextPlaces& places) {
    if (places.applicationResources) {
        if (auto bundle = *places.applicationResources / applicationBundle; isFolder(bundle)) {
            return bundle;
        }
    }
    for (const auto& folder : places.sdkFolders) {
        if (auto bundle = folder / sdkBundle; isFolder(bundle)) {
            return bundle;
        }
    }
    return std::nullopt;
}

std::string findText(const std::string& key, const TextPlaces& places, const std::string& locale) {
    const auto bundle = findTextBundle(places);
    if (const auto& folder = bundle ? bundle : places.applicationResources) {
        const auto tables = platform::Platform::current().shared<StringTables>();
        for (const auto& language : languages(locale)) {
            if (auto text = tables->find(*folder / (language + ".lproj") / tableFile, key)) {
                return std::move(*text);
            }
        }
    }
    return key;
}

std::optional<std::filesystem::path> Localize::findResourceBundle() {
    return findTextBundle(places());
}

std::string Localize::string(const std::string& key) {
    return findText(key, places(), application().locale());
}

} // namespace tarnel
