#include <cstring>
#include <memory>

#include "fuzz/targets.h"
#include "orv/config/config_parser.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/crypto/encryption_aes.h"
#include "platform/files.h"
#include "platform/heap.h"

namespace orv::fuzz {

void ConfigFile(Input input) {
  const std::wstring file = FromPath(AsFile(input));
  Config* loaded = nullptr;
  const bool isGood = CConfigParser::Load(file, &loaded, nullptr, nullptr);
  const std::unique_ptr<Config> config(loaded);
  Require(isGood == (config != nullptr),
          "a configuration is returned if and only if loading succeeds");
}

void ProtectedFile(Input input) {
  CEncryptionAES cipher("a key of any length", "CNF");
  const auto size = static_cast<DWORD>(input.size());
  // The buffer has exactly this size, so the sanitizer detects a read past its end.
  const auto exact = std::make_unique<BYTE[]>(input.size());
  std::copy(input.begin(), input.end(), exact.get());
  DWORD length = 0;
  DWORD code = 0;
  const HeapBuffer rejected(cipher.DecryptAsBytes(exact.get(), size, &length, &code));
  if (size > 0) {
    const HeapBuffer hidden(cipher.EncryptAsBytes(exact.get(), size, &length));
    Require(hidden != nullptr, "bytes can be encrypted");
    DWORD plainLength = 0;
    const HeapBuffer plain(cipher.DecryptAsBytes(hidden.get(), length, &plainLength, &code));
    Require(plain != nullptr && plainLength == size, "encrypted bytes can be decrypted");
    Require(std::memcmp(plain.get(), exact.get(), size) == 0, "decryption restores the same bytes");
    // One wrong byte anywhere causes an error or different bytes, and nothing worse.
    hidden[input[0] % length] ^= static_cast<BYTE>(1 + input[size - 1] % 255);
    const HeapBuffer damaged(cipher.DecryptAsBytes(hidden.get(), length, &plainLength, &code));
  }
  CCryptoHelper::LoadFileUTF8(FromPath(AsFile(input)), nullptr);
}

}  // namespace orv::fuzz
