#include "tests/load.h"
#include "crypto/sha256.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "base/utf8.h"
#include "orv/config/config_parser.h"
#include "orv/config/configs_cache.h"
#include "orv/crypto/encryption_aes.h"
#include "orv/devmode/devmode.h"
#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/session/session_data.h"
#include "platform/files.h"
#include "tests/devmode_names.h"
#include "tests/fixtures.h"

namespace orv::test {
namespace {

void Require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "load: it does not hold that %s\n", promise);
  std::abort();
}

/// One thread's work.
class Worker {
 public:
  Worker(const std::wstring& folder, int thread, CLoggerClient* client, ConfigsCache* cache)
      : folder_(folder), thread_(thread), client_(client), cache_(cache) {}

  void Run(int run) {
    LogFormat(eLogLevelError, client_, L"Load", L"%ls",
              LoadMessage(OwnProcessId(), thread_, run).c_str());
    std::string result;
    for (const wchar_t* name : {kTestConfigName, L"protected.xml"}) {
      Config* config = nullptr;
      Require(CConfigParser::Load(folder_ + kPathSeparator + name, &config, nullptr, client_),
              "a file loads");
      tagOEMDEV defaults{};
      FillDefaults(*config, &defaults);
      delete config;
      Add(defaults, &result);
    }
    Request(OEMDM_DEFAULT, false);
    Add(in_ = out_, &result);
    Request(OEMDM_CONVERT, false);
    Request(OEMDM_MERGE, false);
    Add(out_, &result);
    {
      // A merge with a public record and the session's functions are for one thread at a time.
      static std::mutex s_session;
      const std::lock_guard guard(s_session);
      if (thread_ == 0 && run % 16 == 0) LeaveAndCleanUp();
      Request(OEMDM_MERGE, true);
    }
    Add(out_, &result);
    Add(publicOut_, &result);
    results.insert(WideToUtf8(Sha256HexOf(result)));
  }

  std::set<std::string> results;

 private:
  template <typename Record>
  static void Add(const Record& record, std::string* result) {
    result->append(reinterpret_cast<const char*>(&record), sizeof record);
  }

  void Request(DWORD mode, bool withPublic) {
    DEVMODEW publicIn{};
    publicIn.dmPaperSize = 257;
    publicIn.dmCopies = 2;
    publicOut_ = {};
    OEMDMPARAM param{};
    param.hPrinter = printer_;
    param.pOEMDMIn = &in_;
    param.pOEMDMOut = &out_;
    param.pPublicDMIn = withPublic ? &publicIn : nullptr;
    param.pPublicDMOut = &publicOut_;
    out_.dwSignature = tagOEMDEV::kSignature;
    Require(hrOEMDevMode(client_, cache_, L"Label 1", mode, &param) == S_OK, "requests succeed");
  }

  /// Adds an entry of a process that does not exist, cleans up, and searches for this process's own
  /// entry.
  static void LeaveAndCleanUp() {
    // A new name each time: another process that has read the previous entry may still delete it by
    // name.
    static unsigned long s_count = 0;
    const std::wstring noProcess =
        std::to_wstring(0x7F000000 + OwnProcessId() % 0x10000 * 0x100 + s_count++ % 0x100);
    Require(SaveSession(noProcess), "an entry can be left");
    // Windows enumerates keys by index and skips an entry if another process meanwhile deletes an
    // earlier one. The others delete a limited number, so a later pass finds it.
    constexpr int kMaxPasses = 1000;
    LONG found = ERROR_SUCCESS;
    for (int pass = 0; found == ERROR_SUCCESS && pass < kMaxPasses; ++pass) {
      CleanupRegSessionData(L"", L"");
      found = RegistryKey().Open(HKEY_CURRENT_USER, SessionPath(noProcess), RegistryAccess::kRead);
    }
    Require(found == ERROR_FILE_NOT_FOUND, "the entry of a process that does not exist goes");
    Require(HasUserKey(SessionPath(std::to_wstring(OwnProcessId()))),
            "the entry of a process that runs stays");
  }

  const std::wstring folder_;
  const int thread_;
  CLoggerClient* const client_;
  ConfigsCache* const cache_;
  const HANDLE printer_ = OpenPrinterHandle(L"Label 1");
  tagOEMDEV in_{};
  tagOEMDEV out_{};
  DEVMODEW publicOut_{};
};

}  // namespace

std::wstring LoadMessage(unsigned long process, int thread, int run) {
  return Format(L"<%lu/%d/%d> ", process, thread, run) +
         std::wstring(static_cast<std::size_t>(run * 37 % 300),
                      static_cast<wchar_t>(L'a' + thread));
}

std::set<std::string> RunLoad(const std::wstring& folder, int threads, int runs, bool isSilent) {
  CLoggerClient client;
  client.m_stModuleFolder = folder;
  client.m_stModuleName = L"load.dll";
  // Starting writes its lines at every level.
  if (isSilent) CLogger::m_nLoglevel = 0;
  if (!isSilent) CLogger::StartLogging(&client);
  ConfigsCache* const cache = ConfigsCache::GetInstance();
  Require(SaveSession(std::to_wstring(OwnProcessId())), "the process's own entry can be written");
  std::set<std::string> results;
  std::mutex lock;
  std::vector<std::thread> running;
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      Worker worker(folder, thread, &client, cache);
      for (int run = 0; run < runs; ++run) worker.Run(run);
      const std::lock_guard guard(lock);
      results.merge(worker.results);
    });
  }
  for (std::thread& thread : running) thread.join();
  ReleaseSessionDataInstance();
  ConfigsCache::ReleaseInstance();
  if (!isSilent) CLogger::StopLogging(&client);
  return results;
}

}  // namespace orv::test
