#include "support/MessagePackGenerator.hpp"

#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>

#include <gtest/gtest.h>
#include <msgpack.hpp>
#include <rapidcheck/gtest.h>

#include <cmath>

namespace tarnel {
namespace {

using Value = MessagePackValue;

/// What the other library read, as a value of ours.
Value fromObject(const msgpack::object& object) {
    const auto bytes = [](const char* begin, std::size_t size) { return Bytes(begin, begin + size); };
    switch (object.type) {
    case msgpack::type::NIL:
        return nullptr;
    case msgpack::type::BOOLEAN:
        return object.via.boolean;
    case msgpack::type::POSITIVE_INTEGER:
        return object.via.u64;
    case msgpack::type::NEGATIVE_INTEGER:
        return object.via.i64;
    case msgpack::type::FLOAT32:
        return static_cast<float>(object.via.f64);
    case msgpack::type::FLOAT64:
        return object.via.f64;
    case msgpack::type::STR:
        return std::string_view(object.via.str.ptr, object.via.str.size);
    case msgpack::type::BIN:
        return bytes(object.via.bin.ptr, object.via.bin.size);
    case msgpack::type::EXT:
        return Value(object.via.ext.type(), bytes(object.via.ext.data(), object.via.ext.size));
    case msgpack::type::ARRAY: {
        Value::Array elements;
        for (std::uint32_t i = 0; i < object.via.array.size; ++i) {
            elements.push_back(fromObject(object.via.array.ptr[i]));
        }
        return elements;
    }
    case msgpack::type::MAP: {
        Value::Map entries;
        for (std::uint32_t i = 0; i < object.via.map.size; ++i) {
            const auto& entry = object.via.map.ptr[i];
            entries.set(fromObject(entry.key), fromObject(entry.val));
        }
        return entries;
    }
    }
    ADD_FAILURE() << "an unknown type";
    return nullptr;
}

using OtherPacker = msgpack::packer<msgpack::sbuffer>;

std::uint32_t size32(std::size_t size) {
    return static_cast<std::uint32_t>(size);
}

/// Packs with the other library.
struct OtherWriter {
    OtherPacker& out;

    void operator()(std::monostate) const { out.pack_nil(); }
    void operator()(bool value) const { out.pack(value); }
    void operator()(std::int64_t value) const { out.pack_int64(value); }
    void operator()(std::uint64_t value) const { out.pack_uint64(value); }
    void operator()(float value) const { out.pack_float(value); }
    void operator()(double value) const { out.pack_double(value); }
    void operator()(const std::string& value) const {
        out.pack_str(size32(value.size()));
        out.pack_str_body(value.data(), size32(value.size()));
    }
    void operator()(const Bytes& value) const {
        out.pack_bin(size32(value.size()));
        out.pack_bin_body(reinterpret_cast<const char*>(value.data()), size32(value.size()));
    }
    void operator()(const Value::Array& value) const {
        out.pack_array(size32(value.size()));
        for (const auto& element : value) {
            std::visit(*this, element.storage());
        }
    }
    void operator()(const Value::Map& value) const {
        out.pack_map(size32(value.size()));
        for (const auto& [key, element] : value) {
            std::visit(*this, key.storage());
            std::visit(*this, element.storage());
        }
    }
    void operator()(const Value::Extended& value) const {
        out.pack_ext(value.data.size(), value.type);
        out.pack_ext_body(reinterpret_cast<const char*>(value.data.data()), size32(value.data.size()));
    }
};

/// The other library writes a float that is a whole number as an integer; here such a float becomes a half.
struct WithoutWholeFloats {
    template <typename T>
    Value operator()(const T& value) const {
        return value;
    }
    Value operator()(float value) const { return std::trunc(value) == value ? 0.5F : value; }
    Value operator()(double value) const { return std::trunc(value) == value ? 0.5 : value; }
    Value operator()(const Value::Array& value) const {
        Value::Array elements;
        for (const auto& element : value) {
            elements.push_back(std::visit(*this, element.storage()));
        }
        return elements;
    }
    Value operator()(const Value::Map& value) const {
        Value::Map entries;
        for (const auto& [key, element] : value) {
            entries.set(std::visit(*this, key.storage()), std::visit(*this, element.storage()));
        }
        return entries;
    }
};

RC_GTEST_PROP(GeneratedValues, AreReadByAnotherLibraryAsTheyWerePacked, ()) {
    const auto value = *test::messagePackValue();
    const Bytes packed = pack(value);
    std::size_t used = 0;
    const auto handle = msgpack::unpack(reinterpret_cast<const char*>(packed.data()), packed.size(), used);
    RC_ASSERT(used == packed.size());
    RC_ASSERT(fromObject(handle.get()) == value);
}

RC_GTEST_PROP(GeneratedValues, AreUnpackedAsAnotherLibraryPackedThem, ()) {
    const auto generated = *test::messagePackValue();
    const Value value = std::visit(WithoutWholeFloats(), generated.storage());
    msgpack::sbuffer buffer;
    OtherPacker packer(buffer);
    std::visit(OtherWriter{packer}, value.storage());
    const auto [read, remainder] =
        unpack(ByteView(reinterpret_cast<const std::uint8_t*>(buffer.data()), buffer.size()));
    RC_ASSERT(read == value);
    RC_ASSERT(remainder.isEmpty());
}

RC_GTEST_PROP(GeneratedValues, SurviveARoundTripAndPackToTheSameBytesAgain, ()) {
    const auto value = *test::messagePackValue();
    const Bytes packed = pack(value);
    const auto read = unpackFirst(packed);
    RC_ASSERT(read == value);
    RC_ASSERT(read.hash() == value.hash());
    RC_ASSERT(pack(read) == packed);
}

} // namespace
} // namespace tarnel
