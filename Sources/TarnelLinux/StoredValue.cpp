#include <TarnelLinux/StoredValue.hpp>

#include <bit>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace tarnel {
namespace {

enum class Tag : std::uint8_t { null, false_, true_, int64, uint64, double_, text, bytes, array, dictionary };

class Encoder {
public:
    bool append(const Value& value, int depth = 0) {
        return depth <= deepestStoredValue &&
               std::visit([&](const auto& held) { return append(held, depth); }, value.storage());
    }
    Bytes take() { return std::move(out_); }

private:
    bool append(std::monostate, int) { return tag(Tag::null); }
    bool append(bool value, int) { return tag(value ? Tag::true_ : Tag::false_); }
    bool append(std::int64_t value, int) { return tag(Tag::int64) && number(std::bit_cast<std::uint64_t>(value), 8); }
    bool append(std::uint64_t value, int) { return tag(Tag::uint64) && number(value, 8); }
    bool append(double value, int) { return tag(Tag::double_) && number(std::bit_cast<std::uint64_t>(value), 8); }
    bool append(const std::string& value, int) { return tag(Tag::text) && piece(value); }
    bool append(const Bytes& value, int) { return tag(Tag::bytes) && piece(value); }
    bool append(const Value::Array& value, int depth) {
        bool isWhole = tag(Tag::array) && count(value.size());
        for (auto element = value.begin(); isWhole && element != value.end(); ++element) {
            isWhole = append(*element, depth + 1);
        }
        return isWhole;
    }
    bool append(const Value::Dictionary& value, int depth) {
        bool isWhole = tag(Tag::dictionary) && count(value.size());
        for (auto entry = value.begin(); isWhole && entry != value.end(); ++entry) {
            isWhole = piece(entry->first) && append(entry->second, depth + 1);
        }
        return isWhole;
    }

    bool tag(Tag tag) {
        out_.push_back(static_cast<std::uint8_t>(tag));
        return true;
    }
    bool number(std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) {
            out_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
        return true;
    }
    bool count(std::size_t size) { return size <= std::numeric_limits<std::uint32_t>::max() && number(size, 4); }
    template <typename Container>
    bool piece(const Container& container) {
        if (!count(container.size())) {
            return false;
        }
        out_.insert(out_.end(), container.begin(), container.end());
        return true;
    }

    Bytes out_;
};

class Decoder {
public:
    explicit Decoder(ByteView bytes) : rest_(bytes) {}

    bool isAtEnd() const { return rest_.empty(); }

    std::optional<Value> value(int depth = 0) {
        const auto tag = number(1);
        if (!tag || depth > deepestStoredValue) {
            return std::nullopt;
        }
        switch (static_cast<Tag>(*tag)) {
        case Tag::null:
            return Value();
        case Tag::false_:
            return Value(false);
        case Tag::true_:
            return Value(true);
        case Tag::int64:
            return made(number(8), [](auto bits) { return Value(std::bit_cast<std::int64_t>(bits)); });
        case Tag::uint64:
            return made(number(8), [](auto bits) { return Value(bits); });
        case Tag::double_:
            return made(number(8), [](auto bits) { return Value(std::bit_cast<double>(bits)); });
        case Tag::text:
            return made(piece(), [](auto bytes) { return Value(std::string(bytes.begin(), bytes.end())); });
        case Tag::bytes:
            return made(piece(), [](auto bytes) { return Value(Bytes(bytes.begin(), bytes.end())); });
        case Tag::array:
            return array(depth);
        case Tag::dictionary:
            return dictionary(depth);
        }
        return std::nullopt;
    }

private:
    template <typename Read, typename Make>
    static std::optional<Value> made(const std::optional<Read>& read, const Make& make) {
        return read ? std::optional<Value>(make(*read)) : std::nullopt;
    }

    std::optional<Value> array(int depth) {
        const auto count = number(4);
        if (!count) {
            return std::nullopt;
        }
        Value::Array elements;
        for (std::uint64_t i = 0; i < *count; ++i) {
            auto element = value(depth + 1);
            if (!element) {
                return std::nullopt;
            }
            elements.push_back(*std::move(element));
        }
        return std::optional<Value>(std::in_place, std::move(elements));
    }

    std::optional<Value> dictionary(int depth) {
        const auto count = number(4);
        if (!count) {
            return std::nullopt;
        }
        Value::Dictionary entries;
        for (std::uint64_t i = 0; i < *count; ++i) {
            const auto key = piece();
            auto element = key ? value(depth + 1) : std::nullopt;
            if (!element) {
                return std::nullopt;
            }
            entries.insert_or_assign(std::string(key->begin(), key->end()), *std::move(element));
        }
        return std::optional<Value>(std::in_place, std::move(entries));
    }

    std::optional<std::uint64_t> number(std::size_t size) {
        if (rest_.size() < size) {
            return std::nullopt;
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value |= std::uint64_t{rest_[i]} << (8 * i);
        }
        rest_ = rest_.subspan(size);
        return value;
    }

    std::optional<ByteView> piece() {
        const auto length = number(4);
        if (!length || rest_.size() < *length) {
            return std::nullopt;
        }
        const auto bytes = rest_.first(static_cast<std::size_t>(*length));
        rest_ = rest_.subspan(bytes.size());
        return bytes;
    }

    ByteView rest_;
};

} // namespace

std::optional<Bytes> encodeStoredValue(const Value& value) {
    Encoder encoder;
    return encoder.append(value) ? std::optional(encoder.take()) : std::nullopt;
}

std::optional<Value> decodeStoredValue(ByteView bytes) {
    Decoder decoder(bytes);
    auto value = decoder.value();
    return decoder.isAtEnd() ? value : std::nullopt;
}

} // namespace tarnel
