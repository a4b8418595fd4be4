#pragma once

#include <pappl/pappl.h>

#include <string>
#include <utility>

/// Devices that PAPPL does not have: `orvdir:///PATH`, a folder that receives files, and
/// `file:///PATH`, a file or a printer's special file, to which the pages are appended.

namespace orv::printer_app {

/// An open folder. PAPPL writes the bytes of a file between `Start` and `Finish`.
class FolderDevice {
 public:
  explicit FolderDevice(std::string path) : path_(std::move(path)) {}

  /// The folder of a device; null for a device of another kind.
  static FolderDevice* Of(pappl_device_t* device, const char* uri);

  void Start(const std::string& name) {
    name_ = name;
    bytes_.clear();
  }
  void Add(const void* bytes, std::size_t size) {
    bytes_.append(static_cast<const char*>(bytes), size);
  }
  /// Stores the file as a whole; false, with the reason in `*problem`, if that is not possible.
  bool Finish(std::string* problem);

  bool IsThere() const;

 private:
  std::string path_;
  std::string name_;
  std::string bytes_;
};

/// Adds the schemes to PAPPL's.
void AddDevices();

}  // namespace orv::printer_app
