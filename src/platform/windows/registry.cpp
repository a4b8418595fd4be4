#include "orv/platform/registry.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>

#include "platform/letter_case.h"
#include "platform/registry_cache.h"

namespace orv {
namespace {

/// The maximum lengths of names in the registry, in characters without the terminator.
constexpr DWORD kMaxKeyName = 255;
constexpr DWORD kMaxValueName = 16383;

bool PrecedesByName(const std::wstring& left, const std::wstring& right) {
  return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                              static_cast<int>(right.size()), TRUE) == CSTR_LESS_THAN;
}

/// The value of a sub-key that says how to read it: bytes while its other values are being written,
/// with all of them, and a number that every write changes once they are complete.
constexpr wchar_t kRevision[] = L"Revision";

/// A reader tries again when a writer has changed what it reads. Each time a write was completed,
/// so this many in a row do not happen.
constexpr int kMaxAttempts = 100;

/// Values as bytes after the revision's number.
class Packed {
 public:
  explicit Packed(DWORD revision) { Add(revision); }

  void Add(const NamedRegistryValue& named) {
    Add(static_cast<DWORD>(named.name.size()));
    AddBytes(named.name.data(), named.name.size() * sizeof(wchar_t));
    Add(named.value.type);
    Add(static_cast<DWORD>(named.value.data.size()));
    AddBytes(named.value.data.data(), named.value.data.size());
  }

  RegistryValue Take() { return {REG_BINARY, std::move(bytes_)}; }

 private:
  void Add(DWORD number) { AddBytes(&number, sizeof(number)); }
  void AddBytes(const void* from, std::size_t size) {
    const auto* const first = static_cast<const BYTE*>(from);
    bytes_.insert(bytes_.end(), first, first + size);
  }

  std::vector<BYTE> bytes_;
};

/// Reads what `Packed` wrote. Every function returns false at the end of the bytes.
class Unpacker {
 public:
  explicit Unpacker(std::span<const BYTE> bytes) : rest_(bytes) {}

  bool Read(DWORD* number) { return ReadBytes(number, sizeof(*number)); }
  bool Read(NamedRegistryValue* named) {
    DWORD length = 0;
    if (!Read(&length) || length > rest_.size() / sizeof(wchar_t)) return false;
    named->name.resize(length);
    DWORD size = 0;
    if (!ReadBytes(named->name.data(), length * sizeof(wchar_t)) || !Read(&named->value.type) ||
        !Read(&size) || size > rest_.size()) {
      return false;
    }
    named->value.data.resize(size);
    return ReadBytes(named->value.data.data(), size);
  }
  bool IsAtEnd() const { return rest_.empty(); }

 private:
  bool ReadBytes(void* to, std::size_t size) {
    if (size > rest_.size()) return false;
    if (size != 0) std::memcpy(to, rest_.data(), size);
    rest_ = rest_.subspan(size);
    return true;
  }

  std::span<const BYTE> rest_;
};

/// Reads the values that a revision holds. Returns false if it holds none, so that the sub-key's
/// own values are complete.
bool Unpack(const RegistryValue& revision, std::vector<NamedRegistryValue>* values) {
  if (revision.type != REG_BINARY) return false;
  Unpacker packed(revision.data);
  DWORD number = 0;
  if (!packed.Read(&number)) return false;
  values->clear();
  while (!packed.IsAtEnd()) {
    if (!packed.Read(&values->emplace_back())) return false;
  }
  return true;
}

/// The number of a revision in either form; 0 without one.
DWORD NumberOf(const RegistryValue& revision) {
  DWORD number = 0;
  Unpacker(revision.data).Read(&number);
  return number;
}

/// Reads the revision of a sub-key; empty if it has none.
LONG ReadRevision(HKEY key, RegistryValue* revision) {
  const LONG result = GetRegistryValue(key, kRevision, revision);
  return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

/// Reads the values of a sub-key as one state, without its revision.
LONG ReadValues(HKEY key, std::vector<NamedRegistryValue>* values, DWORD* revision) {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    RegistryValue before;
    LONG result = ReadRevision(key, &before);
    *revision = NumberOf(before);
    if (result == ERROR_SUCCESS && Unpack(before, values)) return ERROR_SUCCESS;
    if (result == ERROR_SUCCESS) result = ListRegistryValues(key, values);
    RegistryValue after;
    if (result == ERROR_SUCCESS) result = ReadRevision(key, &after);
    if (result != ERROR_SUCCESS) return result;
    if (before.type != after.type || before.data != after.data) continue;
    std::erase_if(*values, [](const NamedRegistryValue& named) {
      return EqualIgnoringCase(named.name, kRevision);
    });
    return ERROR_SUCCESS;
  }
  return ERROR_BUSY;
}

/// Writes the values of a sub-key so that `ReadValues` finds the old ones or the new ones.
LONG WriteValues(HKEY key, const std::vector<NamedRegistryValue>& values) {
  std::vector<NamedRegistryValue> whole;
  DWORD revision = 0;
  LONG result = ReadValues(key, &whole, &revision);
  if (result != ERROR_SUCCESS) return result;
  for (const NamedRegistryValue& named : values) {
    std::erase_if(whole, [&](const NamedRegistryValue& old) {
      return EqualIgnoringCase(old.name, named.name);
    });
    whole.push_back(named);
  }
  Packed packed(++revision);
  for (const NamedRegistryValue& named : whole) packed.Add(named);
  result = SetRegistryValue(key, kRevision, packed.Take());
  for (const NamedRegistryValue& named : whole) {
    if (result == ERROR_SUCCESS) result = SetRegistryValue(key, named.name, named.value);
  }
  return result != ERROR_SUCCESS
             ? result
             : SetRegistryValue(key, kRevision, RegistryValue::FromNumber(revision));
}

/// Lets one process of the login session write at a time: of two writers of a sub-key, each would
/// replace the other's revision too early.
class WriterLock {
 public:
  // With only the rights that it needs: an elevated process of the same user, which may have
  // created the mutex, does not grant all of them.
  WriterLock()
      : mutex_(CreateMutexExW(nullptr, L"Local\\orv_registry_writer", 0,
                              SYNCHRONIZE | MUTEX_MODIFY_STATE)) {
    constexpr DWORD kMilliseconds = 10000;
    const DWORD waited =
        mutex_ != nullptr ? WaitForSingleObject(mutex_, kMilliseconds) : WAIT_FAILED;
    // If a writer is killed while it holds the mutex, its revision contains all values, so readers
    // and the next writer can continue.
    isHeld_ = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
  }
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;
  ~WriterLock() {
    if (isHeld_) ReleaseMutex(mutex_);
    if (mutex_ != nullptr) CloseHandle(mutex_);
  }

  bool IsHeld() const { return isHeld_; }

 private:
  HANDLE mutex_;
  bool isHeld_ = false;
};

/// What changes when a sub-key is created or deleted. An enumeration meanwhile may skip others.
struct KeyState {
  DWORD subKeys = 0;
  FILETIME written = {};
};

LONG ReadState(HKEY key, KeyState* state) {
  return RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &state->subKeys, nullptr, nullptr,
                          nullptr, nullptr, nullptr, nullptr, &state->written);
}

bool IsSame(const KeyState& a, const KeyState& b) {
  return a.subKeys == b.subKeys && CompareFileTime(&a.written, &b.written) == 0;
}

/// Whether a result means that a key has been deleted since it was listed.
bool IsGone(LONG result) { return result == ERROR_FILE_NOT_FOUND || result == ERROR_KEY_DELETED; }

/// Reads all sub-keys that are complete.
LONG ReadAll(HKEY key, std::vector<RegistrySubKey>* subKeys) {
  std::vector<std::wstring> names;
  LONG result = ListRegistryKeys(key, &names);
  for (std::wstring& name : names) {
    if (result != ERROR_SUCCESS) break;
    RegistryKey open;
    RegistrySubKey subKey{std::move(name), {}};
    DWORD revision = 0;
    result = open.Open(key, subKey.name, RegistryAccess::kRead);
    if (result == ERROR_SUCCESS) result = ReadValues(open.get(), &subKey.values, &revision);
    if (IsGone(result)) {
      result = ERROR_SUCCESS;
    } else if (!subKey.values.empty()) {
      subKeys->push_back(std::move(subKey));
    }
  }
  return result;
}

LONG MakeChange(const RegistryChange& change) {
  using Kind = RegistryChange::Kind;
  LONG result = ERROR_SUCCESS;
  if (change.kind == Kind::kDeleteKey) {
    result = DeleteRegistryTree(change.root, change.path);
    return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
  }
  // The system would refuse the name too, but the new key would be left.
  if (change.kind == Kind::kSetValue && change.name.size() > kMaxValueName) {
    return ERROR_INVALID_PARAMETER;
  }
  RegistryKey key;
  result = key.Create(change.root, change.path);
  if (result != ERROR_SUCCESS || change.kind == Kind::kMakeKey) return result;
  if (change.kind == Kind::kSetValue) {
    return SetRegistryValue(key.get(), change.name, change.value);
  }
  result = DeleteRegistryValue(key.get(), change.name);
  return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

}  // namespace

LONG RegistryKey::Open(HKEY parent, const std::wstring& path, RegistryAccess access) {
  Close();
  const REGSAM rights = access == RegistryAccess::kRead ? KEY_READ : KEY_READ | KEY_WRITE;
  return RegOpenKeyExW(parent, path.c_str(), 0, rights, &key_);
}

LONG RegistryKey::Create(HKEY parent, const std::wstring& path) {
  Close();
  return RegCreateKeyExW(parent, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                         KEY_READ | KEY_WRITE, nullptr, &key_, nullptr);
}

void RegistryKey::Close() {
  if (key_ != nullptr) RegCloseKey(key_);
  key_ = nullptr;
}

LONG GetRegistryValue(HKEY key, const std::wstring& name, RegistryValue* value) {
  DWORD size = 0;
  LONG result = RegQueryValueExW(key, name.c_str(), nullptr, &value->type, nullptr, &size);
  // Another process may enlarge the value between the two calls.
  while (result == ERROR_SUCCESS) {
    value->data.resize(size);
    BYTE none = 0;
    BYTE* const data = size != 0 ? value->data.data() : &none;
    result = RegQueryValueExW(key, name.c_str(), nullptr, &value->type, data, &size);
    if (result == ERROR_SUCCESS) {
      value->data.resize(size);
      return result;
    }
    if (result == ERROR_MORE_DATA) result = ERROR_SUCCESS;
  }
  *value = {};
  return result;
}

LONG SetRegistryValue(HKEY key, const std::wstring& name, const RegistryValue& value) {
  return RegSetValueExW(key, name.c_str(), 0, value.type, value.data.data(),
                        static_cast<DWORD>(value.data.size()));
}

LONG DeleteRegistryValue(HKEY key, const std::wstring& name) {
  return RegDeleteValueW(key, name.c_str());
}

LONG DeleteRegistryTree(HKEY parent, const std::wstring& path) {
  return RegDeleteTreeW(parent, path.c_str());
}

LONG ReadRegistryKeys(HKEY key, std::vector<RegistrySubKey>* subKeys) {
  KeyState before;
  LONG result = ReadState(key, &before);
  for (int attempt = 0; result == ERROR_SUCCESS && attempt < kMaxAttempts; ++attempt) {
    subKeys->clear();
    KeyState after;
    result = ReadAll(key, subKeys);
    if (result == ERROR_SUCCESS) result = ReadState(key, &after);
    if (result == ERROR_SUCCESS && IsSame(before, after)) return ERROR_SUCCESS;
    before = after;
  }
  subKeys->clear();
  return result != ERROR_SUCCESS ? result : ERROR_BUSY;
}

LONG ReadChangedRegistryKeys(HKEY key, const KnownStamps&, std::vector<StampedSubKey>* subKeys) {
  std::vector<RegistrySubKey> read;
  const LONG result = ReadRegistryKeys(key, &read);
  subKeys->clear();
  for (RegistrySubKey& one : read) subKeys->push_back({std::move(one), 0, false});
  return result;
}

std::uint64_t RegistryVersion(HKEY) { return 0; }

LONG WriteRegistryKeys(HKEY key, std::span<const RegistrySubKey> subKeys) {
  const WriterLock lock;
  if (!lock.IsHeld()) return ERROR_BUSY;
  for (const RegistrySubKey& subKey : subKeys) {
    RegistryKey open;
    LONG result = open.Create(key, subKey.name);
    if (result == ERROR_SUCCESS) result = WriteValues(open.get(), subKey.values);
    if (result != ERROR_SUCCESS) return result;
  }
  return ERROR_SUCCESS;
}

LONG ChangeRegistry(std::span<const RegistryChange> changes, std::size_t* failed) {
  LONG result = ERROR_SUCCESS;
  for (*failed = 0; *failed < changes.size(); ++*failed) {
    result = MakeChange(changes[*failed]);
    if (result != ERROR_SUCCESS) break;
  }
  return result;
}

std::wstring RegistryStoreName(HKEY hive) {
  return hive == HKEY_CURRENT_USER ? L"HKEY_CURRENT_USER" : L"HKEY_LOCAL_MACHINE";
}

RegistrySnapshot::RegistrySnapshot() = default;
RegistrySnapshot::~RegistrySnapshot() = default;

LONG ListRegistryKeys(HKEY key, std::vector<std::wstring>* names) {
  names->clear();
  wchar_t name[kMaxKeyName + 1];
  for (DWORD index = 0;; ++index) {
    DWORD length = kMaxKeyName + 1;
    const LONG result =
        RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (result == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (result != ERROR_SUCCESS) return result;
    names->emplace_back(name, length);
  }
}

LONG ListRegistryValues(HKEY key, std::vector<NamedRegistryValue>* values) {
  values->clear();
  std::wstring name(kMaxValueName + 1, L'\0');
  std::vector<BYTE> data(256);  // enough for most values; grows if needed
  for (DWORD index = 0;;) {
    DWORD length = kMaxValueName + 1;
    DWORD type = 0;
    auto size = static_cast<DWORD>(data.size());
    const LONG result =
        RegEnumValueW(key, index, name.data(), &length, nullptr, &type, data.data(), &size);
    if (result == ERROR_NO_MORE_ITEMS) break;
    if (result == ERROR_MORE_DATA) {
      data.resize(std::max<std::size_t>(size, data.size() * 2));
      continue;
    }
    if (result != ERROR_SUCCESS) return result;
    values->push_back({name.substr(0, length), {type, {data.data(), data.data() + size}}});
    ++index;
  }
  // The system orders sub-keys by name, and values by creation.
  std::ranges::sort(*values, PrecedesByName, &NamedRegistryValue::name);
  return ERROR_SUCCESS;
}

}  // namespace orv
