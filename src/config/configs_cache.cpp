#include "orv/config/configs_cache.h"

ConfigsCache* ConfigsCache::m_pInstance = nullptr;
int ConfigsCache::m_nReferenceCounter = 0;

ConfigsCache* ConfigsCache::GetInstance() {
  if (m_pInstance == nullptr) {
    m_pInstance = new ConfigsCache;
    m_nReferenceCounter = 0;
  }
  ++m_nReferenceCounter;
  return m_pInstance;
}

int ConfigsCache::ReleaseInstance() {
  if (m_pInstance == nullptr) return 0;
  if (--m_nReferenceCounter > 0) return m_nReferenceCounter;
  delete m_pInstance;
  m_pInstance = nullptr;
  m_nReferenceCounter = 0;
  return 0;
}

ConfigsCache::ConfigsCache(const ConfigsCache& other) : entries_(other.entries_) {}

ConfigsCache& ConfigsCache::operator=(const ConfigsCache& other) {
  entries_ = other.entries_;  // self-assignment of a map is harmless
  return *this;
}

ConfigsCache::~ConfigsCache() { Clear(); }

Config* ConfigsCache::GetConfig(const std::wstring& path) {
  const orv::LockGuard guard(lock_);
  const auto found = entries_.find(path);
  return found != entries_.end() ? found->second : nullptr;
}

Config* ConfigsCache::SetConfig(const std::wstring& path, Config* config) {
  const orv::LockGuard guard(lock_);
  const auto [entry, inserted] = entries_.try_emplace(path, config);
  return inserted ? nullptr : entry->second;
}

void ConfigsCache::Clear() {
  for (const auto& [path, config] : entries_) delete config;
  entries_.clear();
}
