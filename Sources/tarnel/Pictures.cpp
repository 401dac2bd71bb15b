#include "Pictures.hpp"

#include "Failure.hpp"
#include "Files.hpp"

#include <TarnelSDK/images/Dither.hpp>
#include <TarnelSDK/images/ImageFile.hpp>

namespace tarnel::command {
namespace {

template <typename Result>
Result valueOf(std::variant<Result, ImageError> result) {
    if (const auto* error = std::get_if<ImageError>(&result)) {
        throw Failure(error->message);
    }
    return std::get<Result>(std::move(result));
}

} // namespace

Image readPicture(const std::string& path) {
    if (path == "-") {
        return pictureFromBytes(readFile(path, maximumImageFileSize), "standard input");
    }
    return valueOf(readImage(path));
}

Image readObjectPicture(const std::string& path) {
    Image picture = readPicture(path);
    if (picture.width() > longestObjectSide || picture.height() > longestObjectSide) {
        throw Failure(path + " is " + std::to_string(picture.width()) + " x " + std::to_string(picture.height()) +
                      " pixels; the glasses keep at most " + std::to_string(longestObjectSide) +
                      " each way: scale it down");
    }
    return picture;
}

Image pictureFromBytes(ByteView bytes, const std::string& name) {
    return valueOf(decodeImage(bytes, name));
}

bool isDithered(const Image& picture, Dither dither) {
    return dither == Dither::on || (dither == Dither::automatic && looksLikePhotograph(picture));
}

Bytes pngOf(const Image& picture) {
    return valueOf(encodePNG(picture));
}

} // namespace tarnel::command
