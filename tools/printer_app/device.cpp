#include "tools/printer_app/device.h"

#include <pappl/pappl.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string_view>

#include "orv/text/utf8.h"
#include "platform/files.h"
#include "platform/new_file.h"
#include "tools/printer_app/guard.h"

namespace orv::printer_app {
namespace {

constexpr char kScheme[] = "orvdir";

/// The path in a device's URI; empty if it has none.
std::string PathOf(const char* uri) {
  std::array<char, 32> scheme;
  std::array<char, 256> user;
  std::array<char, 256> host;
  std::array<char, 1024> path;
  int port = 0;
  const http_uri_status_t status =
      httpSeparateURI(HTTP_URI_CODING_ALL, uri, scheme.data(), scheme.size(), user.data(),
                      user.size(), host.data(), host.size(), &port, path.data(), path.size());
  return status >= HTTP_URI_STATUS_OK && host[0] == '\0' ? path.data() : "";
}

bool IsFolder(const std::string& path) {
  std::error_code error;
  return !path.empty() && std::filesystem::is_directory(path, error);
}

/// Runs the body of a callback.
template <typename Body>
auto GuardedDevice(pappl_device_t* device, const Body& body) {
  return Guarded(body, [device](const char* reason) { papplDeviceError(device, "%s", reason); });
}

std::string* OpenedFolder(pappl_device_t* device) {
  return static_cast<std::string*>(papplDeviceGetData(device));
}

bool OpenFolder(pappl_device_t* device, const char* uri, const char*) {
  return GuardedDevice(device, [&] {
    auto folder = std::make_unique<std::string>(PathOf(uri));
    if (!IsFolder(*folder)) {
      papplDeviceError(device, "%s is not a folder that can be used.", uri);
      return false;
    }
    papplDeviceSetData(device, folder.release());
    return true;
  });
}

void CloseFolder(pappl_device_t* device) {
  delete OpenedFolder(device);
  papplDeviceSetData(device, nullptr);
}

// Files need names, so `StoreFile` writes them.
ssize_t WriteFolder(pappl_device_t*, const void*, size_t) { return -1; }

pappl_preason_t FolderStatus(pappl_device_t* device) {
  return GuardedDevice(device, [&] {
    return IsFolder(*OpenedFolder(device)) ? PAPPL_PREASON_NONE : PAPPL_PREASON_OFFLINE;
  });
}

ssize_t Read(pappl_device_t*, void*, size_t) { return 0; }

bool List(pappl_device_cb_t, void*, pappl_deverror_cb_t, void*) { return false; }

char* Id(pappl_device_t*, char*, size_t) { return nullptr; }

}  // namespace

std::string FolderOf(const char* uri) {
  return std::string_view(uri).starts_with(std::string(kScheme) + ":") ? PathOf(uri) : "";
}

bool StoreFile(const std::string& path, const std::string& bytes, std::string* problem) {
  NewFile file;
  if (file.Open(FromFileName(path)) && file.Write(bytes) && file.Commit()) return true;
  *problem = "cannot write " + path + ": " + ToUtf8(FileErrorText());
  return false;
}

void AddFolderDevice() {
  // PAPPL adds its own schemes, such as socket, only while it has none.
  papplDeviceList(
      PAPPL_DEVTYPE_FILE, [](const char*, const char*, const char*, void*) { return false; },
      nullptr, nullptr, nullptr);
  papplDeviceAddScheme(kScheme, PAPPL_DEVTYPE_CUSTOM_LOCAL, List, OpenFolder, CloseFolder, Read,
                       WriteFolder, FolderStatus, Id);
}

}  // namespace orv::printer_app
