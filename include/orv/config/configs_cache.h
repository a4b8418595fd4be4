#pragma once

#include <map>
#include <mutex>
#include <string>

#include "orv/config/config.h"
#include "orv/platform/export.h"

/// The process's loaded configurations, by the path of the file that each came from. Modules take a
/// reference when they start and give it back when they end; the last one frees every record. Until
/// then, or `Clear`, a record stays valid and unchanged, whatever becomes of its file.
///
/// `GetConfig` and `SetConfig` may be called from any thread. The others are for one thread at a
/// time: the start and end of modules.
class ORV_EXPORT ConfigsCache {
 public:
  /// The one instance, made by the first call. Each call is matched by one `ReleaseInstance`.
  static ConfigsCache* GetInstance();
  /// Gives a reference back and returns how many are left; the last one destroys the records and
  /// the instance. 0 without an instance.
  static int ReleaseInstance();

  /// Copies share the records with what they were copied from, and own them as well: a copy must
  /// not outlive, or be cleared beside, its original.
  ConfigsCache(const ConfigsCache& other);
  ConfigsCache& operator=(const ConfigsCache& other);
  virtual ~ConfigsCache();

  /// The record under exactly this path, null when there is none.
  Config* GetConfig(const std::wstring& path);
  /// Puts a record under a path and takes it over; returns null. A path that is there already keeps
  /// its record: it is returned, and the caller still owns `config`.
  Config* SetConfig(const std::wstring& path, Config* config);
  /// Destroys every record, in the order of the paths. Takes no lock.
  void Clear();

  static ConfigsCache* m_pInstance;  ///< the one instance, null when there is none
  static int m_nReferenceCounter;    ///< references that were not given back

 private:
  ConfigsCache() = default;

  std::mutex lock_;
  std::map<std::wstring, Config*> entries_;
};
