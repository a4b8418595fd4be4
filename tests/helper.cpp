/// A second process for tests: runs the command that its first argument names, and exits with 0 on
/// success.

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "base/cpu.h"
#include "base/utf8.h"
#include "orv/crypto/encryption_aes.h"
#include "orv/devmode/stock_items.h"
#include "orv/imaging/bitmap_helper.h"
#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/session/session_data.h"
#include "orv/settings/settings.h"
#include "platform/files.h"
#include "platform/modules.h"
#include "tests/devmode_names.h"
#include "tests/fixtures.h"
#include "tests/load.h"

namespace {

using Arguments = std::vector<std::string>;

/// PREFIX COUNT: creates that many keys below "Shared", each with a value, and rewrites one value
/// that all processes share.
int WriteRegistry(const Arguments& arguments) {
  const std::wstring prefix = orv::Utf8ToWide(arguments[0]);
  for (int i = 0; i < std::atoi(arguments[1].c_str()); ++i) {
    const std::wstring name = prefix + std::to_wstring(i);
    const orv::RegistryValue value = orv::RegistryValue::FromText(name);
    if (!orv::test::SetUserValue(L"Shared\\" + name, L"Name", value) ||
        !orv::test::SetUserValue(L"Shared", L"Last", value)) {
      return 1;
    }
  }
  return 0;
}

/// Logs an error with the settings of the registry, and another one after the destructors of all
/// objects that the first one needed.
int WriteLog(const Arguments&) {
  std::atexit([] { CLogger::LOG_ERROR(nullptr, L"at exit", L"Helper"); });
  CLoggerClient client;
  client.Initialize(orv::OwnModule());
  CLogger::StartLogging(&client);
  CLogger::LOG_ERROR(&client, L"message", L"Helper");
  CLogger::StopLogging(&client);
  return 0;
}

/// FOLDER THREADS RUNS HOW: runs the load test, silent or not, and prints the results' digests.
int WorkUnderLoad(const Arguments& arguments) {
  for (const std::string& result :
       orv::test::RunLoad(orv::Utf8ToWide(arguments[0]), std::atoi(arguments[1].c_str()),
                          std::atoi(arguments[2].c_str()), arguments[3] == "silent")) {
    std::printf("%s ", result.c_str());
  }
  return 0;
}

/// PATH: stores two items again and again, all their values 1, 2, 3 ... in turn, until the value
/// "Stop" exists.
int WriteItems(const Arguments& arguments) {
  const std::wstring path = orv::Utf8ToWide(arguments[0]);
  StockItem items[2];
  items[0].guid.Data1 = 1;
  items[1].guid.Data1 = 2;
  for (DWORD number = 1; orv::test::UserText(L"Stop", L"Stop").empty(); ++number) {
    for (StockItem& item : items) {
      item.DisplayName = std::to_wstring(number % 1000);
      for (const orv::StockValue& value : orv::StockValues()) item.*value.field = number % 1000;
    }
    if (orv::ImportStockItems(path, items, nullptr) != ERROR_SUCCESS) return 1;
  }
  return 0;
}

/// Writes its own entry below the session key and prints its process id.
int SaveOwnSession(const Arguments&) {
  const unsigned long id = orv::test::OwnProcessId();
  std::printf("%lu", id);
  return orv::test::SaveSession(std::to_wstring(id)) ? 0 : 1;
}

/// ITEM PROGRAM (- for none): passes an item of this name to the session and starts "PROGRAM
/// session child -". Without a program, prints whether it counts as started by a system host, the
/// results of reading and writing the session's settings, and the names of the loaded items.
int UseSession(const Arguments& arguments) {
  const std::wstring items = std::wstring(orv::kSettingsKey) + L"\\UI\\Label 1\\" +
                             orv::test::kTestDriver + L"\\Session\\" +
                             std::to_wstring(orv::test::OwnProcessId());
  if (arguments[0] != "-" &&
      !orv::test::SetUserValue(items + L"\\item", L"DisplayName",
                               orv::RegistryValue::FromText(orv::Utf8ToWide(arguments[0])))) {
    return 1;
  }
  if (arguments[1] != "-") {
    const auto started = orv::test::RunProgram(arguments[1], {"session", "child", "-"});
    std::printf("%s", started.output.c_str());
    return started.exitCode;
  }
  std::uint32_t results[3] = {2, 2, 2};
  GetSessionIsSystemParent(&results[0]);
  GetSessionReadUDS(&results[1], L"Label 1", orv::test::kTestDriver);
  GetSessionWriteUDS(&results[2]);
  std::printf("%u %u %u", results[0], results[1], results[2]);
  const HANDLE printer = orv::OpenPrinterHandle(L"Label 1");
  for (const StockItem& item : orv::LoadStockItems(printer, L"Label 1", nullptr).items) {
    std::printf(" %ls", item.DisplayName.c_str());
  }
  orv::ClosePrinterHandle(printer);
  return 0;
}

/// Prints the log message about an intermediate image.
int SaveImage(const Arguments&) {
  const orv::GraphicsSession graphics;
  Bitmap page(5, 4, PixelFormat24bppRGB);
  orv::test::LogCapture log;
  BitmapHelper::DevTestSaveBitmapAs(&page, 7, 3, L"Mono", nullptr);
  std::printf("%s", orv::WideToUtf8(log.TakeText()).c_str());
  return 0;
}

/// Prints the line of a failed decryption; succeeds if narrow characters can still be printed.
int PrintDiagnosticLine(const Arguments&) {
  const BYTE none[1] = {};
  DWORD length = 0;
  AesCbcDecrypt(none, 0, none, 0, none, 0, &length);
  return std::fwide(stdout, 0) <= 0 ? 0 : 1;
}

/// Prints the number of the level of vectorized code.
int PrintCpuLevel(const Arguments&) {
  std::printf("%d", static_cast<int>(orv::ActiveCpuLevel()));
  return 0;
}

/// FILE: whether the file can be opened exclusively.
int HoldFile(const Arguments& arguments) {
  orv::ExclusiveFile file;
  return file.Open(orv::ToPath(orv::Utf8ToWide(arguments[0]))) ? 0 : 1;
}

/// Writes beyond a buffer on the stack, over the stack protector's value.
int OverrunStack(const Arguments&) {
  char buffer[16];
  // The compiler does not know the address, so that it neither removes nor checks the writes.
  char* volatile start = buffer;
  for (std::size_t i = 0; i < 3 * sizeof buffer; ++i) start[i] = 1;
  std::printf("%d", buffer[0]);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const struct {
    std::string_view name;
    std::size_t arguments;
    int (*run)(const Arguments& arguments);
    bool isQuiet = false;  ///< keeps the library's output out of the system log
  } jobs[] = {{"registry", 2, WriteRegistry},   {"log", 0, WriteLog},
              {"load", 4, WorkUnderLoad},       {"save", 0, SaveOwnSession, true},
              {"session", 2, UseSession, true}, {"hold", 1, HoldFile},
              {"image", 0, SaveImage},          {"items", 1, WriteItems, true},
              {"overrun", 0, OverrunStack},     {"diagnose", 0, PrintDiagnosticLine},
              {"cpu", 0, PrintCpuLevel}};
  if (argc < 2) return 2;
  const Arguments arguments(argv + 2, argv + argc);
  for (const auto& job : jobs) {
    if (job.name == argv[1] && job.arguments == arguments.size()) {
      orv::test::JoinScratchRegistry();
      if (job.isQuiet) CLogger::m_bWriteLogToFile = 0;
      return job.run(arguments);
    }
  }
  return 2;
}
