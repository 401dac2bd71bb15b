#include <TarnelSDK/foundation/AES.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace tarnel {
namespace {

constexpr std::size_t blockSize = 16;
constexpr std::size_t cbcKeySize = 32;
constexpr std::size_t ecbKeySize = 16;

/// Bytes of a key, wiped when no longer needed.
class Secret {
public:
    explicit Secret(std::size_t size) : bytes(size) {}
    Secret(Secret&&) = default;
    ~Secret() { OPENSSL_cleanse(bytes.data(), bytes.size()); }

    Bytes bytes;
};

/// Whether the text is whole quanta of the alphabet with padding at its end alone (RFC 4648, section 4).
bool isBase64(std::string_view text) {
    const auto isDigit = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
    };
    if (text.size() % 4 != 0 || !std::in_range<int>(text.size())) {
        return false;
    }
    for (int padding = 0; padding < 2 && text.ends_with('='); ++padding) {
        text.remove_suffix(1);
    }
    return std::all_of(text.begin(), text.end(), isDigit);
}

std::optional<Secret> decodedBase64(std::string_view text) {
    if (!isBase64(text)) {
        return std::nullopt;
    }
    Secret decoded(text.size() / 4 * 3);
    if (EVP_DecodeBlock(decoded.bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                        static_cast<int>(text.size())) < 0) {
        return std::nullopt;
    }
    const auto padding = std::count(text.begin(), text.end(), '=');
    decoded.bytes.resize(decoded.bytes.size() - static_cast<std::size_t>(padding));
    return decoded;
}

/// Keeps the calls in its scope from leaving entries in the thread's error queue, which is the host's.
class ErrorMark {
public:
    ErrorMark() { ERR_set_mark(); }
    ~ErrorMark() { ERR_pop_to_mark(); }
    ErrorMark(const ErrorMark&) = delete;
    ErrorMark& operator=(const ErrorMark&) = delete;
};

[[noreturn]] void fail() {
    throw AESError(AESError::CryptorError, "Encryption failed", ERR_GET_REASON(ERR_peek_last_error()));
}

Bytes crypt(const EVP_CIPHER* cipher, std::uint32_t operation, ByteView key, const std::uint8_t* iv, ByteView input) {
    const ErrorMark mark;
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  EVP_CIPHER_CTX_free);
    if (!context || operation > aesDecrypt ||
        EVP_CipherInit_ex(context.get(), cipher, nullptr, key.data(), iv, operation == aesEncrypt ? 1 : 0) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1) {
        fail();
    }
    constexpr std::size_t mostAtOnce = std::size_t{1} << 30;
    Bytes output(input.size() + blockSize);
    std::size_t produced = 0;
    while (!input.empty()) {
        const ByteView part = input.first(std::min(input.size(), mostAtOnce));
        int written = 0;
        if (EVP_CipherUpdate(context.get(), output.data() + produced, &written, part.data(),
                             static_cast<int>(part.size())) != 1) {
            fail();
        }
        produced += static_cast<std::size_t>(written);
        input = input.subspan(part.size());
    }
    int written = 0;
    if (EVP_CipherFinal_ex(context.get(), output.data() + produced, &written) != 1) {
        fail();
    }
    output.resize(produced + static_cast<std::size_t>(written));
    return output;
}

template <typename Operation>
std::optional<Bytes> withoutErrors(Operation operation) {
    try {
        return operation();
    } catch (const AESError&) {
        return std::nullopt;
    }
}

} // namespace

Bytes AES_CBC(ByteView bytes, std::uint32_t operation, std::string_view key, ByteView iv) {
    const auto secret = decodedBase64(key);
    if (!secret) {
        throw AESError(AESError::KeyError, "Key error decoding base64", 0);
    }
    if (secret->bytes.size() != cbcKeySize) {
        throw AESError(AESError::KeyError, "Key size is incorrect", 1);
    }
    if (iv.size() != blockSize) {
        throw AESError(AESError::IVError, "IV is wrong size", 3);
    }
    return crypt(EVP_aes_256_cbc(), operation, secret->bytes, iv.data(), bytes);
}

Bytes AES_ECB(ByteView bytes, std::uint32_t operation, ByteView key) {
    if (key.size() != ecbKeySize) {
        throw AESError(AESError::KeyError, "Key size is incorrect", 1);
    }
    return crypt(EVP_aes_128_ecb(), operation, key, nullptr, bytes);
}

std::optional<Bytes> encryptWithAESCBC(ByteView bytes, std::string_view key, ByteView iv) {
    return withoutErrors([&] { return AES_CBC(bytes, aesEncrypt, key, iv); });
}

std::optional<Bytes> decryptWithAESCBC(ByteView bytes, std::string_view key, ByteView iv) {
    return withoutErrors([&] { return AES_CBC(bytes, aesDecrypt, key, iv); });
}

std::optional<Bytes> decyptWithAESECB(ByteView bytes, ByteView key) {
    return withoutErrors([&] { return AES_ECB(bytes, aesDecrypt, key); });
}

std::optional<std::string> generateSecureKey() {
    Secret key(cbcKeySize);
    if (!platform::Platform::current().services().random->fill(key.bytes)) {
        return std::nullopt;
    }
    std::array<unsigned char, 45> text{};
    const int length = EVP_EncodeBlock(text.data(), key.bytes.data(), static_cast<int>(key.bytes.size()));
    return std::string(text.begin(), text.begin() + length);
}

} // namespace tarnel
