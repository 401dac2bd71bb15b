#include "Commands.hpp"
#include "DisplayNames.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "JSON.hpp"
#include "Options.hpp"
#include "Pictures.hpp"
#include "Text.hpp"

#include <TarnelSDK/images/DeviceImage.hpp>
#include <TarnelSDK/images/Dither.hpp>
#include <TarnelSDK/images/ImageFile.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

namespace tarnel::command {
namespace {

struct ImageOptions {
    std::string input; ///< "-" for standard input
    std::string output;
    std::optional<int> bpp; ///< 1 or 2
    std::optional<Dither> dither;
    bool asJSON = false;
};

struct Conversion {
    std::string format;
    int width = 0;
    int height = 0;
    Bytes bytes;
};

/// The colour formats 7 and 8; no picture file begins with either.
bool isDeviceImage(ByteView bytes) {
    return !bytes.empty() && (bytes[0] == 7 || bytes[0] == 8);
}

std::string extensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return extension;
}

bool isNamedLikeJPEG(const std::string& path) {
    const std::string extension = extensionOf(path);
    return extension == ".jpg" || extension == ".jpeg";
}

bool isNamedLikePicture(const std::string& path) {
    return extensionOf(path) == ".png" || isNamedLikeJPEG(path);
}

Conversion toDeviceImage(ByteView input, const std::string& name, const ImageOptions& options) {
    if (isNamedLikePicture(options.output)) {
        throw UsageError(name + " is a picture already, and becomes a device image; name that -o OUT.bin");
    }
    const int bpp = options.bpp.value_or(2);
    const Dither dither = options.dither.value_or(Dither::off);
    if (bpp == 1 && dither == Dither::on) {
        throw UsageError("--dither on is for the four levels of --bpp 2");
    }
    const Image picture = pictureFromBytes(input, name);
    if (picture.width() > longestObjectSide || picture.height() > longestObjectSide) {
        throw Failure(name + " is " + std::to_string(picture.width()) + " x " + std::to_string(picture.height()) +
                      " pixels; a device image has at most " + std::to_string(longestObjectSide) +
                      " each way: scale it down");
    }
    const bool mixesLevels = bpp == 2 && isDithered(picture, dither);
    const auto bytes = toTNImage(mixesLevels ? ditherToLevels(picture) : picture, bpp);
    if (!bytes) {
        throw Failure(name + " has no pixels");
    }
    return {"device image", picture.width(), picture.height(), *bytes};
}

Conversion toPicture(ByteView input, const std::string& name, const ImageOptions& options) {
    if (options.bpp || options.dither) {
        throw UsageError(name + " is a device image and becomes a PNG file; --bpp and --dither are for the other way");
    }
    if (isNamedLikeJPEG(options.output)) {
        throw UsageError(name + " becomes a PNG file; name that -o OUT.png");
    }
    const auto result = imageFromTNImage(input, name);
    if (const auto* error = std::get_if<ImageError>(&result)) {
        throw Failure(error->message);
    }
    const auto& picture = std::get<Image>(result);
    return {"PNG", picture.width(), picture.height(), pngOf(picture)};
}

/// A picture file to the device image format, or the other way: the input's first byte tells which.
void convertImage(const ImageOptions& options) {
    if (options.output == "-" && options.asJSON) {
        throw UsageError("standard output takes one of -o - and --json");
    }
    const std::string name = options.input == "-" ? "standard input" : options.input;
    const Bytes input = readFile(options.input, maximumImageFileSize);
    const auto conversion =
        isDeviceImage(input) ? toPicture(input, name, options) : toDeviceImage(input, name, options);
    const OutputFile output(options.output);
    output.store(conversion.bytes);
    if (output.isStandardOutput()) {
        return;
    }
    if (options.asJSON) {
        writeOutput(text(JSON::Object{{"format", conversion.format},
                                      {"width", conversion.width},
                                      {"height", conversion.height},
                                      {"bytes", std::uint64_t{conversion.bytes.size()}},
                                      {"output", output.path()}}) +
                    "\n");
    } else {
        writeOutput(output.path() + ": " + conversion.format + ", " + std::to_string(conversion.width) + " x " +
                    std::to_string(conversion.height) + " pixels, " + grouped(conversion.bytes.size()) + " bytes\n");
    }
}

} // namespace

void addImage(CLI::App& app, Action& action) {
    auto options = std::make_shared<ImageOptions>();
    auto* image = app.add_subcommand("image", "Picture files to the device image format and back");
    image->formatter(usage("Usage: tarnel image PICTURE [--bpp 1|2] [--dither auto|on|off] -o OUT.bin\n"
                           "       tarnel image OUT.bin -o PICTURE.png"));
    image->add_option("INPUT", options->input, "A PNG or JPEG file, or a device image; - for standard input")
        ->required()
        ->type_name("");
    image->add_option("-o,--output", options->output, "The file to write; - for standard output")
        ->required()
        ->type_name("FILE");
    image->add_option("--bpp", options->bpp, "Bits per pixel of the device image (default 2)")
        ->type_name("1|2")
        ->check(CLI::IsMember({1, 2}).description(""));
    addChoice<Dither>(
        image, "--dither", dithers, [options](Dither dither) { options->dither = dither; },
        "Mix the four levels to in-between greys, auto: in photographs (default off: the nearest level)");
    image->add_flag("--json", options->asJSON, "Describe the result in JSON");
    image->footer("A device image is an LVGL image: header, palette, rows of pixels padded to bytes. Read back, its\n"
                  "levels are greys in equal steps from black to white, and level 0 is transparent as in its palette.");
    image->callback([options, &action] { action = [options] { convertImage(*options); }; });
}

} // namespace tarnel::command
