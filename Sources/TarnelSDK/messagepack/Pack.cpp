#include <TarnelSDK/messagepack/Pack.hpp>

#include <bit>
#include <limits>

namespace tarnel {
namespace {

/// The first bytes of three formats of growing width.
struct Markers {
    std::uint8_t one, two, four;
};
constexpr Markers stringMarkers{0xD9, 0xDA, 0xDB};
constexpr Markers binaryMarkers{0xC4, 0xC5, 0xC6};
constexpr Markers extendedMarkers{0xC7, 0xC8, 0xC9};
constexpr std::size_t longestFixstr = 25;
constexpr std::size_t longestFixcollection = 14;

/// Appends to one buffer.
class Packer {
public:
    explicit Packer(Bytes& out) : out_(out) {}

    void operator()(std::monostate) { byte(0xC0); }
    void operator()(bool value) { byte(value ? 0xC3 : 0xC2); }
    void operator()(std::uint64_t value) { positive(value); }
    void operator()(std::int64_t value) {
        if (value < 0) {
            negative(value);
        } else {
            positive(static_cast<std::uint64_t>(value));
        }
    }
    void operator()(float value) { marked(0xCA, std::bit_cast<std::uint32_t>(value), 4); }
    void operator()(double value) { marked(0xCB, std::bit_cast<std::uint64_t>(value), 8); }
    void operator()(const std::string& value) {
        if (value.size() <= longestFixstr) {
            byte(static_cast<std::uint8_t>(0xA0 | value.size()));
        } else {
            length(stringMarkers, value.size());
        }
        out_.insert(out_.end(), value.begin(), value.end());
    }
    void operator()(const Bytes& value) {
        length(binaryMarkers, value.size());
        bytes(value);
    }
    void operator()(const MessagePackValue::Array& value) {
        collection(0x90, 0xDC, 0xDD, value.size());
        for (const auto& element : value) {
            std::visit(*this, element.storage());
        }
    }
    void operator()(const MessagePackValue::Map& value) {
        collection(0x80, 0xDE, 0xDF, value.size());
        for (const auto& [key, element] : value) {
            std::visit(*this, key.storage());
            std::visit(*this, element.storage());
        }
    }
    void operator()(const MessagePackValue::Extended& value) {
        const std::size_t size = value.data.size();
        if (std::has_single_bit(size) && size <= 16) {
            byte(static_cast<std::uint8_t>(0xD4 + std::countr_zero(size)));
        } else {
            length(extendedMarkers, size);
        }
        byte(static_cast<std::uint8_t>(value.type));
        bytes(value.data);
    }

    void positive(std::uint64_t value) {
        if (value <= 0x7F) {
            byte(static_cast<std::uint8_t>(value));
        } else if (value <= 0xFF) {
            marked(0xCC, value, 1);
        } else if (value <= 0xFFFF) {
            marked(0xCD, value, 2);
        } else if (value <= 0xFFFFFFFF) {
            marked(0xCE, value, 4);
        } else {
            marked(0xCF, value, 8);
        }
    }

    void negative(std::int64_t value) {
        const auto pattern = static_cast<std::uint64_t>(value);
        if (value >= -32) {
            byte(static_cast<std::uint8_t>(0xE0 | (pattern & 0xFF)));
        } else if (value >= -0x7F) {
            marked(0xD0, pattern, 1);
        } else if (value >= -0x7FFF) {
            marked(0xD1, pattern, 2);
        } else if (value >= -0x7FFFFFFF) {
            marked(0xD2, pattern, 4);
        } else {
            marked(0xD3, pattern, 8);
        }
    }

    void integer(std::uint64_t value, std::size_t parts) {
        for (std::size_t part = parts; part > 0; --part) {
            byte(static_cast<std::uint8_t>(value >> 8 * (part - 1) & 0xFF));
        }
    }

private:
    void byte(std::uint8_t value) { out_.push_back(value); }
    void bytes(ByteView view) { out_.insert(out_.end(), view.begin(), view.end()); }

    void marked(std::uint8_t marker, std::uint64_t value, std::size_t parts) {
        byte(marker);
        integer(value, parts);
    }

    void length(const Markers& markers, std::size_t size) {
        if (size <= 0xFF) {
            marked(markers.one, size, 1);
        } else if (size <= 0xFFFF) {
            marked(markers.two, size, 2);
        } else {
            wide(markers.four, size);
        }
    }

    void collection(std::uint8_t fix, std::uint8_t two, std::uint8_t four, std::size_t count) {
        if (count <= longestFixcollection) {
            byte(static_cast<std::uint8_t>(fix | count));
        } else if (count <= 0xFFFF) {
            marked(two, count, 2);
        } else {
            wide(four, count);
        }
    }

    void wide(std::uint8_t marker, std::size_t size) {
        precondition(size <= std::numeric_limits<std::uint32_t>::max(), "a length fits in 32 bits");
        marked(marker, size, 4);
    }

    Bytes& out_;
};

} // namespace

Bytes pack(const MessagePackValue& value) {
    Bytes out;
    std::visit(Packer(out), value.storage());
    return out;
}

Bytes packPositiveInteger(std::uint64_t value) {
    Bytes out;
    Packer(out).positive(value);
    return out;
}

Bytes packNegativeInteger(std::int64_t value) {
    precondition(value < 0, "a negative integer is below zero");
    Bytes out;
    Packer(out).negative(value);
    return out;
}

Bytes packInteger(std::uint64_t value, std::size_t parts) {
    precondition(parts <= sizeof value, "an integer has at most eight bytes");
    Bytes out;
    Packer(out).integer(value, parts);
    return out;
}

} // namespace tarnel
