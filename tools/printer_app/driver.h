#pragma once

#include <pappl/pappl.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "orv/config/config.h"
#include "orv/devmode/stock_items.h"
#include "platform/files.h"
#include "tools/orv/page/planes.h"
#include "tools/printer_app/raster.h"
#include "tools/printer_app/record.h"

/// Configuration files as drivers, and what the printer application keeps for each of its printers.

namespace orv::printer_app {

/// A configuration file. Any thread may call.
class Driver {
 public:
  explicit Driver(std::filesystem::path path);

  const std::string& name() const { return name_; }
  const std::string& model_name() const { return modelName_; }
  const std::string& device_id() const { return deviceId_; }
  /// Whether the file describes a printer.
  bool IsUsable() const { return isUsable_; }
  /// The driver's name in the settings store, from which the library derives the file name.
  const std::wstring& spooler_name() const { return spoolerName_; }

  /// The configuration as the file has it now. A file that does not load leaves the last one that
  /// did, and `*problem` says why. Null if none has loaded yet.
  std::shared_ptr<const Config> Load(std::string* problem = nullptr);

 private:
  const std::filesystem::path path_;
  std::string name_;
  std::wstring spoolerName_;
  std::string modelName_;
  std::string deviceId_;
  bool isUsable_ = false;
  std::mutex mutex_;
  FileVersion version_;  ///< of the file when it was loaded
  std::shared_ptr<const Config> config_;
  std::string problem_;
};

/// The drivers of all configuration files in the usual folders that load, and why others do not.
std::vector<std::unique_ptr<Driver>> FindDrivers(std::vector<std::string>* problems);

/// A stock item among the media of a printer.
struct StockMedia {
  std::string name;  ///< of the media source
  std::string size;  ///< of the medium
  StockItem item;
  int paperSize;  ///< its number in the public record
};

/// A label as it was printed. Its bitmaps are used by one thread at a time.
struct PrintedLabel {
  int jobId;
  std::string jobName;
  unsigned number;  ///< of the page in the job, from 1
  int copies;
  JobRecord job;
  RasterPage page;
  tool::Planes planes;  ///< the highlight is null on printers of one colour
};

/// What belongs to a printer. Its driver data points to it until the printer is deleted.
struct Queue {
  explicit Queue(Driver* with) : driver(with) {}

  Driver* const driver;
  // Set once, before a request can find the queue.
  std::string printer;  ///< its name; empty until it is set up
  std::string webPage;  ///< the path of its page
  std::mutex mutex;     ///< guards everything below
  std::shared_ptr<const Config> config;
  std::string problem;  ///< why the configuration is not the file's
  std::vector<StockMedia> stock;
  std::shared_ptr<PrintedLabel> last;  ///< null until a label is printed
  RasterPage spare;             ///< of an earlier label: new memory costs more than dithering
  std::set<std::string> names;  ///< that the driver data points to; only grows
};

/// The queue of a printer. It stays valid after the printer is deleted, as long as the caller holds
/// it. Throws if the printer is being deleted.
std::shared_ptr<Queue> QueueOf(pappl_printer_t* printer);
/// The queue of the printer with the web page at this path, which may end with `suffix`; null if
/// no printer has it.
std::shared_ptr<Queue> QueueOfPage(std::string_view path, std::string_view suffix);

/// PAPPL's callbacks for drivers; `data` of the first one is the list of drivers.
bool DescribeDriver(pappl_system_t* system, const char* name, const char* uri, const char* id,
                    pappl_pr_driver_data_t* data, ipp_t** attributes, void* drivers);
void SetUpPrinter(pappl_printer_t* printer, void* data);
/// Takes over changes of the configuration file and of the stock items.
bool UpdatePrinter(pappl_printer_t* printer);

}  // namespace orv::printer_app
