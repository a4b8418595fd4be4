#include "tools/printer_app/output.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "base/json.h"
#include "devmode/explanation.h"
#include "devmode/field_text.h"
#include "devmode/record_fields.h"
#include "orv/text/utf8.h"
#include "platform/files.h"
#include "platform/new_file.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/pixels.h"
#include "tools/orv/page/planes.h"
#include "tools/printer_app/guard.h"
#include "tools/printer_app/raster.h"
#include "tools/printer_app/record.h"

namespace orv::printer_app {
namespace {

constexpr char kScheme[] = "orvdir";

/// The folder that a device's URI names; empty if it is not one of a folder.
std::string FolderOf(const char* uri) {
  std::array<char, 32> scheme;
  std::array<char, 256> user;
  std::array<char, 256> host;
  std::array<char, 1024> path;
  int port = 0;
  const http_uri_status_t status =
      httpSeparateURI(HTTP_URI_CODING_ALL, uri, scheme.data(), scheme.size(), user.data(),
                      user.size(), host.data(), host.size(), &port, path.data(), path.size());
  const bool isFolder =
      status >= HTTP_URI_STATUS_OK && std::string_view(scheme.data()) == kScheme && host[0] == '\0';
  return isFolder ? path.data() : "";
}

bool OpenFolder(pappl_device_t* device, const char* uri, const char*) {
  const auto log = [](pappl_device_t* opened, pappl_loglevel_t, const char* format,
                      const auto... values) { papplDeviceError(opened, format, values...); };
  return Guarded(device, log, uri, [&] {
    std::error_code error;
    if (std::filesystem::is_directory(FolderOf(uri), error)) return true;
    papplDeviceError(device, "%s is not a folder that can be used.", uri);
    return false;
  });
}

// There is nothing to close.
void CloseFolder(pappl_device_t*) {}

// Files need names, so `Send` writes them.
ssize_t WriteFolder(pappl_device_t*, const void*, size_t) { return -1; }

std::string JsonOf(const PrintedLabel& page) {
  const JobRecord& job = *page.job;
  JsonWriter json;
  json.BeginObject();
  json.Member("job", job.id);
  json.Member("page", page.number);
  json.Member("copies", job.copies);
  json.Member("dpiX", page.page.resolution().x);
  json.Member("dpiY", page.page.resolution().y);
  json.Key("planes");
  json.BeginArray();
  json.Value(L"black");
  if (page.planes.highlight != nullptr) json.Value(L"highlight");
  json.EndArray();
  json.Member("stockItem", FromUtf8(job.stockItem));
  json.Member("corrections", FromUtf8(job.corrections));
  json.Key("problems");
  json.BeginArray();
  for (const std::string& problem : job.problems) json.Value(FromUtf8(problem));
  json.EndArray();
  json.Key("fields");
  json.BeginObject();
  for (const RecordField* field : ExplainedFields()) {
    FieldMember(&json, field->name, job.record, *field);
  }
  json.EndObject();
  json.EndObject();
  return json.Text();
}

/// The bytes that a device has taken. PAPPL keeps small writes until they are flushed, and does not
/// say whether that succeeds.
std::size_t BytesTaken(pappl_device_t* device) {
  pappl_devmetrics_t metrics{};
  papplDeviceGetMetrics(device, &metrics);
  return metrics.write_bytes;
}

/// Stores a file as a whole in the folder, or writes its content to the device if that has none.
void Send(pappl_device_t* device, const std::string& folder, const std::string& name,
          const std::string& bytes) {
  if (folder.empty()) {
    const std::size_t before = BytesTaken(device);
    papplDeviceWrite(device, bytes.data(), bytes.size());
    papplDeviceFlush(device);
    if (BytesTaken(device) - before == bytes.size()) return;
    throw std::runtime_error("the device does not take it");
  }
  const std::string path = folder + "/" + name;
  NewFile file;
  if (file.Open(FromFileName(path)) && file.Write(bytes) && file.Commit()) return;
  throw std::runtime_error("cannot write " + path + ": " + ToUtf8(FileErrorText()));
}

}  // namespace

void AddFolderDevice() {
  // PAPPL adds its own schemes only while it has none; this makes it do so.
  papplDeviceIsSupported("socket://localhost");
  papplDeviceAddScheme(kScheme, PAPPL_DEVTYPE_CUSTOM_LOCAL, nullptr, OpenFolder, CloseFolder,
                       nullptr, WriteFolder, nullptr, nullptr);
}

void SendPage(pappl_job_t* job, pappl_device_t* device, const PrintedLabel& page) {
  const std::string folder = FolderOf(papplPrinterGetDeviceURI(papplJobGetPrinter(job)));
  const std::string name =
      "job-" + std::to_string(page.job->id) + "-page-" + std::to_string(page.number);
  const auto& [black, highlight] = page.planes;
  const tool::Resolution& dpi = page.page.resolution();
  std::vector<std::pair<std::string, std::string>> files;
  files.emplace_back(name + "-black.png", tool::PngOf(black.get(), dpi));
  if (highlight) files.emplace_back(name + "-highlight.png", tool::PngOf(highlight.get(), dpi));
  if (!folder.empty()) files.emplace_back(name + ".json", JsonOf(page));
  // A folder has the number of copies in the JSON file; a PNG image has no place for it.
  for (int copy = folder.empty() ? page.job->copies : 1; copy > 0; --copy) {
    if (papplJobIsCanceled(job)) return;
    for (const auto& [file, bytes] : files) Send(device, folder, file, bytes);
  }
}

}  // namespace orv::printer_app
