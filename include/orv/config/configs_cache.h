#pragma once

#include <map>
#include <string>

#include "orv/config/config.h"
#include "orv/platform/export.h"
#include "orv/platform/lock.h"

/// The loaded configurations of the process, by the path of their files. `CConfigParser::Load`
/// fills the cache:
///
///     const orv::ConfigsCacheReference cache;         // held while the records are used
///     Config* const config = cache->GetConfig(path);  // null if not loaded yet
///
/// A module takes a reference when it starts and releases it when it ends, by `GetInstance` and
/// `ReleaseInstance` or with a `ConfigsCacheReference`; the last release frees
/// every record. Until then, or until `Clear`, a record stays valid and unchanged.
///
/// `GetConfig` and `SetConfig` may be called from any thread, the other functions from one thread
/// at a time.
class ORV_EXPORT ConfigsCache {
 public:
  /// The one instance, made by the first call. Each call is matched by one `ReleaseInstance`.
  static ConfigsCache* GetInstance();

  /// Releases a reference and returns the number left; the last release destroys the records and
  /// the instance. 0 without an instance.
  static int ReleaseInstance();

  /// A copy shares the records of its original, and both delete them: clear or destroy only one.
  ConfigsCache(const ConfigsCache& other);
  ConfigsCache& operator=(const ConfigsCache& other);
  virtual ~ConfigsCache();

  /// The record under exactly this path, null when there is none.
  Config* GetConfig(const std::wstring& path);

  /// Takes ownership of a record and stores it under a path; returns null. A path that has a record
  /// already keeps it: that record is returned, and the caller still owns `config`.
  Config* SetConfig(const std::wstring& path, Config* config);

  /// Destroys every record, in the order of the paths. Takes no lock.
  void Clear();

  static ConfigsCache* m_pInstance;  ///< the one instance, or null
  static int m_nReferenceCounter;    ///< references that are not released

 private:
  ConfigsCache() = default;

  orv::Lock lock_;
  std::map<std::wstring, Config*> entries_;
};

namespace orv {

/// A reference to the cache during its lifetime. Make and destroy one only where no other thread
/// makes or destroys another.
class ConfigsCacheReference {
 public:
  ConfigsCacheReference() : cache_(ConfigsCache::GetInstance()) {}
  ConfigsCacheReference(const ConfigsCacheReference&) = delete;
  ConfigsCacheReference& operator=(const ConfigsCacheReference&) = delete;
  ~ConfigsCacheReference() { ConfigsCache::ReleaseInstance(); }

  /// The cache, which lasts at least as long as this object.
  ConfigsCache* get() const { return cache_; }
  ConfigsCache* operator->() const { return cache_; }

 private:
  ConfigsCache* cache_;
};

}  // namespace orv
