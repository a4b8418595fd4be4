/// Protected files and the openssl program read each other's output, at every length around a
/// block.

#include <gtest/gtest.h>

#include "base/hex.h"
#include "orv/crypto/crypto_helper.h"
#include "platform/files.h"
#include "tests/fixtures.h"

namespace {

using orv::HexOf;

TEST(Openssl, IsCompatibleWithProtectedFiles) {
  const orv::test::TemporaryFolder folder;
  const auto file = [&](const char* name) { return (folder.path() / name).string(); };
  const auto name = [&](const wchar_t* text) { return folder.Name(text); };
  const auto openssl = [&](const char* direction, const std::string& vector) {
    const orv::test::ProgramResult result =
        orv::test::RunProgram(ORV_OPENSSL, {"enc", direction, "-aes-256-cbc", "-K",
                                            HexOf("A94E27C1B08D4F6E93D5C2E718B04A6F"), "-iv",
                                            HexOf(vector), "-in", file("in"), "-out", file("out")});
    EXPECT_EQ(result.exitCode, 0) << result.messages;
    return orv::test::ReadBytes(file("out"));
  };

  for (const std::size_t size : {0, 1, 15, 16, 17, 31, 32, 33, 40000}) {
    std::string plain;
    for (std::size_t i = 0; i < size; ++i) plain.push_back(static_cast<char>(i * 7));
    orv::test::WriteBytes(file("plain"), plain);
    ASSERT_EQ(CCryptoHelper::AesEncryptFile(name(L"plain"), name(L"made"), nullptr), 0u);
    const std::string made = orv::test::ReadBytes(file("made"));
    ASSERT_GE(made.size(), 36u);
    const std::string vector = made.substr(4, 16);

    orv::test::WriteBytes(file("in"), made.substr(20));
    EXPECT_EQ(openssl("-d", vector), plain) << size;
    orv::test::WriteBytes(file("in"), plain);
    EXPECT_EQ("CNF\x01" + vector + openssl("-e", vector), made) << size;
  }
}

}  // namespace
