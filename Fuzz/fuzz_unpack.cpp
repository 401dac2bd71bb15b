#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/messagepack/PlainValue.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <cstddef>
#include <cstdint>

/// Whatever unpacks can be packed, and then unpacks to what packs the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarnel;
    for (const bool compatibility : {false, true}) {
        try {
            const auto [value, remainder] = unpack(ByteView(data, size), compatibility);
            precondition(remainder.count() < size, "a value takes at least one byte");
            const Bytes packed = pack(value);
            precondition(pack(unpackFirst(packed)) == packed, "packing is the inverse of unpacking");
            static_cast<void>(toPlainValue(value));
            static_cast<void>(value.description());
        } catch (const MessagePackError& error) {
            precondition(error.code() != MessagePackError::invalidArgument, "an error tells of the bytes");
        }
    }
    return 0;
}
