#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

/// AES (FIPS 197) without padding, for the host application: input is a multiple of 16 bytes. Keys and initialisation
/// vectors are the caller's. Any thread.
namespace tarnel {

class AESError : public std::exception {
public:
    enum Case {
        KeyError,     ///< the key is not base64 (code 0) or has the wrong length (code 1)
        IVError,      ///< the initialisation vector is not 16 bytes (code 3)
        CryptorError, ///< the cipher failed; the code is its own
    };

    AESError(Case kind, std::string text, int code) : kind_(kind), text_(std::move(text)), code_(code) {}

    Case kind() const { return kind_; }
    const std::string& text() const { return text_; }
    int code() const { return code_; }
    const char* what() const noexcept override { return text_.c_str(); }

private:
    Case kind_;
    std::string text_;
    int code_;
};

/// What `AES_CBC` and `AES_ECB` are asked to do.
constexpr std::uint32_t aesEncrypt = 0;
constexpr std::uint32_t aesDecrypt = 1;

/// AES-256 in CBC mode (NIST SP 800-38A): a key of 32 bytes as base64, an initialisation vector of 16 bytes.
/// Throws `AESError`.
Bytes AES_CBC(ByteView bytes, std::uint32_t operation, std::string_view key, ByteView iv);

/// AES-128 in ECB mode: a key of 16 bytes. Throws `AESError`.
Bytes AES_ECB(ByteView bytes, std::uint32_t operation, ByteView key);

/// As the above; empty on any error.
std::optional<Bytes> encryptWithAESCBC(ByteView bytes, std::string_view key, ByteView iv);
std::optional<Bytes> decryptWithAESCBC(ByteView bytes, std::string_view key, ByteView iv);
std::optional<Bytes> decyptWithAESECB(ByteView bytes, ByteView key);

/// 32 bytes of the platform's random source as base64; empty when the source fails.
std::optional<std::string> generateSecureKey();

} // namespace tarnel
