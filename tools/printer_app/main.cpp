#include <pappl/pappl.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "orv/platform/graphics.h"
#include "orv/text/utf8.h"
#include "orv/version.h"
#include "platform/modules.h"
#include "platform/posix/user_folder.h"
#include "tools/printer_app/driver.h"
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

bool SaveState(pappl_system_t* system, void* data) {
  return papplSystemSaveState(system, static_cast<Application*>(data)->state.c_str());
}

pappl_loglevel_t LevelOf(std::string_view name) {
  constexpr std::string_view kLevels[] = {"debug", "info", "warn", "error", "fatal"};
  const auto* found = std::ranges::find(kLevels, name);
  return found != std::end(kLevels) ? static_cast<pappl_loglevel_t>(found - kLevels)
                                    : PAPPL_LOGLEVEL_INFO;
}

/// Makes the server. It listens on the loopback interface unless an option names another one.
pappl_system_t* MakeSystem(int count, cups_option_t* options, void* data) {
  auto* application = static_cast<Application*>(data);
  const auto option = [&](const char* name, const char* usual) {
    const char* value = cupsGetOption(name, count, options);
    return value != nullptr ? value : usual;
  };
  const std::string states = UserFolder("XDG_STATE_HOME", ".local/state") + "/orv-printer-app";
  const std::filesystem::path folder = option("state-dir", states.c_str());
  std::error_code error;
  std::filesystem::create_directories(folder / "spool", error);
  if (error) {
    std::fprintf(stderr, "orv-printer-app: cannot create %s: %s\n", folder.c_str(),
                 error.message().c_str());
    return nullptr;
  }
  std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
  application->state = folder / "printers.state";
  const std::string host = option("listen-hostname", kLoopback);
  pappl_soptions_t features = PAPPL_SOPTIONS_MULTI_QUEUE | PAPPL_SOPTIONS_WEB_INTERFACE |
                              PAPPL_SOPTIONS_WEB_LOG | PAPPL_SOPTIONS_WEB_SECURITY;
  features |= host == kLoopback ? PAPPL_SOPTIONS_NO_TLS : PAPPL_SOPTIONS_WEB_TLS;
  pappl_system_t* system = papplSystemCreate(
      features, option("server-name", "orv printers"), std::atoi(option("server-port", "0")),
      "_print,_universal", (folder / "spool").c_str(), option("log-file", (folder / "log").c_str()),
      LevelOf(option("log-level", "")), option("auth-service", nullptr), false);
  if (system == nullptr) return nullptr;
  // A server that PAPPL's commands start for themselves has its socket only.
  if (cupsGetOption("private-server", count, options) == nullptr) {
    papplSystemAddListeners(system, host.c_str());
  }
  papplSystemSetHostName(system, option("server-hostname", host == "*" ? nullptr : host.c_str()));
  papplSystemSetFooterHTML(system, "orv-printer-app " ORV_VERSION);
  papplSystemSetPrinterDrivers(system, static_cast<int>(application->list.size()),
                               application->list.data(), nullptr, SetUpPrinter, DescribeDriver,
                               &application->drivers);
  for (const std::string& problem : application->problems) {
    papplLog(system, PAPPL_LOGLEVEL_WARN, "%s", problem.c_str());
  }
  papplSystemSetSaveCallback(system, SaveState, application);
  papplSystemLoadState(system, application->state.c_str());
  return system;
}

int Run(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == kDoctorCommand) {
    return PrintDoctor(argc > 2 ? argv[2] : "");
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
  std::string path = ToUtf8(program);
  argv[0] = path.data();
  return papplMainloop(argc, argv, ORV_VERSION, nullptr, static_cast<int>(application.list.size()),
                       application.list.data(), nullptr, DescribeDriver, nullptr, nullptr,
                       MakeSystem, nullptr, &application);
}

}  // namespace
}  // namespace orv::printer_app

int main(int argc, char** argv) { return orv::printer_app::Run(argc, argv); }
