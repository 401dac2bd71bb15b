#include <TarnelSDK/images/ImageCodec.hpp>
#include <TarnelSDK/images/ImageFile.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>

namespace tarnel {

namespace {

namespace fs = std::filesystem;

constexpr std::array<std::uint8_t, 8> pngSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::array<std::uint8_t, 3> jpegSignature = {0xFF, 0xD8, 0xFF};

bool startsWith(ByteView data, ByteView signature) {
    return data.size() >= signature.size() && std::equal(signature.begin(), signature.end(), data.begin());
}

/// The start of a signature and nothing else.
bool isPartOf(ByteView data, ByteView signature) {
    return data.size() < signature.size() && std::equal(data.begin(), data.end(), signature.begin());
}

std::string reasonOfErrno() {
    return std::generic_category().message(errno);
}

std::variant<Bytes, ImageError> readFile(const fs::path& path) {
    const std::string name = path.string();
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        return ImageError{"there is no file " + name + "; check the path"};
    }
    if (error) {
        return ImageError{name + " cannot be read: " + error.message()};
    }
    if (fs::is_directory(status)) {
        return ImageError{name + " is a folder; name a PNG or JPEG file in it"};
    }
    if (!fs::is_regular_file(status)) {
        return ImageError{name + " is not a regular file; name a PNG or JPEG file"};
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return ImageError{name + " cannot be read: " + reasonOfErrno()};
    }
    const std::uintmax_t size = fs::file_size(path, error);
    if (error) {
        return ImageError{name + " cannot be read: " + error.message()};
    }
    if (size > maximumImageFileSize) {
        return ImageError{name + " has " + std::to_string(size) + " bytes, more than the " +
                          std::to_string(maximumImageFileSize) + " that are read; save it smaller"};
    }
    Bytes bytes(static_cast<std::size_t>(size));
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (file.bad()) {
        return ImageError{name + " cannot be read: " + reasonOfErrno()};
    }
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

} // namespace

std::optional<ImageError> checkClaimedSize(std::string_view name, std::size_t width, std::size_t height,
                                           const ImageLimits& limits) {
    const auto side = static_cast<std::size_t>(limits.side);
    if (width <= side && height <= side && width * height <= limits.pixels) {
        return std::nullopt;
    }
    return ImageError{std::string(name) + " says that it is " + std::to_string(width) + " x " + std::to_string(height) +
                      " pixels; a side may have " + std::to_string(side) + " and the whole " +
                      std::to_string(limits.pixels) + ". Save it smaller"};
}

ImageError damagedImage(std::string_view name, std::string_view format, bool endsEarly, std::string_view detail) {
    std::string message(name);
    if (endsEarly) {
        message.append(" ends early: the ").append(format).append(" file is cut off. Copy it again from its source");
    } else {
        message.append(" is a damaged or unsupported ").append(format).append(" file (").append(detail);
        message.append("). Copy it again, or save it anew from another program");
    }
    return ImageError{std::move(message)};
}

ImageResult decodeImage(ByteView data, std::string_view name, const ImageLimits& limits) {
    if (data.empty()) {
        return ImageError{std::string(name) + " is empty"};
    }
    if (startsWith(data, pngSignature)) {
        return decodePNG(data, name, limits);
    }
    if (startsWith(data, jpegSignature)) {
        return decodeJPEG(data, name, limits);
    }
    if (isPartOf(data, pngSignature)) {
        return damagedImage(name, "PNG", true, {});
    }
    if (isPartOf(data, jpegSignature)) {
        return damagedImage(name, "JPEG", true, {});
    }
    return ImageError{std::string(name) + " is not a PNG or JPEG file"};
}

ImageResult readImage(const fs::path& path, const ImageLimits& limits) {
    const auto file = readFile(path);
    if (const auto* error = std::get_if<ImageError>(&file)) {
        return *error;
    }
    return decodeImage(std::get<Bytes>(file), path.string(), limits);
}

std::optional<ImageError> writePNG(const fs::path& path, const Image& image) {
    const auto encoded = encodePNG(image);
    if (const auto* error = std::get_if<ImageError>(&encoded)) {
        return *error;
    }
    const Bytes& bytes = std::get<Bytes>(encoded);
    errno = 0;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) {
        return ImageError{path.string() + " cannot be written: " + reasonOfErrno()};
    }
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        ImageError error{path.string() + " cannot be written: " + reasonOfErrno()};
        std::error_code ignored;
        if (fs::is_regular_file(path, ignored)) {
            fs::remove(path, ignored);
        }
        return error;
    }
    return std::nullopt;
}

} // namespace tarnel
