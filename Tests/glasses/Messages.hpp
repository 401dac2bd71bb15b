#pragma once

#include <TarnelGlasses/MessagePack.hpp>

#include <initializer_list>
#include <string>
#include <utility>

/// Messages as a phone sends them, made with the glasses' own encoder.
namespace tarnel::glasses::test {

/// {key: value}
inline Value entry(const std::string& key, Value value) {
    Value::Dictionary dictionary;
    dictionary.emplace(key, std::move(value));
    return dictionary;
}

template <typename... Elements>
Value list(Elements... elements) {
    Value::Array array;
    (array.emplace_back(std::move(elements)), ...);
    return array;
}

inline Bytes message(const std::string& key, Value value) {
    return packMessage(entry(key, std::move(value)));
}

inline Bytes canvas(const std::string& key, Value value) {
    return message("canvas", entry(key, std::move(value)));
}

inline Bytes control(const std::string& application, int layout, int timeout = 0) {
    return message("control", list(false, timeout, layout, application, false));
}

inline Bytes image(int x, int y, int width, int height, Bytes encoded) {
    return canvas("cnvs_img", list(list(x, y), list(width, height), 1, std::move(encoded)));
}

inline Bytes chunk(std::uint8_t header, const Bytes& payload) {
    Bytes chunk;
    chunk.reserve(1 + payload.size());
    chunk.push_back(header);
    chunk.insert(chunk.end(), payload.begin(), payload.end());
    return chunk;
}

} // namespace tarnel::glasses::test
