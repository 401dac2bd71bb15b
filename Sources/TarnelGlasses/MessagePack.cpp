#include <TarnelGlasses/MessagePack.hpp>

#define MSGPACK_NO_BOOST
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wpedantic"
#endif
#include <msgpack.hpp>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#include <exception>
#include <string>
#include <utility>

namespace tarnel::glasses {

namespace {

constexpr std::size_t maximumDepth = 16;

/// Thrown by `convert` for what no message has.
struct UnknownShape : std::exception {};

Value convert(const msgpack::object& object);

Value convertArray(const msgpack::object_array& array) {
    Value::Array values;
    values.reserve(array.size);
    for (std::uint32_t i = 0; i < array.size; ++i) {
        values.push_back(convert(array.ptr[i]));
    }
    return values;
}

Value convertMap(const msgpack::object_map& map) {
    Value::Dictionary values;
    for (std::uint32_t i = 0; i < map.size; ++i) {
        const auto& key = map.ptr[i].key;
        if (key.type != msgpack::type::STR) {
            throw UnknownShape();
        }
        const bool isNew =
            values.emplace(std::string(key.via.str.ptr, key.via.str.size), convert(map.ptr[i].val)).second;
        if (!isNew) {
            throw UnknownShape();
        }
    }
    return values;
}

Value convert(const msgpack::object& object) {
    switch (object.type) {
    case msgpack::type::NIL:
        return {};
    case msgpack::type::BOOLEAN:
        return object.via.boolean;
    case msgpack::type::POSITIVE_INTEGER:
        return std::uint64_t{object.via.u64};
    case msgpack::type::NEGATIVE_INTEGER:
        return std::int64_t{object.via.i64};
    case msgpack::type::FLOAT32:
    case msgpack::type::FLOAT64:
        return object.via.f64;
    case msgpack::type::STR:
        return std::string(object.via.str.ptr, object.via.str.size);
    case msgpack::type::BIN:
        return Bytes(object.via.bin.ptr, object.via.bin.ptr + object.via.bin.size);
    case msgpack::type::ARRAY:
        return convertArray(object.via.array);
    case msgpack::type::MAP:
        return convertMap(object.via.map);
    case msgpack::type::EXT:
        break;
    }
    throw UnknownShape();
}

using Packer = msgpack::packer<msgpack::sbuffer>;

void pack(Packer& packer, const Value& value);

struct Pack {
    Packer& packer;

    void operator()(std::monostate) const { packer.pack_nil(); }
    void operator()(const Bytes& bytes) const {
        const auto size = static_cast<std::uint32_t>(bytes.size());
        packer.pack_bin(size);
        packer.pack_bin_body(reinterpret_cast<const char*>(bytes.data()), size);
    }
    void operator()(const Value::Array& array) const {
        packer.pack_array(static_cast<std::uint32_t>(array.size()));
        for (const auto& element : array) {
            pack(packer, element);
        }
    }
    void operator()(const Value::Dictionary& dictionary) const {
        packer.pack_map(static_cast<std::uint32_t>(dictionary.size()));
        for (const auto& [key, element] : dictionary) {
            packer.pack(key);
            pack(packer, element);
        }
    }
    template <typename Scalar>
    void operator()(const Scalar& scalar) const {
        packer.pack(scalar);
    }
};

void pack(Packer& packer, const Value& value) {
    std::visit(Pack{packer}, value.storage());
}

} // namespace

std::optional<Value> unpackMessage(ByteView bytes) {
    // No part of a value can have more elements or bytes than the message has bytes.
    const msgpack::unpack_limit limit(bytes.size(), bytes.size(), bytes.size(), bytes.size(), bytes.size(),
                                      maximumDepth);
    try {
        std::size_t offset = 0;
        const auto handle =
            msgpack::unpack(reinterpret_cast<const char*>(bytes.data()), bytes.size(), offset, nullptr, nullptr, limit);
        if (offset != bytes.size()) {
            return std::nullopt;
        }
        return convert(handle.get());
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

Bytes packMessage(const Value& value) {
    msgpack::sbuffer buffer;
    Packer packer(buffer);
    pack(packer, value);
    return Bytes(buffer.data(), buffer.data() + buffer.size());
}

} // namespace tarnel::glasses
