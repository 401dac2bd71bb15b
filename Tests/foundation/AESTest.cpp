#include "support/TestPlatform.hpp"

#include <TarnelSDK/foundation/AES.hpp>

#include <gmock/gmock.h>

#include <string>
#include <string_view>

namespace tarnel {
namespace {

constexpr const char* key16 = "YD3rEBXKcb4rc67whX13gQ==";
constexpr const char* key24 = "YD3rEBXKcb4rc67whX13gR81LAc7YQjX";
constexpr const char* key32 = "YD3rEBXKcb4rc67whX13gR81LAc7YQjXLZgQowkU3/Q=";
constexpr const char* key33 = "YD3rEBXKcb4rc67whX13gR81LAc7YQjXLZgQowkU3/QA";

Bytes hex(std::string_view digits) {
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
    }
    return bytes;
}

// The examples of NIST SP 800-38A, F.1 and F.2.
const Bytes plaintext = hex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
                            "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
const Bytes iv = hex("000102030405060708090a0b0c0d0e0f");
const Bytes cbcCiphertext = hex("f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
                                "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b");
const Bytes ecbKey = hex("2b7e151628aed2a6abf7158809cf4f3c");
const Bytes ecbCiphertext = hex("3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf"
                                "43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4");

/// What the operation throws, as "case text code".
template <typename Operation>
std::string errorOf(Operation operation) {
    try {
        operation();
    } catch (const AESError& error) {
        const char* names[] = {"KeyError", "IVError", "CryptorError"};
        return names[error.kind()] + (" " + error.text() + " ") + std::to_string(error.code());
    }
    return "none";
}

std::string cbcError(std::string_view key, ByteView vector) {
    return errorOf([&] { AES_CBC(plaintext, aesEncrypt, key, vector); });
}

TEST(AESCBC, EncryptsAndDecryptsThePublishedExample) {
    EXPECT_EQ(encryptWithAESCBC(plaintext, key32, iv), cbcCiphertext);
    EXPECT_EQ(decryptWithAESCBC(cbcCiphertext, key32, iv), plaintext);
    EXPECT_EQ(AES_CBC(plaintext, 0, key32, iv), cbcCiphertext);
    EXPECT_EQ(AES_CBC(cbcCiphertext, 1, key32, iv), plaintext);
}

TEST(AESCBC, RefusesKeysThatAreNotBase64) {
    for (const char* key : {"*", "YD3r=", "YD3rE", "YD=rEBXK", "YD3rEB==YD3r", "YD3r EBX", "Y===", "===="}) {
        EXPECT_EQ(cbcError(key, iv), "KeyError Key error decoding base64 0") << key;
    }
}

TEST(AESCBC, RefusesEveryKeyLengthButThirtyTwoBytes) {
    for (const char* key : {"", key16, key24, key33}) {
        EXPECT_EQ(cbcError(key, iv), "KeyError Key size is incorrect 1") << key;
    }
    EXPECT_EQ(cbcError(key32, iv), "none");
}

TEST(AESCBC, RefusesEveryInitialisationVectorButOneOfSixteenBytes) {
    EXPECT_EQ(cbcError(key32, Bytes(15)), "IVError IV is wrong size 3");
    EXPECT_EQ(cbcError(key32, Bytes(17)), "IVError IV is wrong size 3");
    EXPECT_EQ(cbcError(key32, {}), "IVError IV is wrong size 3");
}

TEST(AESCBC, LooksAtTheKeyBeforeTheInitialisationVector) {
    EXPECT_EQ(cbcError("*", {}), "KeyError Key error decoding base64 0");
    EXPECT_EQ(cbcError(key16, {}), "KeyError Key size is incorrect 1");
}

TEST(AESCBC, EncryptsWholeBlocksWithoutPaddingAndNothingElse) {
    EXPECT_EQ(encryptWithAESCBC(Bytes(16), key32, iv)->size(), 16U);
    EXPECT_EQ(encryptWithAESCBC(Bytes(17), key32, iv), std::nullopt);
    EXPECT_EQ(encryptWithAESCBC(Bytes(15), key32, iv), std::nullopt);
    EXPECT_EQ(decryptWithAESCBC(Bytes(17), key32, iv), std::nullopt);
    EXPECT_EQ(encryptWithAESCBC({}, key32, iv), Bytes());
}

TEST(AESCBC, ReportsAFailureOfTheCipherWithTheSameTextInBothDirections) {
    for (const auto operation : {aesEncrypt, aesDecrypt}) {
        EXPECT_THAT(errorOf([&] { AES_CBC(Bytes(17), operation, key32, iv); }),
                    ::testing::MatchesRegex("CryptorError Encryption failed [1-9][0-9]*"));
    }
}

TEST(AESCBC, RefusesAnUnknownOperation) {
    EXPECT_THAT(errorOf([&] { AES_CBC(plaintext, 2, key32, iv); }), ::testing::StartsWith("CryptorError"));
}

TEST(AESCBC, WrappersTurnEveryErrorIntoNothing) {
    EXPECT_EQ(encryptWithAESCBC(plaintext, "*", iv), std::nullopt);
    EXPECT_EQ(encryptWithAESCBC(plaintext, key24, iv), std::nullopt);
    EXPECT_EQ(decryptWithAESCBC(cbcCiphertext, key32, Bytes(15)), std::nullopt);
}

TEST(AESECB, EncryptsAndDecryptsThePublishedExample) {
    EXPECT_EQ(AES_ECB(plaintext, aesEncrypt, ecbKey), ecbCiphertext);
    EXPECT_EQ(AES_ECB(ecbCiphertext, aesDecrypt, ecbKey), plaintext);
    EXPECT_EQ(decyptWithAESECB(ecbCiphertext, ecbKey), plaintext);
}

TEST(AESECB, RefusesEveryKeyLengthButSixteenBytes) {
    for (const std::size_t size : {0U, 15U, 17U, 24U, 32U}) {
        EXPECT_EQ(errorOf([&] { AES_ECB(plaintext, aesDecrypt, Bytes(size)); }), "KeyError Key size is incorrect 1");
        EXPECT_EQ(decyptWithAESECB(ecbCiphertext, Bytes(size)), std::nullopt);
    }
}

TEST(AESECB, RefusesInputThatIsNoWholeNumberOfBlocks) {
    EXPECT_EQ(decyptWithAESECB(Bytes(17), ecbKey), std::nullopt);
    EXPECT_THAT(errorOf([&] { AES_ECB(Bytes(17), aesDecrypt, ecbKey); }), ::testing::StartsWith("CryptorError"));
}

TEST(SecureKeys, AreFortyFourCharactersOfBase64ThatEncrypt) {
    const test::TestPlatform platform;
    const auto key = generateSecureKey();
    ASSERT_TRUE(key.has_value());
    EXPECT_THAT(*key, ::testing::MatchesRegex("[A-Za-z0-9+/]*="));
    EXPECT_EQ(key->size(), 44U);
    EXPECT_NE((*key)[42], '=');
    EXPECT_TRUE(encryptWithAESCBC(plaintext, *key, iv).has_value());
}

TEST(SecureKeys, DifferFromOneAnother) {
    const test::TestPlatform platform;
    const auto first = generateSecureKey();
    EXPECT_NE(generateSecureKey(), first);
}

TEST(SecureKeys, AreNotMadeWhenTheRandomSourceFails) {
    const test::TestPlatform platform;
    platform.random->setFails(true);
    EXPECT_EQ(generateSecureKey(), std::nullopt);
}

} // namespace
} // namespace tarnel
