#include "tools/printer_app/output.h"

#include <utility>
#include <vector>

#include "base/json.h"
#include "devmode/explanation.h"
#include "devmode/field_text.h"
#include "devmode/record_fields.h"
#include "orv/text/utf8.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/planes.h"
#include "tools/printer_app/device.h"
#include "tools/printer_app/raster.h"
#include "tools/printer_app/record.h"

namespace orv::printer_app {
namespace {

/// The planes that a page has.
std::vector<std::pair<const char*, Bitmap*>> PlanesOf(const PrintedLabel& page) {
  std::vector<std::pair<const char*, Bitmap*>> planes = {{"black", page.planes.background.get()}};
  if (page.planes.highlight) planes.emplace_back("highlight", page.planes.highlight.get());
  return planes;
}

std::string JsonOf(const PrintedLabel& page) {
  JsonWriter json;
  json.BeginObject();
  json.Member("job", page.jobId);
  json.Member("page", page.number);
  json.Member("copies", page.copies);
  json.Member("dpiX", page.page.resolution().x);
  json.Member("dpiY", page.page.resolution().y);
  json.Key("planes");
  json.BeginArray();
  for (const auto& [plane, dots] : PlanesOf(page)) json.Value(FromUtf8(plane));
  json.EndArray();
  json.Member("stockItem", FromUtf8(page.job.stockItem));
  json.Member("corrections", FromUtf8(page.job.corrections));
  json.Key("problems");
  json.BeginArray();
  for (const std::string& problem : page.job.problems) json.Value(FromUtf8(problem));
  json.EndArray();
  json.Key("fields");
  json.BeginObject();
  for (const RecordField* field : ExplainedFields()) {
    FieldMember(&json, field->name, page.job.record, *field);
  }
  json.EndObject();
  json.EndObject();
  return json.Text();
}

bool SendFile(pappl_device_t* device, const std::string& folder, const std::string& name,
              const std::string& bytes, std::string* problem) {
  if (!folder.empty()) return StoreFile(folder + "/" + name, bytes, problem);
  const ssize_t written = papplDeviceWrite(device, bytes.data(), bytes.size());
  papplDeviceFlush(device);
  if (written == static_cast<ssize_t>(bytes.size())) return true;
  *problem = "the device does not take the page";
  return false;
}

}  // namespace

std::string PngBytes(Bitmap* image, const tool::Resolution& resolution) {
  std::string bytes;
  const Status status = tool::EncodePage(image, resolution, &bytes);
  if (status == OutOfMemory) throw std::bad_alloc();
  if (status != Ok) throw std::runtime_error("an image cannot be encoded as PNG");
  return bytes;
}

bool SendPage(pappl_device_t* device, const char* uri, const PrintedLabel& page,
              std::string* problem) {
  const std::string folder = FolderOf(uri);
  const std::string name =
      "job-" + std::to_string(page.jobId) + "-page-" + std::to_string(page.number);
  std::vector<std::pair<std::string, std::string>> files;
  for (const auto& [plane, dots] : PlanesOf(page)) {
    files.emplace_back(name + "-" + plane + ".png", PngBytes(dots, page.page.resolution()));
  }
  if (!folder.empty()) files.emplace_back(name + ".json", JsonOf(page));
  // A folder has the number of copies in the JSON file; a PNG image has no place for it.
  for (int copy = folder.empty() ? page.copies : 1; copy > 0; --copy) {
    for (const auto& [file, bytes] : files) {
      if (!SendFile(device, folder, file, bytes, problem)) return false;
    }
  }
  return true;
}

}  // namespace orv::printer_app
