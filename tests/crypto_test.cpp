/// Compares the cipher, the digest and protected files with bytes that the openssl program
/// produced:
///   openssl enc -aes-256-cbc -K $(printf %s KEY | xxd -p -c 64) -iv $(printf %s VECTOR | xxd -p)

#include <gtest/gtest.h>

#include <thread>

#include "base/hex.h"
#include "base/utf8.h"
#include "crypto/protected_text.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/crypto/encryption_aes.h"
#include "platform/files.h"
#include "platform/heap.h"
#include "tests/fixtures.h"

namespace {

using orv::HeapBuffer;
using orv::HexOf;
using orv::test::ExpectTable;
using orv::test::Fields;
using orv::test::LogCapture;
using orv::test::ReadBytes;
using orv::test::TemporaryFolder;
using orv::test::WriteBytes;

constexpr std::string_view kKey = "A94E27C1B08D4F6E93D5C2E718B04A6F";
/// The initialization vectors of a thread's first three encryptions.
constexpr std::string_view kVectors[] = {"PHQGHUMEAYLNLFDX", "FIRCVSCXGGBWKFNQ",
                                         "DUXWFNFOZVSRTKJP"};
constexpr std::string_view kAlphabet = "abcdefghijklmnopqrstuvwxyz";

const BYTE* BytesOf(std::string_view text) { return reinterpret_cast<const BYTE*>(text.data()); }
DWORD SizeOf(std::string_view text) { return static_cast<DWORD>(text.size()); }

/// A result as bytes; "null" for a null pointer.
std::string Take(BYTE* buffer, DWORD length) {
  const HeapBuffer owned(buffer);
  return buffer == nullptr ? "null" : std::string(reinterpret_cast<char*>(buffer), length);
}

std::string Encrypt(std::string_view key, std::string_view vector, std::string_view plain) {
  DWORD length = 0;
  BYTE* const cipher = AesCbcEncrypt(BytesOf(key), SizeOf(key), BytesOf(vector), SizeOf(vector),
                                     BytesOf(plain), SizeOf(plain), &length);
  return Take(cipher, length);
}

std::string Decrypt(std::string_view key, std::string_view vector, std::string_view cipher) {
  // A buffer of exactly this size, so that the sanitizer reports any read past its end.
  const std::vector<BYTE> exact(cipher.begin(), cipher.end());
  DWORD length = 0;
  BYTE* const plain = AesCbcDecrypt(exact.data(), SizeOf(cipher), BytesOf(key), SizeOf(key),
                                    BytesOf(vector), SizeOf(vector), &length);
  return Take(plain, length);
}

CString DigestOf(std::string_view bytes) {
  BYTE* const buffer = static_cast<BYTE*>(orv::HeapAllocate(bytes.size()));
  std::copy(bytes.begin(), bytes.end(), buffer);
  return Sha256Hex(buffer, SizeOf(bytes));
}

/// The standard output of `call`.
template <typename Call>
std::string PrintedBy(Call call) {
  testing::internal::CaptureStdout();
  call();
  std::string text = testing::internal::GetCapturedStdout();
  std::erase(text, '\r');
  return text;
}

/// The numbers 1 to 20,000, one per line, as `seq 1 20000` prints them.
std::string ManyLines() {
  std::string text;
  for (int i = 1; i <= 20000; ++i) text += std::to_string(i) + "\n";
  return text;
}

TEST(AesCbc, MatchesOpenssl) {
  ExpectTable("aes", [](const Fields& fields) {
    const std::string_view key = kKey.substr(0, std::stoul(fields[0]));
    const std::string_view plain = kAlphabet.substr(0, std::stoul(fields[1]));
    std::string cipher;
    EXPECT_EQ(PrintedBy([&] {
                cipher = Encrypt(key, kVectors[0], plain);
                // Of a longer initialization vector the first block counts.
                EXPECT_EQ(Encrypt(key, "PHQGHUMEAYLNLFDX and more", plain), cipher);
                EXPECT_EQ(Decrypt(key, kVectors[0], cipher), plain);
              }),
              "");
    return HexOf<std::wstring>(cipher);
  });
}

TEST(AesCbc, NamesTheStepThatFails) {
  const std::string block(16, 'x');
  const std::string badKey = "**** Error 0xc000000d returned by BCryptGenerateSymmetricKey\n";
  const std::string badVector = "**** block length is longer than the provided IV length\n";
  const std::string badSize = "**** Error 0xc0000206 returned by BCryptDecrypt\n";
  const std::string badPadding = "**** Error 0xc000003e returned by BCryptDecrypt\n";
  const std::string key(kKey);
  const struct {
    std::string key;
    std::string vector;
    std::string cipher;
    std::string printed;
    bool encrypts = false;
  } cases[] = {{"", block, block, badKey},
               {std::string(31, 'k'), block, block, badKey},
               {std::string(33, 'k'), block, block, badKey},
               {std::string(64, 'k'), block, block, badKey},
               {key, "", block, badVector},
               {key, block.substr(1), block, badVector},
               {"", "", block, badVector},  // the initialization vector is checked before the key
               {key, block, "", badSize, true},
               {key, block, block.substr(1), badSize, true},
               {key, block, block + "x", badSize, true},
               {key, block, block, badPadding, true}};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.printed + std::to_string(test.cipher.size()));
    EXPECT_EQ(PrintedBy([&] { EXPECT_EQ(Decrypt(test.key, test.vector, test.cipher), "null"); }),
              test.printed);
    EXPECT_EQ(PrintedBy([&] {
                EXPECT_EQ(Encrypt(test.key, test.vector, "plain") != "null", test.encrypts);
              }),
              test.encrypts ? "" : test.printed);
  }

  static std::string received;
  orv::SetDiagnosticSink([](const char* line) { received += line; });
  EXPECT_EQ(PrintedBy([&] { Decrypt("", block, block); }), "");
  orv::SetDiagnosticSink(nullptr);
  EXPECT_EQ(received, badKey);

  // In a process of its own, whose output has no orientation yet.
  auto printed = orv::test::RunProgram(ORV_TEST_HELPER, {"diagnose"});
  std::erase(printed.output, '\r');
  EXPECT_EQ(printed.exitCode, 0);
  EXPECT_EQ(printed.output, badVector);
}

TEST(AesCbc, ChecksEveryByteOfThePadding) {
  // A block that already looks padded, and its plain text.
  const struct {
    std::string block;
    std::string plain;
  } cases[] = {{std::string(15, 'a') + '\x01', std::string(15, 'a')},
               {std::string(16, '\x10'), ""},
               {"abcdefghijklmn\x02\x02", "abcdefghijklmn"},
               {"abcdefghijklmn\x01\x02", "null"},
               {std::string(16, '\0'), "null"},
               {std::string(16, '\x11'), "null"},
               {'\x0f' + std::string(15, '\x10'), "null"},
               {std::string(15, 'a') + '\xff', "null"}};
  for (const auto& test : cases) {
    const std::string cipher = Encrypt(kKey, kVectors[0], test.block).substr(0, 16);
    const std::string printed = PrintedBy(
        [&] { EXPECT_EQ(Decrypt(kKey, kVectors[0], cipher), test.plain) << HexOf(test.block); });
    EXPECT_EQ(printed.empty(), test.plain != "null");
  }
}

TEST(Sha256, MatchesSha256sum) {
  EXPECT_EQ(DigestOf(""), L"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(DigestOf("abc"), L"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(DigestOf(std::string(1000000, 'a')),
            L"cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, SaltComesBeforeTheTextAndBothAreUtf8) {
  // printf 'salt\xc3\xa9x\xf0\x9f\x98\x80' | sha256sum
  const CString text = {L'x', static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
  EXPECT_EQ(ComputeSha256Hex(text, L"salt\u00e9"),
            L"929a44d33f9432e17474019c9277152ab32ef22a785e7a2d98005d28df23835a");
  EXPECT_EQ(ComputeSha256Hex(L"", L"abc"), DigestOf("abc"));
  EXPECT_EQ(ComputeSha256Hex(L"abc", L""), DigestOf("abc"));
  EXPECT_EQ(ComputeSha256Hex(L"", L""), L"");
  EXPECT_EQ(ComputeSha256Hex(CString(1, L'\0'), L""), DigestOf(std::string(1, '\0')));
}

/// The initialization vectors of a thread's encryptions, alternately by two objects.
std::vector<std::string> VectorsOfOneThread() {
  CEncryptionAES first("key", "CNF");
  CEncryptionAES second("other key", "CNF");
  std::vector<std::string> vectors;
  for (CEncryptionAES* cipher : {&first, &second, &first}) {
    DWORD length = 0;
    BYTE* const bytes = cipher->EncryptAsBytes(BytesOf("x"), 1, &length);
    vectors.push_back(Take(bytes, length).substr(4, 16));
  }
  return vectors;
}

TEST(EncryptionAes, EveryThreadHasTheSameVectorSequenceSharedByItsObjects) {
  std::vector<std::string> vectors[4];
  std::vector<std::thread> threads;
  for (std::vector<std::string>& own : vectors) {
    threads.emplace_back([&own] { own = VectorsOfOneThread(); });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::vector<std::string>& own : vectors) {
    EXPECT_EQ(own, std::vector<std::string>(std::begin(kVectors), std::end(kVectors)));
  }
}

TEST(EncryptionAes, RepeatsShortKeyTextsAndCutsLongOnes) {
  const std::pair<std::string, std::string> cases[] = {
      {std::string(kKey), std::string(kKey)},
      {std::string(kKey) + "more", std::string(kKey)},
      {"abcdefghijk", "abcdefghijkabcdefghijkabcdefghij"},
      {"a", std::string(32, 'a')},
      {"", std::string(32, '\0')},  // must not hang
  };
  for (const auto& [text, key] : cases) {
    const CEncryptionAES cipher(text, "CNF");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(cipher.m_pKey), cipher.m_nKeyLength), key);
    EXPECT_EQ(cipher.m_nErrorCode, 0u);
  }
}

class ProtectedFile : public testing::Test {
 protected:
  CString Name(const wchar_t* name) { return folder_.Name(name); }
  void Write(const wchar_t* name, std::string_view bytes) {
    WriteBytes(orv::ToPath(Name(name)), bytes);
  }
  std::string Read(const wchar_t* name) { return ReadBytes(orv::ToPath(Name(name))); }
  /// Loads a file; `Log` then returns its messages without the one that starts every load.
  CString Load(const wchar_t* name) {
    Log();
    CString text = CCryptoHelper::LoadFileUTF8(Name(name), nullptr);
    lines_ = Log();
    const CString first = L"TRC Loading file " + Name(name) + L"\n";
    EXPECT_TRUE(lines_.starts_with(first));
    lines_.erase(0, first.size());
    return text;
  }
  /// The messages logged since the last call.
  CString Log() { return std::exchange(lines_, {}) + log_.TakeText(); }

  TemporaryFolder folder_;
  LogCapture log_;
  CString lines_;
};

TEST_F(ProtectedFile, IsAHeaderAndTheBytesOfOpenssl) {
  // A new thread starts with the first initialization vector:
  // (printf 'CNF\001PHQGHUMEAYLNLFDX'; seq 1 20000 | openssl enc ...) | sha256sum
  const std::string plain = ManyLines();
  Write(L"plain", plain);
  std::thread([&] {
    EXPECT_EQ(CCryptoHelper::AesEncryptFile(Name(L"plain"), Name(L"made"), nullptr), 0u);
  }).join();
  EXPECT_EQ(DigestOf(Read(L"made")),
            L"ca3dc9f9cbeea32a69800e27d6d79249e7d25d6a896abca2e49ae848d10b25c6");
  EXPECT_EQ(CCryptoHelper::AesDecryptFile(Name(L"made"), Name(L"back"), nullptr), 0u);
  EXPECT_EQ(Read(L"back"), plain);
  EXPECT_EQ(Log(), L"");
  EXPECT_EQ(Load(L"made"), orv::Utf8ToWide(plain));
  EXPECT_EQ(Log(), L"");
}

TEST_F(ProtectedFile, LoadsPlainAndProtectedTextAlike) {
  ExpectTable("protected", [this](const Fields& fields) {
    Write(L"plain", std::string(fields[0].begin(), fields[0].end()));
    EXPECT_EQ(CCryptoHelper::AesEncryptFile(Name(L"plain"), Name(L"made"), nullptr), 0u);
    CString text = Load(L"plain");
    EXPECT_EQ(Log(), L"");
    EXPECT_EQ(Load(L"made"), text);
    EXPECT_EQ(Log(), L"");
    return text;
  });
}

TEST_F(ProtectedFile, RefusesTruncatedFilesAndWrongHeadersWithTheirCodes) {
  const std::string vector(16, 'V');
  const std::string good = "CNF\x01" + vector + Encrypt(kKey, vector, "text");
  Write(L"good", good);
  ASSERT_EQ(Load(L"good"), L"text");

  const struct {
    std::string bytes;
    const wchar_t* code;
    bool isProtected = true;  ///< otherwise it is loaded as plain text
  } cases[] = {
      {"", L"5", false},
      {"CN", L"5", false},
      {"<xml/>", L"6", false},
      {"CNF", L"5"},
      {std::string("CNF\0", 4) + good.substr(4), L"4"},
      {std::string("CNF\0", 4), L"4"},
      {"CNF\x02" + good.substr(4), L"7"},
      {"CNF\xff" + good.substr(4), L"7"},
      {"CNF is how this text begins", L"7"},
      {"CNF\x01", L"0"},
      {good.substr(0, 19), L"0"},
      {good.substr(0, 20), L"5"},  // a complete initialization vector and nothing after it
      {good.substr(0, 21), L"0"},
      {good.substr(0, 35), L"0"},
      {good + "x", L"0"},
      {good + good.substr(20), L"0"},
  };
  for (const auto& file : cases) {
    SCOPED_TRACE(HexOf(file.bytes));
    Write(L"bad", file.bytes);
    PrintedBy([&] {
      if (file.isProtected) {
        EXPECT_EQ(Load(L"bad"), L"");
        EXPECT_EQ(Log(), L"ERR Error in CEncryptionAES::DecryptAsBytes for file " + Name(L"bad") +
                             L". Error code = " + file.code + L"\n");
      }
      EXPECT_EQ(CCryptoHelper::AesDecryptFile(Name(L"bad"), Name(L"out"), nullptr), 1u);
      EXPECT_EQ(Log(), CString(L"ERR Error ") + file.code +
                           L" while decrypting the content of file " + Name(L"bad") + L"\r\n\n");
    });
    EXPECT_FALSE(std::filesystem::exists(orv::ToPath(Name(L"out"))));
  }
}

TEST_F(ProtectedFile, LogsWhyAFileIsNotLoaded) {
  Write(L"empty", "");
  ASSERT_EQ(CCryptoHelper::AesEncryptFile(Name(L"empty"), Name(L"made"), nullptr), 0u);
  EXPECT_EQ(Read(L"made").size(), 36u);
  Write(L"large", std::string(10'000'000, ' '));
  EXPECT_EQ(Load(L"large").size(), 10'000'000u);
  EXPECT_EQ(Log(), L"");
  Write(L"large", std::string(10'000'001, ' '));
  const std::pair<const wchar_t*, CString> cases[] = {
      {L"none", L"The file " + Name(L"none") + L" does not exist"},
      {L"empty", L"Unable to convert unencrypted file content to UTF-8 for file " + Name(L"empty")},
      {L"made", L"Unable to convert decrypted file content to UTF-8 for file " + Name(L"made")},
      {L"large", L"The file " + Name(L"large") + L" is too large"},
  };
  for (const auto& [name, message] : cases) {
    EXPECT_EQ(Load(name), L"");
    EXPECT_EQ(Log(), L"ERR " + message + L"\n");
  }
#if !defined(_WIN32)
  // The system states a larger size than the first file has, and a smaller one for the second.
  for (const wchar_t* const path : {L"/sys/devices/system/cpu/online", L"/proc/self/comm"}) {
    orv::TextFailure failure;
    EXPECT_EQ(orv::LoadProtectedText(path, nullptr, &failure), L"");
    EXPECT_EQ(failure.reason, orv::kChangedFile);
    EXPECT_EQ(CCryptoHelper::AesEncryptFile(path, Name(L"none"), nullptr), 1u);
  }
  EXPECT_FALSE(std::filesystem::exists(folder_.path() / "none"));
  Log();
#endif
  // A file that is too large to load can still be converted.
  EXPECT_EQ(CCryptoHelper::AesEncryptFile(Name(L"large"), Name(L"made"), nullptr), 0u);
  EXPECT_EQ(Read(L"made").size(), 10'000'016u + 20u);
  // A folder has no size.
  EXPECT_THROW(CCryptoHelper::LoadFileUTF8(folder_.Name(), nullptr),
               std::filesystem::filesystem_error);
}

TEST_F(ProtectedFile, ConversionsNeedASourceAndATarget) {
  Write(L"plain", "text");
  ASSERT_EQ(CCryptoHelper::AesEncryptFile(Name(L"plain"), Name(L"made"), nullptr), 0u);
  const std::filesystem::path empty = folder_.path() / "empty";
  std::filesystem::create_directory(empty);
  const CString nowhere = Name(L"no folder") + orv::kPathSeparator + L"out";
  for (const bool encrypts : {true, false}) {
    const auto convert = encrypts ? &CCryptoHelper::AesEncryptFile : &CCryptoHelper::AesDecryptFile;
    const CString source = Name(encrypts ? L"plain" : L"made");
    for (const CString& missing : {Name(L"none"), folder_.Name()}) {
      EXPECT_EQ(convert(missing, Name(L"new"), nullptr), 1u);
      EXPECT_EQ(Log(), L"ERR Unable to open the source file " + missing + L"\r\n\n");
    }
    EXPECT_FALSE(std::filesystem::exists(orv::ToPath(Name(L"new"))));

    for (const CString& target : {nowhere, Name(L"empty"), folder_.Name()}) {
      EXPECT_EQ(convert(source, target, nullptr), 1u);
      EXPECT_EQ(Log(), L"ERR Fatal Error: Unable to create target file " + target + L"\r\n\n");
    }
    EXPECT_TRUE(std::filesystem::is_directory(empty));

    // The old target is deleted first; none of its bytes remain.
    Write(L"out", std::string(1000, 'o'));
    EXPECT_EQ(convert(source, Name(L"out"), nullptr), 0u);
    EXPECT_EQ(Read(L"out").size(), encrypts ? 36u : 4u);
    EXPECT_EQ(Log(), L"");
  }
}

}  // namespace
