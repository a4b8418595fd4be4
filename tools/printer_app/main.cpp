#include <pappl/pappl.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "orv/platform/graphics.h"
#include "orv/text/utf8.h"
#include "orv/version.h"
#include "platform/files.h"
#include "platform/modules.h"
#include "platform/posix/user_folder.h"
#include "tools/orv/program.h"
#include "tools/printer_app/driver.h"
#include "tools/printer_app/fields.h"
#include "tools/printer_app/guard.h"
#include "tools/printer_app/job.h"
#include "tools/printer_app/output.h"
#include "tools/printer_app/web.h"

/// The printer application: PAPPL with the library's printers. docs/printer-app.md describes it.

namespace orv::printer_app {
namespace {

/// What the callbacks use.
struct Application {
  Drivers drivers;
  std::vector<pappl_pr_driver_t> list;  ///< for PAPPL
  std::vector<std::string> problems;    ///< why configuration files are not drivers
  std::string state;                    ///< the file with the printers
};

constexpr char kLoopback[] = "localhost";

/// The number of printers in a file of PAPPL that the server does not have.
int CountMissing(pappl_system_t* system, const std::string& state) {
  int count = 0;
  std::ifstream file(state);
  for (std::string line; std::getline(file, line);) count += line == "</Printer>" ? 1 : 0;
  papplSystemIteratePrinters(
      system, [](pappl_printer_t*, void* number) { --*static_cast<int*>(number); }, &count);
  return count;
}

/// The saved printers with the jobs that are being printed as waiting ones, or as aborted ones if
/// their raster is not kept. Otherwise PAPPL keeps them after a restart and never ends them.
std::string WithoutActiveJobs(std::ifstream saved) {
  constexpr std::string_view kActive = " state=\"5\"";
  std::string printers;
  for (std::string line; std::getline(saved, line);) {
    const std::size_t state = line.find(kActive);
    if (line.starts_with("Job ") && state != line.npos) {
      const bool isKept = line.find(" filename=\"") != line.npos;
      line.replace(state, kActive.size(), isKept ? " state=\"3\"" : " state=\"8\"");
    }
    printers += line + '\n';
  }
  return printers;
}

/// Saves the printers. PAPPL alone would empty the file first, not notice a full disk, and let all
/// users read the file, which has the hash of the password.
bool SaveState(pappl_system_t* system, void* data) {
  return Guarded(system, papplLog, "The printers cannot be saved", [&] {
    const std::string& state = static_cast<Application*>(data)->state;
    const std::string file = state + ".new";
    if (!std::ofstream(file)) {
      throw std::runtime_error("cannot write " + file + ": " + ToUtf8(FileErrorText()));
    }
    using std::filesystem::perms;
    std::filesystem::permissions(file, perms::owner_read | perms::owner_write);
    if (!papplSystemSaveState(system, file.c_str())) {
      throw std::runtime_error("cannot write " + file + ": " + ToUtf8(FileErrorText()));
    }
    const std::string printers = WithoutActiveJobs(std::ifstream(file));
    if (!(std::ofstream(file) << printers << std::flush) || CountMissing(system, file) != 0) {
      throw std::runtime_error(file + " is not complete; the disk may be full");
    }
    std::filesystem::rename(file, state);
    return true;
  });
}

/// Starts the jobs that waited when the server ended, once it runs: PAPPL leaves them alone.
bool StartJobs(pappl_system_t* system, void*) {
  papplSystemIteratePrinters(
      system, [](pappl_printer_t* printer, void*) { papplPrinterResume(printer); }, nullptr);
  return false;  // not again
}

/// Loads the printers and starts their waiting jobs. PAPPL leaves out printers whose configuration
/// does not load, and soon saves the others, so the file is copied then.
void LoadState(pappl_system_t* system, const std::string& state) {
  papplSystemLoadState(system, state.c_str());
  papplSystemAddTimerCallback(system, std::time(nullptr), 0, StartJobs, nullptr);
  const int missing = CountMissing(system, state);
  if (missing == 0) return;
  const std::string copy = state + ".old";
  std::error_code error;
  std::filesystem::copy_file(state, copy, std::filesystem::copy_options::overwrite_existing, error);
  papplLog(system, PAPPL_LOGLEVEL_ERROR,
           "%d printers are left out; a copy of all printers is %s%s.", missing,
           error ? "not possible: " : "", error ? error.message().c_str() : copy.c_str());
}

/// Writes why the server does not start; returns null.
pappl_system_t* FailToStart(const std::string& problem) {
  std::fprintf(stderr, "orv-printer-app: %s\n", problem.c_str());
  return nullptr;
}

std::optional<pappl_loglevel_t> LevelOf(std::string_view name) {
  constexpr std::string_view kLevels[] = {"debug", "info", "warn", "error", "fatal"};
  const auto* found = std::ranges::find(kLevels, name);
  if (found == std::end(kLevels)) return {};
  return static_cast<pappl_loglevel_t>(found - kLevels);
}

/// Creates a folder for this user alone; one that exists keeps its rights.
std::error_code MakeFolder(const std::filesystem::path& folder) {
  std::error_code error;
  if (std::filesystem::create_directories(folder, error)) {
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
  }
  return error;
}

/// Whether a file may be there but cannot be opened.
bool IsUnreadable(const std::string& path) {
  std::error_code error;
  return (std::filesystem::exists(path, error) || error) && !std::ifstream(path);
}

/// The address of an interface. PAPPL 1.3.1 listens on the IPv6 address of a name alone if the port
/// of the IPv4 address is in use.
std::string AddressOf(const std::string& host) {
  if (host == kLoopback) return "127.0.0.1";
  return host == "*" ? "0.0.0.0" : host;
}

/// Makes the server. It listens on the loopback interface unless an option names another one.
pappl_system_t* MakeSystem(int count, cups_option_t* options, void* data) {
  auto* application = static_cast<Application*>(data);
  const auto option = [&](const char* name, const char* usual) {
    const char* value = cupsGetOption(name, count, options);
    return value != nullptr ? value : usual;
  };
  const std::string portText = option("server-port", "0");
  const std::optional<std::int32_t> port = NumberOf(portText, 0, 65535);
  if (!port) return FailToStart("server-port: not a number from 0 to 65535: " + portText);
  const std::string levelText = option("log-level", "info");
  const std::optional<pappl_loglevel_t> level = LevelOf(levelText);
  if (!level) {
    return FailToStart("log-level: not debug, info, warn, error or fatal: " + levelText);
  }
  const std::string states = UserFolder("XDG_STATE_HOME", ".local/state") + "/orv-printer-app";
  const std::filesystem::path folder = option("state-dir", states.c_str());
  if (folder.empty()) return FailToStart("state-dir: the path is empty");
  for (const std::filesystem::path& made : {folder, folder / "spool"}) {
    if (const std::error_code error = MakeFolder(made)) {
      return FailToStart("cannot create " + made.string() + ": " + error.message());
    }
  }
  application->state = folder / "printers.state";
  if (IsUnreadable(application->state)) {
    return FailToStart("cannot read " + application->state + ": " + ToUtf8(FileErrorText()) +
                       "; correct its owner or its rights");
  }
  const std::string host = option("listen-hostname", kLoopback);
  if (host.empty()) return FailToStart("listen-hostname: the name is empty");  // every interface
  pappl_soptions_t features = PAPPL_SOPTIONS_MULTI_QUEUE | PAPPL_SOPTIONS_WEB_INTERFACE |
                              PAPPL_SOPTIONS_WEB_LOG | PAPPL_SOPTIONS_WEB_SECURITY;
  features |= host == kLoopback ? PAPPL_SOPTIONS_NO_TLS : PAPPL_SOPTIONS_WEB_TLS;
  const std::string log = option("log-file", (folder / "log").c_str());
  pappl_system_t* system = papplSystemCreate(
      features, option("server-name", "orv printers"), *port, "_print,_universal",
      (folder / "spool").c_str(), log.c_str(), *level, option("auth-service", nullptr), false);
  if (system == nullptr) return nullptr;
  const std::string address = AddressOf(host);
  // A server that PAPPL's commands start for themselves has its socket only.
  if (cupsGetOption("private-server", count, options) == nullptr &&
      !papplSystemAddListeners(system, address.c_str())) {
    papplSystemDelete(system);
    return FailToStart("cannot listen on " + host + ", port " + portText +
                       "; the reason is in the log, " + log);
  }
  papplSystemSetHostName(system, option("server-hostname", host == "*" ? nullptr : host.c_str()));
  AddPngFilter(system);
  papplSystemSetFooterHTML(system, "orv-printer-app " ORV_VERSION);
  papplSystemSetPrinterDrivers(system, static_cast<int>(application->list.size()),
                               application->list.data(), nullptr, SetUpPrinter, DescribeDriver,
                               &application->drivers);
  for (const std::string& problem : application->problems) {
    papplLog(system, PAPPL_LOGLEVEL_WARN, "%s", problem.c_str());
  }
  papplSystemSetSaveCallback(system, SaveState, application);
  LoadState(system, application->state);
  return system;
}

int Run(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == kDoctorCommand) {
    return tool::RunProgram(argc, argv);
  }
  const GraphicsSession graphics;
  Application application;
  application.drivers = FindDrivers(&application.problems);
  for (const auto& [name, driver] : application.drivers) {
    application.list.push_back(
        {name.c_str(), driver.modelName.c_str(), driver.deviceId.c_str(), nullptr});
  }
  AddFolderDevice();
  // PAPPL's commands start a server by this path, and do not search it.
  std::wstring program;
  GetModulePath(nullptr, &program);
  std::string path = ToPath(program).string();
  argv[0] = path.data();
  return papplMainloop(argc, argv, ORV_VERSION, nullptr, static_cast<int>(application.list.size()),
                       application.list.data(), nullptr, DescribeDriver, nullptr, nullptr,
                       MakeSystem, nullptr, &application);
}

}  // namespace
}  // namespace orv::printer_app

int main(int argc, char** argv) { return orv::printer_app::Run(argc, argv); }
