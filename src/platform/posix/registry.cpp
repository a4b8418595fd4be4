#include "orv/platform/registry.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "base/utf8.h"
#include "orv/platform/lock.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/posix/hive.h"
#include "platform/posix/user_folder.h"
#include "platform/registry_cache.h"

/// The settings store in SQLite: one file per hive.
///
/// One lock guards all state here. It is held during a fork, so that a child never inherits a
/// connection in the middle of a call. SQLite's file locks coordinate the processes.

namespace orv {
namespace {

constexpr std::size_t kMaxKeyName = 255;
constexpr std::size_t kMaxValueName = 16383;
constexpr std::size_t kMaxDepth = 512;

/// How many objects share the thread's current request.
thread_local int theRequestObjects = 0;

/// The form of a name that is compared.
std::string Fold(const std::wstring& name) { return WideToUtf8(UpperCase(name)); }

/// Whether the store can keep a name: UTF-8 has no half of a surrogate pair.
bool IsStorable(const std::wstring& name) {
  const auto isCharacter = [](wchar_t unit) {
    return unit < 0xD800 || (unit > 0xDFFF && unit <= 0xFFFF);
  };
  return std::ranges::all_of(name, isCharacter) || Utf8ToWide(WideToUtf8(name)) == name;
}

std::wstring UpToTerminator(const std::wstring& text) { return text.substr(0, text.find(L'\0')); }

/// An open key.
struct KeyHandle {
  std::shared_ptr<Hive> hive;  ///< keeps the store in which it was opened
  int generation = 0;          ///< the hive's generation when `row` was read
  sqlite3_int64 row = kRootKey;
  bool writable = false;
  std::size_t depth = 0;
};

struct Store {
  Lock lock;
  std::string folder;         ///< `ORV_REGISTRY_DIR` when the hives were located
  std::uint64_t request = 0;  ///< the last request for which that was checked
  std::shared_ptr<Hive> user;
  std::shared_ptr<Hive> machine;
  std::unordered_map<std::uintptr_t, KeyHandle> handles;
  std::uintptr_t nextHandle = 0x100;
};

/// Never destroyed: keys may be closed by destructors that run after the library's own.
Store& TheStore() {
  static Store* const store = [] {
    auto* made = new Store;
    pthread_atfork([] { TheStore().lock.lock(); }, [] { TheStore().lock.unlock(); },
                   [] { TheStore().lock.unlock(); });
    return made;
  }();
  return *store;
}

/// Locks the store. Another thread may hold it while it waits for a locked file, so the time counts
/// as such a wait.
std::unique_lock<Lock> LockStore(Store* store) {
  Request& request = Request::OfThread();
  if (request.number == 0) request = {};  // each call is a request of its own
  std::unique_lock guard(store->lock, std::try_to_lock);
  if (!guard) {
    const auto start = std::chrono::steady_clock::now();
    guard.lock();
    request.waited += std::chrono::steady_clock::now() - start;
  }
  return guard;
}

/// Locates the hives' files, again if the environment variable has changed since the last request.
void LocateHives(Store* store) {
  const std::uint64_t request = Request::OfThread().number;
  if (request != 0 && request == store->request) return;
  store->request = request;
  const char* const variable = std::getenv("ORV_REGISTRY_DIR");
  const std::string_view folder = variable != nullptr ? variable : "";
  if (store->user != nullptr && folder == store->folder) return;
  store->folder = folder;
  std::string userFolder = store->folder;
  std::string machineFolder = store->folder;
  if (folder.empty()) {
    userFolder = UserFolder("XDG_DATA_HOME", ".local/share");
    if (!userFolder.empty()) userFolder += "/orv";
    machineFolder = "/var/lib/orv";
  }
  store->user = std::make_shared<Hive>(userFolder.empty() ? "" : userFolder + "/user.sqlite");
  store->machine = std::make_shared<Hive>(machineFolder + "/machine.sqlite");
}

/// The open key of a handle; nothing if the handle is invalid.
std::optional<KeyHandle> Resolve(Store* store, HKEY key) {
  if (key == HKEY_CURRENT_USER || key == HKEY_LOCAL_MACHINE) {
    LocateHives(store);
    return KeyHandle{key == HKEY_CURRENT_USER ? store->user : store->machine, 0, kRootKey, true, 0};
  }
  const auto found = store->handles.find(reinterpret_cast<std::uintptr_t>(key));
  if (found == store->handles.end()) return std::nullopt;
  return found->second;
}

/// Runs `work(store, key)` on the key of a handle, in one request to its hive.
template <typename Work>
LONG Resolved(HKEY handle, Work work) {
  Store& store = TheStore();
  const std::unique_lock guard = LockStore(&store);
  const std::optional<KeyHandle> key = Resolve(&store, handle);
  if (!key) return ERROR_INVALID_HANDLE;
  return key->hive->InRequest([&] { return work(&store, *key); });
}

/// The same for a key whose hive can be read. Returns `ERROR_FILE_NOT_FOUND` if the store has no
/// file.
template <typename Work>
LONG Reach(HKEY handle, Work work) {
  return Resolved(handle, [&](Store* store, const KeyHandle& key) {
    const LONG result = key.hive->PrepareRead(Request::OfThread().number);
    if (key.row != kRootKey &&
        (result == ERROR_FILE_NOT_FOUND || key.generation != key.hive->generation())) {
      return ERROR_KEY_DELETED;
    }
    return result == ERROR_SUCCESS ? work(store, key) : result;
  });
}

/// Runs `work(store, key, content)` on a key with its content.
template <typename Work>
LONG Read(HKEY handle, Work work) {
  return Reach(handle, [&](Store* store, const KeyHandle& key) {
    const KeyContent* content = nullptr;
    const LONG result = key.hive->ReadKey(key.row, &content);
    if (result != ERROR_SUCCESS) return result;
    return content->isThere ? work(store, key, *content) : ERROR_KEY_DELETED;
  });
}

enum class MissingFile { kCreate, kReport };

LONG PrepareWrite(Hive* hive, MissingFile missingFile) {
  return missingFile == MissingFile::kCreate ? hive->PrepareWrite() : hive->PrepareRead();
}

/// Begins to write a hive that is prepared, for a key that must be there.
LONG BeginWrite(Hive* hive, sqlite3_int64 row, std::optional<Transaction>* transaction) {
  transaction->emplace(hive, kBeginWrite);
  if ((*transaction)->result() != ERROR_SUCCESS) return (*transaction)->result();
  hive->Forget();
  const LONG result = hive->Upgrade();
  return result == ERROR_SUCCESS ? hive->FindKey(row) : result;
}

/// Runs `work(store, key)` on a key in one transaction, which is rolled back if the work fails.
template <typename Work>
LONG Write(HKEY handle, MissingFile missingFile, Work work) {
  return Resolved(handle, [&](Store* store, const KeyHandle& key) {
    Hive& hive = *key.hive;
    LONG result = PrepareWrite(&hive, missingFile);
    if (result != ERROR_SUCCESS) return result;
    if (key.row != kRootKey && key.generation != hive.generation()) return ERROR_KEY_DELETED;
    std::optional<Transaction> transaction;
    result = BeginWrite(&hive, key.row, &transaction);
    if (result == ERROR_SUCCESS) result = work(store, key);
    return result == ERROR_SUCCESS ? transaction->Commit() : result;
  });
}

/// Splits a path at its backslashes; trailing and repeated ones are ignored.
std::vector<std::wstring> SplitPath(const std::wstring& path) {
  std::vector<std::wstring> names;
  std::size_t start = 0;
  while (start < path.size()) {
    const std::size_t end = std::min(path.find(L'\\', start), path.size());
    if (end > start) names.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return names;
}

/// Walks from a key down a path; with `create` it creates missing keys.
LONG Descend(const std::wstring& path, bool create, KeyHandle* key) {
  for (const std::wstring& name : SplitPath(UpToTerminator(path))) {
    if (name.size() > kMaxKeyName || ++key->depth > kMaxDepth) return ERROR_INVALID_PARAMETER;
    if (!IsStorable(name)) return create ? ERROR_INVALID_PARAMETER : ERROR_FILE_NOT_FOUND;
    const std::string folded = Fold(name);
    {
      Query find(key->hive->Prepare(kFindChild));
      const int found = find.Bind(1, key->row).Bind(2, folded).Step();
      if (found == SQLITE_ROW) {
        key->row = find.Number(0);
        continue;
      }
      if (found != SQLITE_DONE) return ErrorOf(found);
    }
    if (!create) return ERROR_FILE_NOT_FOUND;
    const std::string spelled = WideToUtf8(name);
    const int added = Query(key->hive->Prepare(kAddChild))
                          .Bind(1, key->row)
                          .Bind(2, folded)
                          .Bind(3, spelled)
                          .Step();
    if (added != SQLITE_DONE) return ErrorOf(added);
    key->row = sqlite3_last_insert_rowid(key->hive->database());
  }
  return ERROR_SUCCESS;
}

// These write in a transaction.

LONG SetValue(const KeyHandle& open, const std::wstring& name, const RegistryValue& value) {
  const std::wstring valueName = UpToTerminator(name);
  if (valueName.size() > kMaxValueName || !IsStorable(valueName)) return ERROR_INVALID_PARAMETER;
  const std::string folded = Fold(valueName);
  const std::string spelled = WideToUtf8(valueName);
  return ErrorOf(Query(open.hive->Prepare(kSetValue))
                     .Bind(1, open.row)
                     .Bind(2, folded)
                     .Bind(3, spelled)
                     .Bind(4, value.type)
                     .Bind(5, value.data)
                     .Step());
}

LONG DeleteValue(const KeyHandle& open, const std::wstring& name) {
  const std::wstring valueName = UpToTerminator(name);
  if (!IsStorable(valueName)) return ERROR_FILE_NOT_FOUND;
  const std::string folded = Fold(valueName);
  const int done = Query(open.hive->Prepare(kDeleteValue)).Bind(1, open.row).Bind(2, folded).Step();
  if (done != SQLITE_DONE) return ErrorOf(done);
  return sqlite3_changes(open.hive->database()) != 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

LONG DeleteTree(KeyHandle key, const std::wstring& path) {
  const sqlite3_int64 parentRow = key.row;
  const LONG result = Descend(path, false, &key);
  if (result != ERROR_SUCCESS) return result;
  // Without a path the key itself is kept, but emptied.
  const bool staysItself = key.row == parentRow;
  if (staysItself && !key.writable) return ERROR_ACCESS_DENIED;
  const int done = Query(key.hive->Prepare(kDeleteTreeValues)).Bind(1, key.row).Step();
  if (done != SQLITE_DONE) return ErrorOf(done);
  return ErrorOf(Query(key.hive->Prepare(kDeleteTreeKeys))
                     .Bind(1, key.row)
                     .Bind(2, staysItself ? key.row : 0)
                     .Step());
}

/// Makes the changes of one hive, in one transaction.
class HiveWriter {
 public:
  HiveWriter(HKEY root, const std::shared_ptr<Hive>& hive)
      : root_(root), key_{hive, 0, kRootKey, true, 0} {}

  HKEY root() const { return root_; }

  /// Begins the transaction if there are changes of this hive. `*first` is the first of them.
  /// Where nothing can be deleted, deletions alone create no file.
  LONG Begin(std::span<const RegistryChange> changes, std::size_t* first) {
    MissingFile missingFile = MissingFile::kReport;
    first_ = changes.size();
    for (std::size_t i = changes.size(); i-- > 0;) {
      if (changes[i].root != root_) continue;
      first_ = i;
      if (changes[i].kind != RegistryChange::Kind::kDeleteKey) missingFile = MissingFile::kCreate;
    }
    *first = first_;
    if (first_ == changes.size()) return ERROR_SUCCESS;
    Hive& hive = *key_.hive;
    return hive.InRequest([&] {
      const LONG result = PrepareWrite(&hive, missingFile);
      if (result == ERROR_SUCCESS) return BeginWrite(&hive, kRootKey, &transaction_);
      const bool hasNothing = result == ERROR_FILE_NOT_FOUND && missingFile == MissingFile::kReport;
      return hasNothing ? ERROR_SUCCESS : result;
    });
  }

  LONG Make(const RegistryChange& change) {
    if (!transaction_) return ERROR_SUCCESS;  // there is nothing to delete
    if (change.kind == RegistryChange::Kind::kDeleteKey) {
      path_.reset();
      return ErrorOfDeletion(DeleteTree(key_, change.path));
    }
    if (path_ != change.path) {  // most changes follow others of their key
      open_ = key_;
      const LONG result = Descend(change.path, true, &open_);
      if (result != ERROR_SUCCESS) return result;
      path_ = change.path;
    }
    switch (change.kind) {
      case RegistryChange::Kind::kSetValue:
        return SetValue(open_, change.name, change.value);
      case RegistryChange::Kind::kDeleteValue:
        return ErrorOfDeletion(DeleteValue(open_, change.name));
      default:
        return ERROR_SUCCESS;
    }
  }

  /// Sets `*first` as `Begin` does.
  LONG Commit(std::size_t* first) {
    *first = first_;
    if (!transaction_) return ERROR_SUCCESS;
    return key_.hive->InRequest([this] { return transaction_->Commit(); });
  }

 private:
  static LONG ErrorOfDeletion(LONG result) {
    return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
  }

  HKEY root_;
  KeyHandle key_;          ///< the hive's root
  std::size_t first_ = 0;  ///< the index of the first change
  std::optional<Transaction> transaction_;
  std::optional<std::wstring> path_;  ///< the one that leads to `open_`
  KeyHandle open_;
};

HKEY AddHandle(Store* store, KeyHandle key) {
  key.generation = key.hive->generation();
  const std::uintptr_t handle = store->nextHandle;
  store->nextHandle += 4;
  // Skips the predefined handles, which a long-running process could reach.
  if (store->nextHandle == 0x80000000) store->nextHandle = 0x100000000;
  store->handles.emplace(handle, std::move(key));
  return reinterpret_cast<HKEY>(handle);
}

/// Runs `list(content)` on a key for reading. The root of a hive that was never written is empty.
template <typename List>
LONG ListContent(HKEY handle, List list) {
  const LONG result = Read(handle, [&](Store*, const KeyHandle&, const KeyContent& content) {
    list(content);
    return ERROR_SUCCESS;
  });
  return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

}  // namespace

LONG RegistryKey::Open(HKEY parent, const std::wstring& path, RegistryAccess access) {
  Close();
  const auto open = [&](Store* store, KeyHandle key) {
    key.writable = access == RegistryAccess::kReadWrite;
    key_ = AddHandle(store, std::move(key));
  };
  const LONG result = Read(parent, [&](Store* store, KeyHandle key, const KeyContent&) {
    const PathEnd end = key.hive->ReadPath(key.row, path, [&] {
      KeyHandle found = key;
      const LONG descended = Descend(path, false, &found);
      return PathEnd{descended, found.row, found.depth};
    });
    if (end.result == ERROR_SUCCESS) {
      key.row = end.row;
      key.depth = end.depth;
      open(store, std::move(key));
    }
    return end.result;
  });
  if (result != ERROR_FILE_NOT_FOUND || !SplitPath(UpToTerminator(path)).empty()) return result;
  // The root of a hive that was never written exists and is empty.
  Store& store = TheStore();
  const LockGuard guard(store.lock);
  const std::optional<KeyHandle> root = Resolve(&store, parent);
  if (!root) return ERROR_INVALID_HANDLE;
  open(&store, *root);
  return ERROR_SUCCESS;
}

LONG RegistryKey::Create(HKEY parent, const std::wstring& path) {
  Close();
  HKEY made = nullptr;
  const LONG result = Write(parent, MissingFile::kCreate, [&](Store* store, KeyHandle key) {
    const LONG descended = Descend(path, true, &key);
    if (descended == ERROR_SUCCESS) {
      key.writable = true;
      made = AddHandle(store, std::move(key));
    }
    return descended;
  });
  key_ = made;
  if (result != ERROR_SUCCESS) Close();
  return result;
}

void RegistryKey::Close() {
  if (key_ != nullptr) {
    Store& store = TheStore();
    const LockGuard guard(store.lock);
    store.handles.erase(reinterpret_cast<std::uintptr_t>(key_));
  }
  key_ = nullptr;
}

RegistrySnapshot::RegistrySnapshot() {
  static std::atomic<std::uint64_t> s_last{0};
  if (theRequestObjects++ == 0) Request::OfThread() = {.number = ++s_last};
}

RegistrySnapshot::~RegistrySnapshot() {
  if (--theRequestObjects == 0) Request::OfThread() = {};
}

LONG GetRegistryValue(HKEY key, const std::wstring& name, RegistryValue* value) {
  *value = {};
  const std::wstring valueName = UpToTerminator(name);
  const std::string folded = Fold(valueName);
  return Read(key, [&](Store*, const KeyHandle&, const KeyContent& content) {
    const auto found =
        std::ranges::lower_bound(content.values, folded, {}, &KeyContent::Value::folded);
    if (found == content.values.end() || found->folded != folded || !IsStorable(valueName)) {
      return ERROR_FILE_NOT_FOUND;
    }
    *value = found->named.value;
    return ERROR_SUCCESS;
  });
}

LONG SetRegistryValue(HKEY key, const std::wstring& name, const RegistryValue& value) {
  return Write(key, MissingFile::kCreate, [&](Store*, const KeyHandle& open) {
    return open.writable ? SetValue(open, name, value) : ERROR_ACCESS_DENIED;
  });
}

LONG DeleteRegistryValue(HKEY key, const std::wstring& name) {
  return Write(key, MissingFile::kReport, [&](Store*, const KeyHandle& open) {
    return open.writable ? DeleteValue(open, name) : ERROR_ACCESS_DENIED;
  });
}

LONG DeleteRegistryTree(HKEY parent, const std::wstring& path) {
  return Write(parent, MissingFile::kReport,
               [&](Store*, const KeyHandle& key) { return DeleteTree(key, path); });
}

LONG ListRegistryKeys(HKEY key, std::vector<std::wstring>* names) {
  names->clear();
  return ListContent(key, [&](const KeyContent& content) { *names = content.subKeys; });
}

LONG ReadRegistryKeys(HKEY key, std::vector<RegistrySubKey>* subKeys) {
  std::vector<StampedSubKey> stamped;
  const LONG result = ReadChangedRegistryKeys(key, {}, &stamped);
  subKeys->clear();
  for (StampedSubKey& one : stamped) subKeys->push_back(std::move(one.subKey));
  return result;
}

LONG ReadChangedRegistryKeys(HKEY key, const KnownStamps& known,
                             std::vector<StampedSubKey>* subKeys) {
  subKeys->clear();
  const LONG result = Reach(key, [&](Store*, const KeyHandle& open) {
    return open.hive->ReadSubKeys(open.row, known, subKeys);
  });
  if (result != ERROR_SUCCESS) subKeys->clear();
  return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

std::uint64_t RegistryVersion(HKEY key) {
  Store& store = TheStore();
  const std::unique_lock guard = LockStore(&store);
  LocateHives(&store);
  Hive& hive = *(key == HKEY_CURRENT_USER ? store.user : store.machine);
  const LONG result =
      hive.InRequest([&hive] { return hive.PrepareRead(Request::OfThread().number); });
  return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND ? hive.version() : 0;
}

LONG WriteRegistryKeys(HKEY key, std::span<const RegistrySubKey> subKeys) {
  return Write(key, MissingFile::kCreate, [&](Store*, const KeyHandle& parent) {
    for (const RegistrySubKey& subKey : subKeys) {
      KeyHandle open = parent;
      LONG result = Descend(subKey.name, true, &open);
      for (const NamedRegistryValue& named : subKey.values) {
        if (result == ERROR_SUCCESS) result = SetValue(open, named.name, named.value);
      }
      if (result != ERROR_SUCCESS) return result;
    }
    return ERROR_SUCCESS;
  });
}

LONG ChangeRegistry(std::span<const RegistryChange> changes, std::size_t* failed) {
  Store& store = TheStore();
  const std::unique_lock guard = LockStore(&store);
  LocateHives(&store);
  // Always in this order: two processes that write both hives cannot wait for each other.
  HiveWriter hives[] = {{HKEY_CURRENT_USER, store.user}, {HKEY_LOCAL_MACHINE, store.machine}};
  for (HiveWriter& hive : hives) {
    const LONG result = hive.Begin(changes, failed);
    if (result != ERROR_SUCCESS) return result;
  }
  for (*failed = 0; *failed < changes.size(); ++*failed) {
    const RegistryChange& change = changes[*failed];
    auto* const hive = std::ranges::find(hives, change.root, &HiveWriter::root);
    const LONG result = hive != std::end(hives) ? hive->Make(change) : ERROR_INVALID_HANDLE;
    if (result != ERROR_SUCCESS) return result;
  }
  for (HiveWriter& hive : hives) {
    const LONG result = hive.Commit(failed);
    if (result != ERROR_SUCCESS) return result;
  }
  return ERROR_SUCCESS;
}

std::wstring RegistryStoreName(HKEY hive) {
  Store& store = TheStore();
  const LockGuard guard(store.lock);
  LocateHives(&store);
  const bool isUsers = hive == HKEY_CURRENT_USER;
  const std::string& path = (isUsers ? store.user : store.machine)->path();
  if (!path.empty()) return FromFileName(path);
  return isUsers ? L"HKEY_CURRENT_USER" : L"HKEY_LOCAL_MACHINE";
}

LONG ListRegistryValues(HKEY key, std::vector<NamedRegistryValue>* values) {
  values->clear();
  return ListContent(key, [&](const KeyContent& content) {
    for (const KeyContent::Value& value : content.values) values->push_back(value.named);
  });
}

}  // namespace orv
