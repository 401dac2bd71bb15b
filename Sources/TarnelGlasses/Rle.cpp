#include <TarnelGlasses/Rle.hpp>

namespace tarnel::glasses {

namespace {

class Reader {
public:
    explicit Reader(ByteView bytes) : bytes_(bytes) {}

    bool isAtEnd() const { return bytes_.empty(); }

    std::optional<ByteView> take(std::size_t count) {
        if (count > bytes_.size()) {
            return std::nullopt;
        }
        const auto taken = bytes_.first(count);
        bytes_ = bytes_.subspan(count);
        return taken;
    }

    std::optional<std::size_t> number(std::size_t width) {
        const auto bytes = take(width);
        if (!bytes) {
            return std::nullopt;
        }
        std::size_t number = 0;
        for (std::size_t i = 0; i < width; ++i) {
            number |= std::size_t{(*bytes)[i]} << (8 * i);
        }
        return number;
    }

private:
    ByteView bytes_;
};

} // namespace

std::optional<Bytes> decodeRle(ByteView encoded, std::size_t size) {
    Reader reader(encoded);
    Bytes decoded;
    while (!reader.isAtEnd()) {
        const std::size_t header = *reader.number(1);
        const bool isRun = (header & 0x80) != 0;
        std::optional<std::size_t> count = header & 0x7f;
        if (count == 0) {
            count = reader.number(2);
        } else if (count == 0x7f) {
            count = reader.number(4);
        }
        if (!count || *count > size - decoded.size()) {
            return std::nullopt;
        }
        const auto bytes = reader.take(isRun ? 1 : *count);
        if (!bytes) {
            return std::nullopt;
        }
        if (isRun) {
            decoded.insert(decoded.end(), *count, bytes->front());
        } else {
            decoded.insert(decoded.end(), bytes->begin(), bytes->end());
        }
    }
    if (decoded.size() != size) {
        return std::nullopt;
    }
    return decoded;
}

} // namespace tarnel::glasses
